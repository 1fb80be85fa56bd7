// Calls into decoder components. Their callables run on binder threads and
// on the debug monitor thread: an exception that escaped one would end the
// media process (std::terminate), so none is let through.
#pragma once

#include <exception>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// Runs call(); false, with an error logged, when it threw.
template <typename Call>
bool callComponent(const char* function, const char* callable, Call&& call) noexcept {
    try {
        call();
        return true;
    } catch (const std::exception& e) {
        logText(ANDROID_LOG_ERROR, "[%s] %s threw: %s", function, callable, e.what());
    } catch (...) {
        logText(ANDROID_LOG_ERROR, "[%s] %s threw", function, callable);
    }
    return false;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
