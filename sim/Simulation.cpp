#include "Simulation.h"

#include <cutils/native_handle.h>
#include <sys/mman.h>
#include <unistd.h>

#include <set>

#include "CapturePng.h"
#include "Output.h"

namespace sim {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;

namespace {

// What the application listens to: every event the scenario posts, and the
// capture events its components post on their own.
std::vector<std::string> eventNames(const Scenario& scenario, Codec2InfoService& service) {
    std::set<std::string> names = {"first_frame_captured", "no_frame_captured"};
    for (const StreamScenario& stream : scenario.streams) {
        for (const ScheduledEvent& scheduled : stream.events) {
            names.insert(service.eventToString(scheduled.event));
        }
    }
    return {names.begin(), names.end()};
}

}  // namespace

Simulation::Simulation(Scenario scenario)
    : mScenario(std::move(scenario)), mService(Codec2InfoService::getInstance()) {}

Simulation::~Simulation() {
    end();
}

bool Simulation::start() {
    mApplication = std::make_unique<SimApplication>(mService, eventNames(mScenario, *mService));
    if (!mApplication->start()) return false;
    for (const StreamScenario& stream : mScenario.streams) {
        auto component = std::make_shared<SimComponent>(stream, mScenario.seconds);
        if (!component->start()) {
            announce("c2info-sim: stream %u could not be registered", stream.stream.streamid);
            return false;
        }
        mComponents.push_back(std::move(component));
    }
    return true;
}

void Simulation::end() {
    for (const auto& component : mComponents) component->stop();
    mComponents.clear();
    if (mApplication != nullptr) mApplication->stop();
    mApplication.reset();
}

namespace {

void debugInto(Codec2InfoService& service, int fd, const std::vector<std::string>& words) {
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = fd;
    hidl_vec<hidl_string> args(words.size());
    std::copy(words.begin(), words.end(), args.begin());
    (void)service.debug(hidl_handle(handle), args).isOk();
    native_handle_delete(handle);
}

}  // namespace

void Simulation::debug(const std::vector<std::string>& words) {
    debugInto(*mService, STDOUT_FILENO, words);
}

std::string Simulation::debugText(const std::vector<std::string>& words) {
    int fd = memfd_create("c2info-sim-debug", MFD_CLOEXEC);
    if (fd < 0) return std::string();
    debugInto(*mService, fd, words);
    std::string text;
    char buffer[16384];
    for (off_t at = 0;;) {
        ssize_t n = pread(fd, buffer, sizeof(buffer), at);
        if (n <= 0) break;
        text.append(buffer, static_cast<size_t>(n));
        at += n;
    }
    close(fd);
    return text;
}

bool Simulation::printStreams() {
    bool answered = false;
    mService->getStreamList([&](InfoReturn ret, const auto& list) {
        answered = ret == InfoReturn::SUCCESS;
        if (answered && list.size() == 0) say("no streams");
        for (const auto& stream : list) {
            say("stream %u: %ux%u, frame rate %u, source %d, hwSyncId %llu, port %u: %s",
                stream.streamid, stream.width, stream.height, stream.framerate, stream.sourcetype,
                static_cast<unsigned long long>(stream.hwSyncId), stream.portId,
                stream.info.c_str());
        }
    });
    return answered;
}

bool Simulation::capture(uint32_t streamId, const std::string& path) {
    std::string report;
    bool captured = captureToPng(mService, streamId, path, &report);
    (captured ? say : announce)("capture: %s", report.c_str());
    return captured;
}

void Simulation::killApplication() {
    if (mApplication != nullptr) mApplication->die();
}

}  // namespace sim
