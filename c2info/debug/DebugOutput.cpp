#include "DebugOutput.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

// "%m-%d %H:%M:%S" in local time; false when it cannot be formatted.
bool formatSeconds(time_t seconds, char (&text)[256]) {
    tm local;
    if (localtime_r(&seconds, &local) == nullptr) return false;
    return strftime(text, 255, "%m-%d %H:%M:%S", &local) != 0;
}

}  // namespace

void printEqualsLine(int fd) {
    dprintf(fd, "%s\n", kEqualsRule.text);
}

void printDashLine(int fd) {
    dprintf(fd, "%s\n", kDashRule.text);
}

bool formatTime(timespec time, bool negative, TimeText& text) {
    char seconds[256];
    if (!formatSeconds(time.tv_sec, seconds)) return false;
    snprintf(text, sizeof(text), "%s%s.%03ld", negative ? "-" : "", seconds,
             time.tv_nsec / 1000000);
    return true;
}

void printSystemTime(int fd, const char* label) {
    timespec now;
    TimeText text;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || !formatTime(now, false, text)) return;
    if (label == nullptr) {
        dprintf(fd, "System Time: %s\n", text);
        return;
    }
    __android_log_print(ANDROID_LOG_INFO, nullptr, "%s - %s, System Time: %s", kDebugBanner, label,
                        text);
    dprintf(fd, "%s - %s, System Time: %s\n", kDebugBanner, label, text);
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
