#include "DebugOutput.h"

#include <android/log.h>
#include <stdio.h>

#include <string>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

constexpr int kRuleLength = 99;

// "%m-%d %H:%M:%S" in local time; false when it cannot be formatted.
bool formatTime(time_t seconds, char (&text)[256]) {
    tm local;
    if (localtime_r(&seconds, &local) == nullptr) return false;
    return strftime(text, 255, "%m-%d %H:%M:%S", &local) != 0;
}

long milliseconds(const timespec& time) {
    return time.tv_nsec / 1000000;
}

}  // namespace

void printEqualsLine(int fd) {
    dprintf(fd, "%s\n", std::string(kRuleLength, '=').c_str());
}

void printDashLine(int fd) {
    dprintf(fd, "%s\n", std::string(kRuleLength, '-').c_str());
}

void printSystemTime(int fd, const char* label) {
    timespec now;
    char text[256];
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || !formatTime(now.tv_sec, text)) return;
    if (label == nullptr) {
        dprintf(fd, "System Time: %s.%03ld\n", text, milliseconds(now));
        return;
    }
    __android_log_print(ANDROID_LOG_INFO, nullptr, "%s - %s, System Time: %s.%03ld", kDebugBanner,
                        label, text, milliseconds(now));
    dprintf(fd, "%s - %s, System Time: %s.%03ld\n", kDebugBanner, label, text, milliseconds(now));
}

void printTime(int fd, const char* label, timespec time, bool negative) {
    char text[256];
    if (!formatTime(time.tv_sec, text)) return;
    const char* sign = negative ? "-" : "";
    __android_log_print(ANDROID_LOG_INFO, nullptr, "%s: %s%s.%03ld", label, sign, text,
                        milliseconds(time));
    dprintf(fd, "%s: %s%s.%03ld\n", label, sign, text, milliseconds(time));
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
