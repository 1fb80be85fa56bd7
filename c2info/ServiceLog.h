// The service's log lines: most begin "[L%4d][%s] " with the line number
// given in the text (not the source line) and the function's name. Debug
// lines are written only while the log switch is on. No tag of our own: the
// platform's default tag applies.
#pragma once

#include <android/log.h>

#include <atomic>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// Sets the log switch from the property "vendor.qrv.c2infoservice.log".
void reloadLogSwitch();

// Read by every thread without a lock; a stale value only changes which
// debug lines appear. Inline, so that the hot paths test it before paying
// for a call with variable arguments.
extern std::atomic<int> gLogSwitch;
inline bool logSwitchOn() {
    return gLogSwitch.load(std::memory_order_relaxed) != 0;
}

// "[L%4d][%s] " then the formatted text, at any priority.
void logLine(int priority, int line, const char* function, const char* format, ...)
        __attribute__((format(printf, 4, 5)));
// The same at debug level; through logDebugLine, only while the switch is on.
void writeDebugLine(int line, const char* function, const char* format, ...)
        __attribute__((format(printf, 3, 4)));
// The bare prefix "[L%4d][%s]" at debug level that marks a function's entry.
void writeDebugEntry(int line, const char* function);
// A text without the prefix.
void logText(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));
void writeDebugText(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The one place that decides whether a debug line is written. Macros, so
// that with the switch off a component's hot path pays neither the
// arguments nor a call with variable arguments; the writers keep their
// format checks.
#define logDebugLine(...) (logSwitchOn() ? writeDebugLine(__VA_ARGS__) : void())
#define logDebugEntry(...) (logSwitchOn() ? writeDebugEntry(__VA_ARGS__) : void())
#define logDebugText(...) (logSwitchOn() ? writeDebugText(__VA_ARGS__) : void())

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
