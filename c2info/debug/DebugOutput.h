// Pieces shared by every text the lshal debug interface writes.
#pragma once

#include <time.h>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// Leads the first line of every debug command's output.
constexpr const char* kDebugBanner = "C2 LsHal Ver-1.3";

// A rule line of 99 characters and a newline.
void printEqualsLine(int fd);
void printDashLine(int fd);

// "<banner> - <label>, System Time: <time>" to fd and, at INFO, to the log;
// without a label only "System Time: <time>" to fd. Nothing at all when the
// clock cannot be read or formatted.
void printSystemTime(int fd, const char* label);
// "<label>: [-]<time>" to fd and the log; time is formatted as a local
// calendar time even when it is a difference.
void printTime(int fd, const char* label, timespec time, bool negative);

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
