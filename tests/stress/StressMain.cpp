// Components, clients, misbehaving listeners and a debug reader that
// stalls, all at once against one service. A watchdog fails the run when a
// thread stays over 5 s in one round of its calls; at the end the registry and the listener tables
// must hold exactly what was added and not removed, every result callback must have been called
// once, and no file descriptor may be left open.
//
//     c2info_stress [--seconds N]
#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>
#include <DebugDescription.h>
#include <SharedFrame.h>
#include <android/log.h>
#include <dirent.h>
#include <fcntl.h>
#include <hidl/RemotePeer.h>
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace ::vendor::larkspan::hardware::c2::info;
using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::RemotePeer;
using ::android::hardware::Return;
using ::android::hardware::Status;
using ::android::hardware::Void;
using implementation::_DebugDescription;
using implementation::Codec2InfoInternal;
using implementation::Codec2InfoService;
using V1_0::CAPTURE_BUFFER_DESCRIPTION;
using V1_0::InfoReturn;
using V1_0::NotifyEvent;
using V1_0::ST_Frame_MetaData;
using V1_0::ST_STREAM_LIST;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtIdType;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtReturn;
using ::vendor::larkspan::hardware::cmt::V1_0::ICmtInfoServiceListener;
using Clock = std::chrono::steady_clock;

constexpr int kComponents = 3;
constexpr int kClients = 2;
constexpr uint32_t kFirstStream = 100;
constexpr auto kStuck = std::chrono::seconds(5);

std::atomic<int> gFailures{0};
std::atomic<bool> gRunning{true};
std::atomic<uint64_t> gRounds{0};

void check(bool ok, const char* what) {
    if (ok) return;
    if (gFailures++ < 20) fprintf(stderr, "stress: FAILED: %s\n", what);
}

int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
            .count();
}

// When each thread last finished a round of its calls.
struct Heartbeat {
    const char* who = nullptr;
    std::atomic<int64_t> atNs{0};
};
std::array<Heartbeat, 8> gHeartbeats;
std::atomic<int> gNextHeartbeat{0};

Heartbeat* heartbeat(const char* who) {
    Heartbeat* beat = &gHeartbeats.at(gNextHeartbeat++);
    beat->who = who;
    beat->atNs = nowNs();
    return beat;
}

void beat(Heartbeat* heartbeat) {
    heartbeat->atNs = nowNs();
    ++gRounds;
}

void watchdog() {
    while (gRunning) {
        for (const Heartbeat& heartbeat : gHeartbeats) {
            int64_t at = heartbeat.atNs;
            if (at != 0 && nowNs() - at > std::chrono::nanoseconds(kStuck).count()) {
                fprintf(stderr, "stress: FAILED: the %s has been stuck for over 5 s\n",
                        heartbeat.who);
                _exit(1);
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

// Calls a HIDL method whose answer comes through a callback; the callback
// must come exactly once.
template <typename Method>
void once(const char* what, Method&& method) {
    int calls = 0;
    method([&calls](auto&&...) { ++calls; });
    check(calls == 1, what);
}

// The sanitizers symbolize stacks in a child process reached through two
// pipes, started the first time they need it (to match a suppression, say).
// Started before the descriptors are counted, its pipes are not a leak.
void startSymbolizer() {
#if defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
    char function[64];
    __sanitizer_symbolize_pc(__builtin_return_address(0), "%f", function, sizeof(function));
#endif
#endif
}

// Each open descriptor with what it refers to.
std::set<std::string> openFileDescriptors() {
    std::set<std::string> open;
    DIR* dir = opendir("/proc/self/fd");
    int own = dirfd(dir);
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.' || atoi(entry->d_name) == own) continue;
        char target[256] = {};
        std::string link = std::string("/proc/self/fd/") + entry->d_name;
        (void)!readlink(link.c_str(), target, sizeof(target) - 1);
        open.insert(std::string(entry->d_name) + " -> " + target);
    }
    closedir(dir);
    return open;
}

// How a listener behaves when it is told something.
enum class Manner { kPlain, kFailing, kReentrant, kDying };
constexpr int kManners = 4;

sp<Codec2InfoService> gService;

template <typename Interface>
class Listener : public RemotePeer<Interface> {
public:
    explicit Listener(Manner manner) : mManner(manner) {
        if (manner == Manner::kFailing) this->setTransportFailing(true);
    }
    bool died() const { return mDied; }
    void dieNow() {
        mDied = true;
        this->die();
    }

protected:
    // What the transport answers; a re-entrant listener calls back first, a
    // dying one dies in the middle of the call.
    template <typename CallBack>
    Status told(CallBack&& callBack) {
        Status status = this->transportStatus();
        if (!status.isOk()) return status;
        if (mManner == Manner::kReentrant) callBack();
        if (mManner == Manner::kDying && !mDied.exchange(true)) this->dieDuringCall();
        return Status::ok();
    }

private:
    const Manner mManner;
    std::atomic<bool> mDied{false};
};

class StreamListener : public Listener<V1_0::ICodec2InfoServiceStreamListener> {
public:
    using Listener::Listener;
    Return<void> onNotify(uint32_t, uint64_t streamId, const hidl_string&) override {
        return told([&] {
            once("nested getStreamList", [&](auto cb) { gService->getStreamList(cb); });
            (void)gService->unregisterListener(streamId).isOk();
        });
    }
};

class EventListener : public Listener<V1_0::ICodec2InfoServiceEventListener> {
public:
    using Listener::Listener;
    std::atomic<uint64_t> mId{0};
    Return<void> onNotify(const V1_0::NotifyEventInfo&) override {
        return told([&] {
            check(gService->unregisterEventListener(mId) == InfoReturn::FAILURE,
                  "nested unregister refused");
        });
    }
};

class InfoListener : public Listener<ICmtInfoServiceListener> {
public:
    using Listener::Listener;
    // As an application does: asks about the stream it was told of, and
    // what else plays, then leaves; all of it answered as from any thread.
    Return<void> onNotify(uint64_t streamId, uint64_t, const CmtInfoStruct&) override {
        return told([&] {
            auto succeeded = [](const char* what) {
                return [what](auto ret, auto&&...) { check(ret == decltype(ret){0}, what); };
            };
            gService->getIdList(succeeded("nested getIdList"));
            gService->getStreamList(succeeded("nested getStreamList answered"));
            once("nested getInfo", [&](auto cb) { gService->getInfo(streamId, {"a"}, cb); });
            (void)gService->unregisterListener(streamId).isOk();
        });
    }
};

// A decoder component on a thread of its own: its stream comes and goes,
// changes, posts events and hands out its frame.
class Component {
public:
    explicit Component(uint32_t streamId)
        : mStreamId(streamId),
          mFrame(SharedFrame::create(64, 32, FrameGenerator::kFormatTiledNV12)) {}

    void run(std::mt19937& random) {
        auto callbacks = std::make_shared<Codec2InfoInternal::Codec2InfoServiceCallback>();
        callbacks->getInfoCb = [](std::vector<std::string> keys, uint32_t) {
            return std::vector<CmtInfoStruct>(keys.size(), CmtInfoStruct{1, "value"});
        };
        callbacks->captureBufferCb = [this] {
            (void)Codec2InfoInternal::bindCaptured(mStreamId, hidl_handle(mFrame->handle())).isOk();
        };
        callbacks->releaseBufferCb = [] {};
        callbacks->enableCaptureCb = [this](bool, uint64_t) {
            // Refused from in here: the service is still calling us.
            check(!Codec2InfoInternal::postCodec2EventToAPK(mStreamId,
                                                            NotifyEvent::NO_FRAME_CAPTURED),
                  "nested post refused");
        };
        callbacks->enableDebugCb = [](bool) {};
        callbacks->getDebugInfoCb = [this](_DebugDescription* d) {
            d->component = "c2.stress.decoder";
            d->input = d->decode = d->get = ++mFrames;
            d->inputSource = 5;
        };
        for (Heartbeat* alive = heartbeat("component"); gRunning; beat(alive)) {
            if (!mLive) {
                (void)Codec2InfoInternal::addStreamInfo(stream()).isOk();
                Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, mStreamId);
                mLive = true;
            }
            uint32_t width = 640 + random() % 64 * 2;
            (void)Codec2InfoInternal::updateStreamInfo(mStreamId, {{1, &width, 4}}).isOk();
            NotifyEvent event =
                    random() % 2 ? NotifyEvent::HDR_CHANGE : NotifyEvent::RESOLUTION_CHANGE;
            Codec2InfoInternal::postCodec2EventToAPK(mStreamId, event);
            if (random() % 16 == 0) {
                (void)Codec2InfoInternal::removeStreamInfoByUniqueId(mStreamId).isOk();
                mLive = false;
            }
        }
    }

    ST_STREAM_LIST stream() const {
        ST_STREAM_LIST s{};
        s.width = 640;
        s.height = 480;
        s.framerate = 60000;
        s.streamid = mStreamId;
        s.hwSyncId = mStreamId;
        s.info = "stress";
        return s;
    }

    const uint32_t mStreamId;
    std::unique_ptr<SharedFrame> mFrame;
    bool mLive = false;
    int32_t mFrames = 0;
};

std::vector<std::unique_ptr<Component>> gComponents;

// A client: listeners of every manner come and go; it queries, captures,
// detiles and releases. It remembers which listeners it left registered.
class Client {
public:
    void run(std::mt19937& random) {
        std::unique_ptr<SharedFrame> linear =
                SharedFrame::create(64, 32, FrameGenerator::kFormatLinearNV12);
        for (Heartbeat* alive = heartbeat("client"); gRunning; beat(alive)) {
            uint32_t streamId = kFirstStream + random() % kComponents;
            auto manner = static_cast<Manner>(random() % kManners);
            switch (random() % 8) {
                case 0:
                    registerStreamListener(manner);
                    break;
                case 1:
                    registerEventListener(streamId, manner);
                    break;
                case 2:
                    (void)gService->registerListener(streamId, new InfoListener(manner), {}).isOk();
                    (void)gService->unregisterListener(streamId).isOk();
                    break;
                case 3:
                    unregisterOne(random);
                    break;
                case 4:
                    once("getStreamList", [&](auto cb) { gService->getStreamList(cb); });
                    once("getIdList", [&](auto cb) { gService->getIdList(cb); });
                    once("getInfo", [&](auto cb) { gService->getInfo(streamId, {"a", "b"}, cb); });
                    once("convertHwSyncIdToStreamId",
                         [&](auto cb) { gService->convertHwSyncIdToStreamId(streamId, cb); });
                    break;
                case 5:
                    captureAndDetile(streamId, *linear);
                    break;
                case 6:
                    (void)gService->enableCapture(streamId, true, 1).isOk();
                    break;
                default:
                    killOne(random);
            }
        }
    }

    // Every listener left registered is still there, every dead one is gone.
    void checkTables() {
        for (auto& [id, listener] : mStreamListeners) {
            listener->awaitObituaries();
            InfoReturn expected = listener->died() ? InfoReturn::FAILURE : InfoReturn::SUCCESS;
            check(gService->unregisterStreamListener(id) == expected, "stream listener table");
        }
        for (auto& [id, listener] : mEventListeners) {
            listener->awaitObituaries();
            InfoReturn expected = listener->died() ? InfoReturn::FAILURE : InfoReturn::SUCCESS;
            check(gService->unregisterEventListener(id) == expected, "event listener table");
        }
    }

private:
    void registerStreamListener(Manner manner) {
        sp<StreamListener> listener = new StreamListener(manner);
        once("registerStreamListener", [&](auto cb) {
            gService->registerStreamListener(listener, [&](InfoReturn ret, uint64_t id) {
                check(ret == InfoReturn::SUCCESS, "stream listener registered");
                mStreamListeners.emplace_back(id, listener);
                cb();
            });
        });
    }

    void registerEventListener(uint32_t streamId, Manner manner) {
        sp<EventListener> listener = new EventListener(manner);
        hidl_vec<hidl_string> names{"hdr_change", "resolution_change"};
        once("registerEventListener", [&](auto cb) {
            gService->registerEventListener(
                    streamId, names, listener, [&](InfoReturn ret, uint64_t id) {
                        check(ret == InfoReturn::SUCCESS, "event listener registered");
                        listener->mId = id;
                        mEventListeners.emplace_back(id, listener);
                        cb();
                    });
        });
    }

    void unregisterOne(std::mt19937& random) {
        if (!mStreamListeners.empty() && random() % 2) {
            size_t n = random() % mStreamListeners.size();
            auto [id, listener] = mStreamListeners[n];
            mStreamListeners.erase(mStreamListeners.begin() + n);
            listener->awaitObituaries();
            InfoReturn ret = gService->unregisterStreamListener(id);
            check(listener->died() || ret == InfoReturn::SUCCESS,
                  "a live stream listener is unregistered");
        } else if (!mEventListeners.empty()) {
            size_t n = random() % mEventListeners.size();
            auto [id, listener] = mEventListeners[n];
            mEventListeners.erase(mEventListeners.begin() + n);
            listener->awaitObituaries();
            InfoReturn ret = gService->unregisterEventListener(id);
            check(listener->died() || ret == InfoReturn::SUCCESS,
                  "a live event listener is unregistered");
        }
    }

    void killOne(std::mt19937& random) {
        if (mStreamListeners.empty()) return;
        mStreamListeners[random() % mStreamListeners.size()].second->dieNow();
    }

    void captureAndDetile(uint32_t streamId, SharedFrame& linear) {
        once("getCurrentVDECBuffer", [&](auto cb) {
            gService->getCurrentVDECBuffer(streamId, [&](InfoReturn ret,
                                                         const CAPTURE_BUFFER_DESCRIPTION& d) {
                cb();
                if (ret != InfoReturn::SUCCESS || d.buffer.getNativeHandle() == nullptr) return;
                // The buffer stays the component's until the answer is
                // through, whatever other threads release meanwhile.
                const SharedFrame& source = *gComponents.at(streamId - kFirstStream)->mFrame;
                (void)gService
                        ->detile(d.buffer, hidl_handle(linear.handle()), describe(source.info()),
                                 describe(linear.info()))
                        .isOk();
            });
        });
        (void)gService->releaseVDECBuffer(streamId).isOk();
    }

    std::vector<std::pair<uint64_t, sp<StreamListener>>> mStreamListeners;
    std::vector<std::pair<uint64_t, sp<EventListener>>> mEventListeners;
};

// lshal debug over a pipe whose reader now and then stops reading.
void debugEngineer(std::mt19937& random) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    fcntl(ends[1], F_SETPIPE_SZ, 4096);  // a stalled reader fills it at once
    std::atomic<bool> stalled{false};
    std::thread reader([&] {
        char buffer[4096];
        for (;;) {
            if (stalled) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
                continue;
            }
            if (read(ends[0], buffer, sizeof(buffer)) <= 0) return;
        }
    });
    const std::vector<std::vector<std::string>> requests = {
            {},           {"--enable"},     {"--dump"},
            {"--owner"},  {"--reloadProp"}, {"--c2dump", "100", "1"},
            {"--disable"}};
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = ends[1];
    Heartbeat* alive = heartbeat("debug reader");
    for (size_t n = 0; gRunning; ++n, beat(alive)) {
        stalled = random() % 8 == 0;
        const std::vector<std::string>& words = requests[n % requests.size()];
        (void)gService
                ->debug(hidl_handle(handle), hidl_vec<hidl_string>(words.begin(), words.end()))
                .isOk();
    }
    stalled = false;
    native_handle_delete(handle);
    close(ends[1]);
    reader.join();
    close(ends[0]);
}

int seconds(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "--seconds") == 0) return atoi(argv[2]);
    if (argc == 1) return 20;
    fprintf(stderr, "usage: %s [--seconds N]\n", argv[0]);
    exit(2);
}

}  // namespace

int main(int argc, char** argv) {
    int runSeconds = seconds(argc, argv);
    // Refusals and listener failures are logged by the thousand.
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    gService = Codec2InfoService::getInstance();
    startSymbolizer();
    std::set<std::string> descriptorsBefore = openFileDescriptors();

    for (uint32_t n = 0; n < kComponents; ++n)
        gComponents.push_back(std::make_unique<Component>(kFirstStream + n));
    std::vector<Client> clients(kClients);
    std::thread dog(watchdog);
    std::vector<std::thread> threads;
    for (auto& component : gComponents) {
        threads.emplace_back([&component, seed = component->mStreamId] {
            std::mt19937 random(seed);
            component->run(random);
        });
    }
    for (size_t n = 0; n < clients.size(); ++n) {
        threads.emplace_back([&clients, n] {
            std::mt19937 random(1000 + n);
            clients[n].run(random);
        });
    }
    threads.emplace_back([] {
        std::mt19937 random(7);
        debugEngineer(random);
    });
    std::this_thread::sleep_for(std::chrono::seconds(runSeconds));
    gRunning = false;
    for (std::thread& thread : threads) thread.join();
    dog.join();

    std::set<uint32_t> expected;
    for (auto& component : gComponents) {
        if (component->mLive) expected.insert(component->mStreamId);
    }
    std::set<uint32_t> listed;
    gService->getStreamList([&](InfoReturn, const hidl_vec<ST_STREAM_LIST>& list) {
        for (const ST_STREAM_LIST& s : list) listed.insert(s.streamid);
    });
    check(listed == expected, "the registry holds what was added and not removed");
    for (Client& client : clients) client.checkTables();
    // The monitor stays on for the exit; the components leave first.
    for (auto& component : gComponents)
        (void)Codec2InfoInternal::removeStreamInfoByUniqueId(component->mStreamId).isOk();
    gComponents.clear();
    int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = devNull;
    (void)gService->debug(hidl_handle(handle), hidl_vec<hidl_string>{"--enable"}).isOk();
    native_handle_delete(handle);
    close(devNull);
    std::set<std::string> descriptorsAfter = openFileDescriptors();
    for (const std::string& left : descriptorsAfter) {
        if (descriptorsBefore.count(left) == 0)
            fprintf(stderr, "stress: left open: %s\n", left.c_str());
    }
    check(descriptorsAfter == descriptorsBefore, "no file descriptor left open");

    printf("stress: %.0f rounds/s, %d failure(s)\n", static_cast<double>(gRounds) / runSeconds,
           gFailures.load());
    return gFailures == 0 ? 0 : 1;
}
