#include "Transcript.h"

#include <android/log.h>

#include <algorithm>
#include <mutex>

#include "DebugTestSupport.h"

namespace c2info_test {

namespace {
std::mutex gLock;
std::string gTranscript;
}  // namespace

void note(const std::string& line) {
    std::lock_guard<std::mutex> lock(gLock);
    gTranscript += line + "\n";
}

std::string transcript() {
    std::lock_guard<std::mutex> lock(gLock);
    return gTranscript;
}

size_t transcribed(const std::string& line) {
    std::vector<std::string> lines = linesOf(transcript());
    return std::count(lines.begin(), lines.end(), line);
}

void logIntoTranscript() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger([](const __android_logger_data* data, const char* message) {
        note(withoutSystemTimes(std::string("  ") + "??VDIWEF?"[data->priority] + "/" + data->tag +
                                ": " + message));
    });
}

using ::android::hardware::toString;

Return<void> StreamEar::onNotify(uint32_t type, uint64_t id, const hidl_string& info) {
    return hear(std::to_string(type) + " " + std::to_string(id) + " " + std::string(info));
}

Return<void> EventEar::onNotify(const NotifyEventInfo& info) {
    return hear(std::string(info.event) + " " + toString(info.info));
}

Return<void> InfoEar::onNotify(uint64_t id, uint64_t event, const CmtInfoStruct& info) {
    return hear(std::to_string(id) + " " + std::to_string(event) + " " + toString(info));
}

}  // namespace c2info_test
