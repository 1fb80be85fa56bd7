// Components, clients, misbehaving listeners and a debug reader that
// stalls, all at once against one service. A watchdog fails the run when a
// thread stays over 5 s in one round of its calls; at the end the registry
// and the listener tables must hold exactly what was added and not removed,
// every reply must have come once, and no file descriptor may be left open.
//
//     c2info_stress [--seconds N]
#include <Harness.h>
#include <SharedFrame.h>
#include <android/log.h>
#include <fcntl.h>
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <random>
#include <thread>

namespace {

using namespace c2info_test;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtIdType;
using Clock = std::chrono::steady_clock;

constexpr int kComponents = 3;
constexpr int kClients = 2;
constexpr uint32_t kFirstStream = 100;

std::atomic<int> gFailures{0};
std::atomic<bool> gRunning{true};
std::atomic<uint64_t> gRounds{0};
sp<Codec2InfoService> gService;

void check(bool ok, const char* what) {
    if (!ok && gFailures++ < 20) fprintf(stderr, "stress: FAILED: %s\n", what);
}

// A method that replies through a callback must reply once.
template <typename... Answer, typename Method>
std::tuple<Answer...> once(const char* what, Method&& method) {
    auto [calls, answer] = answerOf<Answer...>(method);
    check(calls == 1, what);
    return answer;
}

// When each thread last finished a round of its calls, in steady-clock
// ticks: the watchdog ends the run when one stays over 5 s in a round.
constexpr int kThreads = kComponents + kClients + 1;
std::array<std::atomic<int64_t>, kThreads> gBeats{};
const char* gNames[kThreads];

bool beat(int thread) {
    gBeats[thread] = Clock::now().time_since_epoch().count();
    ++gRounds;
    return gRunning;
}

void watchdog() {
    for (; gRunning; std::this_thread::sleep_for(std::chrono::milliseconds(50))) {
        for (int thread = 0; thread < kThreads; ++thread) {
            if (Clock::now() - Clock::time_point(Clock::duration(gBeats[thread])) <
                std::chrono::seconds(5))
                continue;
            fprintf(stderr, "stress: FAILED: the %s has been stuck for over 5 s\n", gNames[thread]);
            _exit(1);
        }
    }
}

// The sanitizers symbolize stacks in a child process reached through two
// pipes, started the first time they need it. Started before the
// descriptors are counted, its pipes are not a leak.
void startSymbolizer() {
#if defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
    char function[64];
    __sanitizer_symbolize_pc(__builtin_return_address(0), "%f", function, sizeof(function));
#endif
#endif
}

// How a listener behaves when it is told something: a re-entrant one calls
// back first, a dying one dies in the middle of the call.
enum class Manner { kPlain, kFailing, kReentrant, kDying };

template <typename Interface>
class Listener : public RemotePeer<Interface> {
public:
    explicit Listener(Manner manner) : mManner(manner) {
        this->setTransportFailing(manner == Manner::kFailing);
    }
    bool died() const { return mDied; }
    void dieNow() {
        mDied = true;
        this->die();
    }
    std::atomic<uint64_t> mId{0};

protected:
    Return<void> told(const std::function<void()>& callBack) {
        if (Status status = this->transportStatus(); !status.isOk()) return status;
        if (mManner == Manner::kReentrant) callBack();
        if (mManner == Manner::kDying && !mDied.exchange(true)) this->dieDuringCall();
        return Void();
    }

private:
    const Manner mManner;
    std::atomic<bool> mDied{false};
};

struct StreamListener : Listener<ICodec2InfoServiceStreamListener> {
    using Listener::Listener;
    Return<void> onNotify(uint32_t, uint64_t streamId, const hidl_string&) override {
        return told([&] {
            once<InfoReturn, hidl_vec<ST_STREAM_LIST>>(
                    "nested getStreamList", [&](auto cb) { gService->getStreamList(cb); });
            (void)gService->unregisterListener(streamId).isOk();
        });
    }
};

struct EventListener : Listener<ICodec2InfoServiceEventListener> {
    using Listener::Listener;
    Return<void> onNotify(const NotifyEventInfo&) override {
        return told([&] {
            check(gService->unregisterEventListener(mId) == InfoReturn::FAILURE,
                  "nested unregister refused");
        });
    }
};

// As an application does: asks about the stream it was told of and what
// else plays, then leaves; all of it answered as from any thread.
struct InfoListener : Listener<ICmtInfoServiceListener> {
    using Listener::Listener;
    Return<void> onNotify(uint64_t streamId, uint64_t, const CmtInfoStruct&) override {
        return told([&] {
            auto ids = once<CmtReturn, CmtIdType, hidl_vec<uint64_t>>(
                    "nested getIdList", [&](auto cb) { gService->getIdList(cb); });
            check(std::get<0>(ids) == CmtReturn::SUCCESS, "nested getIdList answered");
            auto streams = once<InfoReturn, hidl_vec<ST_STREAM_LIST>>(
                    "nested getStreamList", [&](auto cb) { gService->getStreamList(cb); });
            check(std::get<0>(streams) == InfoReturn::SUCCESS, "nested getStreamList answered");
            once<CmtReturn, hidl_vec<CmtInfoStruct>>(
                    "nested getInfo", [&](auto cb) { gService->getInfo(streamId, {"a"}, cb); });
            (void)gService->unregisterListener(streamId).isOk();
        });
    }
};

// A decoder component on a thread of its own: its stream comes and goes,
// changes, posts events and hands out its frame.
struct Component {
    explicit Component(uint32_t streamId)
        : streamId(streamId),
          frame(SharedFrame::create(64, 32, FrameGenerator::kFormatTiledNV12)) {}

    void run(int thread, std::mt19937& random) {
        auto callbacks = std::make_shared<Callbacks>();
        callbacks->getInfoCb = [](std::vector<std::string> keys, uint32_t) {
            return std::vector<CmtInfoStruct>(keys.size(), CmtInfoStruct{1, "value"});
        };
        callbacks->captureBufferCb = [this] {
            (void)Codec2InfoInternal::bindCaptured(streamId, hidl_handle(frame->handle())).isOk();
        };
        callbacks->releaseBufferCb = [] {};
        callbacks->enableCaptureCb = [this](bool, uint64_t) {
            // Refused from in here: the service is still calling us.
            check(!Codec2InfoInternal::postCodec2EventToAPK(streamId,
                                                            NotifyEvent::NO_FRAME_CAPTURED),
                  "nested post refused");
        };
        callbacks->enableDebugCb = [](bool) {};
        callbacks->getDebugInfoCb = [this](_DebugDescription* d) {
            d->component = "c2.stress.decoder";
            d->input = d->decode = d->get = ++frames;
            d->inputSource = 5;
        };
        while (beat(thread)) {
            if (!live) {
                (void)Codec2InfoInternal::addStreamInfo(makeStream(streamId)).isOk();
                Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, streamId);
                live = true;
            }
            uint32_t width = 640 + random() % 64 * 2;
            (void)Codec2InfoInternal::updateStreamInfo(streamId, {{1, &width, 4}}).isOk();
            Codec2InfoInternal::postCodec2EventToAPK(
                    streamId,
                    random() % 2 ? NotifyEvent::HDR_CHANGE : NotifyEvent::RESOLUTION_CHANGE);
            // Some decoders bind each new frame as it comes, outside any capture.
            if (random() % 4 == 0) {
                (void)Codec2InfoInternal::bindCaptured(streamId, hidl_handle(frame->handle()))
                        .isOk();
            }
            if (random() % 16 == 0) {
                (void)Codec2InfoInternal::removeStreamInfoByUniqueId(streamId).isOk();
                live = false;
            }
        }
    }

    const uint32_t streamId;
    std::unique_ptr<SharedFrame> frame;
    bool live = false;
    int32_t frames = 0;
};

std::vector<std::unique_ptr<Component>> gComponents;

// A client: listeners of every manner come and go; it queries, captures,
// detiles and releases. It remembers which listeners it left registered.
class Client {
public:
    void run(int thread, std::mt19937& random) {
        auto linear = SharedFrame::create(64, 32, FrameGenerator::kFormatLinearNV12);
        const std::function<void(uint32_t, Manner)> actions[] = {
                [&](uint32_t, Manner manner) {
                    sp<StreamListener> listener = new StreamListener(manner);
                    auto [ret, id] = once<InfoReturn, uint64_t>(
                            "registerStreamListener",
                            [&](auto cb) { gService->registerStreamListener(listener, cb); });
                    check(ret == InfoReturn::SUCCESS, "stream listener registered");
                    mStreamListeners.emplace_back(id, listener);
                },
                [&](uint32_t streamId, Manner manner) {
                    sp<EventListener> listener = new EventListener(manner);
                    auto [ret,
                          id] = once<InfoReturn, uint64_t>("registerEventListener", [&](auto cb) {
                        gService->registerEventListener(
                                streamId, {"hdr_change", "resolution_change"}, listener, cb);
                    });
                    check(ret == InfoReturn::SUCCESS, "event listener registered");
                    listener->mId = id;
                    mEventListeners.emplace_back(id, listener);
                },
                [&](uint32_t streamId, Manner manner) {
                    (void)gService->registerListener(streamId, new InfoListener(manner), {}).isOk();
                    (void)gService->unregisterListener(streamId).isOk();
                },
                [&](uint32_t, Manner) { unregisterOne(mStreamListeners, random); },
                [&](uint32_t, Manner) { unregisterOne(mEventListeners, random); },
                [&](uint32_t streamId, Manner) {
                    once<InfoReturn, hidl_vec<ST_STREAM_LIST>>(
                            "getStreamList", [&](auto cb) { gService->getStreamList(cb); });
                    once<CmtReturn, hidl_vec<CmtInfoStruct>>("getInfo", [&](auto cb) {
                        gService->getInfo(streamId, {"a", "b"}, cb);
                    });
                    once<InfoReturn, uint32_t>("convertHwSyncIdToStreamId", [&](auto cb) {
                        gService->convertHwSyncIdToStreamId(streamId, cb);
                    });
                },
                [&](uint32_t streamId, Manner) { captureAndDetile(streamId, *linear); },
                [&](uint32_t streamId, Manner) {
                    (void)gService->enableCapture(streamId, true, 1).isOk();
                },
                [&](uint32_t, Manner) {
                    if (!mStreamListeners.empty())
                        mStreamListeners[random() % mStreamListeners.size()].second->dieNow();
                },
        };
        while (beat(thread)) {
            uint32_t streamId = kFirstStream + random() % kComponents;
            auto manner = static_cast<Manner>(random() % 4);
            actions[random() % std::size(actions)](streamId, manner);
        }
    }

    // Every listener left registered is still there, every dead one is gone.
    void checkTables() {
        for (auto& [id, listener] : mStreamListeners) {
            listener->awaitObituaries();
            check(gService->unregisterStreamListener(id) ==
                          (listener->died() ? InfoReturn::FAILURE : InfoReturn::SUCCESS),
                  "stream listener table");
        }
        for (auto& [id, listener] : mEventListeners) {
            listener->awaitObituaries();
            check(gService->unregisterEventListener(id) ==
                          (listener->died() ? InfoReturn::FAILURE : InfoReturn::SUCCESS),
                  "event listener table");
        }
    }

private:
    template <typename Listeners>
    void unregisterOne(Listeners& listeners, std::mt19937& random) {
        if (listeners.empty()) return;
        size_t n = random() % listeners.size();
        auto [id, listener] = listeners[n];
        listeners.erase(listeners.begin() + n);
        listener->awaitObituaries();
        InfoReturn ret = std::is_same_v<Listeners, decltype(mStreamListeners)>
                                 ? gService->unregisterStreamListener(id)
                                 : gService->unregisterEventListener(id);
        check(listener->died() || ret == InfoReturn::SUCCESS, "a live listener is unregistered");
    }

    // Half the clients hand the buffer back from inside the answer.
    void captureAndDetile(uint32_t streamId, SharedFrame& linear) {
        bool releasedInside = false;
        once<>("getCurrentVDECBuffer", [&](auto cb) {
            gService->getCurrentVDECBuffer(streamId, [&](InfoReturn ret, const auto& d) {
                cb();
                if (ret != InfoReturn::SUCCESS || d.buffer.getNativeHandle() == nullptr) return;
                // The buffer stays the component's until the answer is
                // through, whatever other threads release meanwhile.
                const SharedFrame& source = *gComponents.at(streamId - kFirstStream)->frame;
                (void)gService
                        ->detile(d.buffer, hidl_handle(linear.handle()), describe(source.info()),
                                 describe(linear.info()))
                        .isOk();
                releasedInside = random() % 2 == 0;
                if (releasedInside) (void)gService->releaseVDECBuffer(streamId).isOk();
            });
        });
        if (!releasedInside) (void)gService->releaseVDECBuffer(streamId).isOk();
    }

    std::vector<std::pair<uint64_t, sp<StreamListener>>> mStreamListeners;
    std::vector<std::pair<uint64_t, sp<EventListener>>> mEventListeners;
};

// lshal debug over a pipe whose reader now and then stops reading.
void debugEngineer(int thread, std::mt19937& random) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    fcntl(ends[1], F_SETPIPE_SZ, 4096);  // a stalled reader fills it at once
    std::atomic<bool> stalled{false};
    std::thread reader([&] {
        char buffer[4096];
        while (stalled || read(ends[0], buffer, sizeof(buffer)) > 0) {
            if (stalled) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    });
    const std::vector<std::vector<std::string>> requests = {
            {},           {"--enable"},     {"--dump"},
            {"--owner"},  {"--reloadProp"}, {"--c2dump", "100", "1"},
            {"--disable"}};
    native_handle_t* handle = handleOf({ends[1]});
    for (size_t n = 0; beat(thread); ++n) {
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

}  // namespace

int main(int argc, char** argv) {
    int seconds = 20;
    if (argc == 3 && strcmp(argv[1], "--seconds") == 0) {
        seconds = atoi(argv[2]);
    } else if (argc != 1) {
        fprintf(stderr, "usage: %s [--seconds N]\n", argv[0]);
        return 2;
    }
    // Refusals and listener failures are logged by the thousand.
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    gService = Codec2InfoService::getInstance();
    startSymbolizer();
    auto debugIntoNull = [](const char* word) {
        int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
        native_handle_t* handle = handleOf({devNull});
        (void)gService->debug(hidl_handle(handle), hidl_vec<hidl_string>{word}).isOk();
        native_handle_delete(handle);
        close(devNull);
    };
    // The first request makes the stage the service keeps for a process
    // out of descriptors.
    debugIntoNull("--reset");
    std::set<std::string> descriptorsBefore = openFileDescriptors();

    for (uint32_t n = 0; n < kComponents; ++n)
        gComponents.push_back(std::make_unique<Component>(kFirstStream + n));
    std::vector<Client> clients(kClients);
    // Thread n, seeded with n, starts its first round now.
    std::vector<std::thread> threads;
    auto start = [&threads](const char* name, std::function<void(int, std::mt19937&)> run) {
        int thread = static_cast<int>(threads.size());
        gNames[thread] = name;
        beat(thread);
        threads.emplace_back([thread, run] {
            std::mt19937 random(thread);
            run(thread, random);
        });
    };
    for (auto& component : gComponents) {
        start("component", [&component](int t, std::mt19937& r) { component->run(t, r); });
    }
    for (Client& client : clients) {
        start("client", [&client](int t, std::mt19937& r) { client.run(t, r); });
    }
    start("debug reader", debugEngineer);
    std::thread dog(watchdog);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    gRunning = false;
    for (std::thread& thread : threads) thread.join();
    dog.join();

    std::set<uint32_t> expected, listed;
    for (auto& component : gComponents) {
        if (component->live) expected.insert(component->streamId);
    }
    auto [ret, list] = once<InfoReturn, hidl_vec<ST_STREAM_LIST>>(
            "getStreamList", [&](auto cb) { gService->getStreamList(cb); });
    for (const ST_STREAM_LIST& s : list) listed.insert(s.streamid);
    check(listed == expected, "the registry holds what was added and not removed");
    for (Client& client : clients) client.checkTables();
    // The monitor stays on for the exit; the components leave first.
    for (auto& component : gComponents)
        (void)Codec2InfoInternal::removeStreamInfoByUniqueId(component->streamId).isOk();
    gComponents.clear();
    debugIntoNull("--enable");
    for (const std::string& left : openFileDescriptors()) {
        check(descriptorsBefore.count(left) != 0, "no file descriptor left open");
        if (descriptorsBefore.count(left) == 0)
            fprintf(stderr, "stress: left open: %s\n", left.c_str());
    }
    printf("stress: %.0f rounds/s, %d failure(s)\n", static_cast<double>(gRounds) / seconds,
           gFailures.load());
    return gFailures == 0 ? 0 : 1;
}
