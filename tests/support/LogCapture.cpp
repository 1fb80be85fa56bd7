#include "LogCapture.h"

#include <algorithm>
#include <mutex>

namespace c2info_test {

namespace {

std::mutex gLock;
std::vector<LogLine> gLines;

void captureLine(const __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> lock(gLock);
    gLines.push_back({data->priority, data->tag != nullptr ? data->tag : "", message});
}

}  // namespace

LogCapture::LogCapture()
    : mOldMinimumPriority(__android_log_set_minimum_priority(ANDROID_LOG_VERBOSE)) {
    clear();
    __android_log_set_logger(captureLine);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(mOldMinimumPriority);
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(gLock);
    return gLines;
}

std::vector<std::string> LogCapture::texts(int priority) const {
    std::vector<std::string> texts;
    for (const LogLine& line : lines()) {
        if (line.priority == priority) texts.push_back(line.text);
    }
    return texts;
}

size_t LogCapture::count(int priority, const std::string& text) const {
    std::vector<std::string> all = texts(priority);
    return std::count(all.begin(), all.end(), text);
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(gLock);
    gLines.clear();
}

}  // namespace c2info_test
