// Captures what the process writes through liblog, priority and formatted
// text, for tests of exact log lines. One capture at a time.
#pragma once

#include <android/log.h>

#include <cstddef>
#include <string>
#include <vector>

namespace c2info_test {

class LogCapture {
public:
    // Also lets DEBUG lines through, which liblog drops by default on a host.
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The texts written at one priority, in order.
    std::vector<std::string> texts(int priority) const;
    // How many lines of that priority and exact text were written.
    size_t count(int priority, const std::string& text) const;

private:
    int mOldMinimumPriority;
};

}  // namespace c2info_test
