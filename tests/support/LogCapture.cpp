#include "LogCapture.h"

#include <algorithm>
#include <mutex>

namespace c2info_test {

namespace {

std::mutex gLock;
std::vector<std::pair<int, std::string>> gLines;

void captureLine(const __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(gLock);
    gLines.emplace_back(data->priority, message);
}

}  // namespace

LogCapture::LogCapture()
    : mOldMinimumPriority(__android_log_set_minimum_priority(ANDROID_LOG_VERBOSE)) {
    {
        std::lock_guard<std::mutex> lock(gLock);
        gLines.clear();
    }
    // Not under gLock: liblog holds its own lock while it calls captureLine.
    __android_log_set_logger(captureLine);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(mOldMinimumPriority);
}

std::vector<std::string> LogCapture::texts(int priority) const {
    std::lock_guard<std::mutex> lock(gLock);
    std::vector<std::string> texts;
    for (const auto& [linePriority, text] : gLines) {
        if (linePriority == priority) texts.push_back(text);
    }
    return texts;
}

size_t LogCapture::count(int priority, const std::string& text) const {
    std::vector<std::string> all = texts(priority);
    return std::count(all.begin(), all.end(), text);
}

}  // namespace c2info_test
