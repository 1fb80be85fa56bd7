#include "Transcript.h"

#include <android/log.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "DebugTestSupport.h"

namespace c2info_test {

namespace {
// Never destroyed: a monitor thread may still note a line while the
// process exits.
std::mutex& gLock = *new std::mutex;
std::string& gTranscript = *new std::string;
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

std::vector<std::string> transcribedAfter(const std::string& prefix) {
    std::vector<std::string> rests;
    for (const std::string& line : linesOf(transcript())) {
        if (line.rfind(prefix, 0) == 0) rests.push_back(line.substr(prefix.size()));
    }
    return rests;
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

std::shared_ptr<Callbacks> component(const std::string& name, native_handle_t** bind,
                                     std::vector<_DebugDescription> records) {
    auto callbacks = std::make_shared<Callbacks>();
    callbacks->getInfoCb = [name](std::vector<std::string> keys, uint32_t id) {
        note("  " + name + " asked for " + std::to_string(keys.size()) + " keys of " +
             std::to_string(id));
        std::vector<CmtInfoStruct> items;
        for (const std::string& key : keys)
            items.push_back({static_cast<int32_t>(key.size()), name + ":" + key});
        return items;
    };
    callbacks->captureBufferCb = [name, bind] {
        note("  " + name + " captures");
        if (bind == nullptr || *bind == nullptr) return;
        uint32_t id = static_cast<uint32_t>(std::stoul(name.substr(name.find('#') + 1)));
        note("  bindCaptured = " +
             toString(static_cast<InfoReturn>(Codec2InfoInternal::bindCaptured(id, *bind))));
    };
    callbacks->releaseBufferCb = [name] { note("  " + name + " releases"); };
    callbacks->enableCaptureCb = [name](bool enable, uint64_t value) {
        note("  " + name + " capture " + toString(enable) + " " + std::to_string(value));
    };
    callbacks->c2DumpCb = [name](bool enable) { note("  " + name + " dump " + toString(enable)); };
    callbacks->reloadPropCb = [name] { note("  " + name + " reloads its properties"); };
    if (records.empty()) return callbacks;
    auto taken = std::make_shared<std::atomic<size_t>>(0);
    callbacks->getDebugInfoCb = [name, records, taken](_DebugDescription* d) {
        *d = records[std::min<size_t>((*taken)++, records.size() - 1)];
        note("  " + name + " snapshot");
    };
    callbacks->enableDebugCb = [name](bool enable) {
        note("  " + name + " debug " + toString(enable));
    };
    return callbacks;
}

bool awaitTranscribed(const std::string& line, size_t count) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (transcribed(line) < count) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace c2info_test
