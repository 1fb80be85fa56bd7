#include "ServiceLog.h"

#include <android-base/stringprintf.h>
#include <cutils/properties.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <string>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

void writeLine(int priority, int line, const char* function, const char* format, va_list args) {
    std::string text;
    android::base::StringAppendV(&text, format, args);
    __android_log_print(priority, nullptr, "[L%4d][%s] %s", line, function, text.c_str());
}

void writeText(int priority, const char* format, va_list args) {
    std::string text;
    android::base::StringAppendV(&text, format, args);
    __android_log_write(priority, nullptr, text.c_str());
}

}  // namespace

std::atomic<int> gLogSwitch{0};

void reloadLogSwitch() {
    char value[PROPERTY_VALUE_MAX];
    property_get("vendor.qrv.c2infoservice.log", value, "0");
    gLogSwitch = atoi(value);
}

void logLine(int priority, int line, const char* function, const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(priority, line, function, format, args);
    va_end(args);
}

void writeDebugLine(int line, const char* function, const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(ANDROID_LOG_DEBUG, line, function, format, args);
    va_end(args);
}

void writeDebugEntry(int line, const char* function) {
    __android_log_print(ANDROID_LOG_DEBUG, nullptr, "[L%4d][%s]", line, function);
}

void logText(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeText(priority, format, args);
    va_end(args);
}

void writeDebugText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeText(ANDROID_LOG_DEBUG, format, args);
    va_end(args);
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
