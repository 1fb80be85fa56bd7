// Readers that never read or have gone, output too large or with no
// descriptor left to stage, a release racing a capture, and components
// whose callables throw: the service answers and lives on.
#include <android/log.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>

#include "support/DebugTestSupport.h"
#include "support/Transcript.h"

namespace c2info_test {
namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoDebugTarget;
using ::vendor::larkspan::hardware::c2::info::V1_0::CAPTURE_BUFFER_DESCRIPTION;

class HostileClientTest : public ServiceTest {
protected:
    void debugOn(int fd, const std::vector<std::string>& words) {
        native_handle_t* handle = native_handle_create(1, 0);
        handle->data[0] = fd;
        mService->debug(hidl_handle(handle), hidl_vec<hidl_string>(words.begin(), words.end()));
        native_handle_delete(handle);
    }
    // debug() on the write end of a pipe, on a thread of its own.
    std::future<void> debugInto(int fd, std::vector<std::string> words) {
        return std::async(std::launch::async, [this, fd, words] { debugOn(fd, words); });
    }
    // A pipe whose write end has no room and blocks.
    static void fillPipe(int ends[2]) {
        ASSERT_EQ(pipe(ends), 0);
        fcntl(ends[1], F_SETPIPE_SZ, 4096);
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        while (write(ends[1], "x", 1) == 1) {
        }
        fcntl(ends[1], F_SETFL, 0);
    }
};

// A component whose buffer is freed when the client releases it or the
// stream goes, as a decoder's is.
struct CapturingComponent {
    CapturingComponent() : buffer(native_handle_create(1, 0)) {
        buffer->data[0] = memfd_create("capture", MFD_CLOEXEC);
    }
    ~CapturingComponent() { freeBuffer(); }
    std::shared_ptr<Callbacks> callbacks(uint32_t id, bool binds) {
        auto cb = std::make_shared<Callbacks>();
        cb->captureBufferCb = [this, id, binds] {
            if (binds) Codec2InfoInternal::bindCaptured(id, hidl_handle(buffer));
        };
        cb->releaseBufferCb = [this] { freeBuffer(); };
        return cb;
    }
    void freeBuffer() {
        if (freed.exchange(true)) return;
        native_handle_close(buffer);
        native_handle_delete(buffer);
    }
    native_handle_t* buffer;
    std::atomic<bool> freed{false};
};

const char* const kAbandoned =
        "  E/service_tests: [debug] debug output abandoned: the reader is gone or stalled";

// Before, the report was written with the main lock held: the component
// below waited for as long as nobody read; and every request took the
// debug-command lock, so help waited too.
TEST_F(HostileClientTest, AReaderWhoNeverReadsHoldsUpNothingButItsOwnRequest) {
    int ends[2];
    fillPipe(ends);

    logIntoTranscript();
    std::future<void> request = debugInto(ends[1], {});
    ASSERT_EQ(request.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    EXPECT_EQ(Codec2InfoInternal::addStreamInfo(makeStream(1)), InfoReturn::SUCCESS);
    EXPECT_EQ(linesOf(runDebug(*mService, {"--help"})).at(1), "Usage: ");
    EXPECT_EQ(request.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    request.get();
    EXPECT_EQ(transcribed(kAbandoned), 1u);
    close(ends[0]);
    close(ends[1]);
}

// Before, a request made from inside a call out of the service waited up to
// 2 s for a reader who took nothing, and whoever waited for that call (for
// the lock it was made under, or for the capture's answer) waited as long.
TEST_F(HostileClientTest, ARequestFromInsideTheServiceWaitsForNoReader) {
    int ends[2];
    fillPipe(ends);
    std::function<void()> request;
    CapturingComponent component;
    std::shared_ptr<Callbacks> callbacks = component.callbacks(1, true);
    callbacks->enableCaptureCb = [&](bool, uint64_t) { request(); };
    callbacks->releaseBufferCb = [] {};
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, 1);
    sp<InfoEar> app = new InfoEar("app");
    app->then = [&](const std::string&) { request(); };
    mService->registerListener(1, app, {});
    struct Case {
        const char* name;
        std::function<void()> callOut;  // ends up in request()
        std::function<void()> waitForIt;
    } cases[] = {
            {"a component's callable", [&] { mService->enableCapture(1, true, 0); },
             [&] { mService->getStreamList([](auto&&...) {}); }},
            {"an information listener",
             [] { Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::HDR_CHANGE); },
             [&] { mService->registerListener(1, app, {}); }},
            {"a capture's answer",
             [&] { mService->getCurrentVDECBuffer(1, [&](auto&&...) { request(); }); },
             [&] { mService->releaseVDECBuffer(1); }},
    };
    logIntoTranscript();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::promise<void> entered;
        request = [&] {
            entered.set_value();
            debugOn(ends[1], {"--help"});
        };
        std::future<void> calling = std::async(std::launch::async, c.callOut);
        entered.get_future().wait();
        auto start = std::chrono::steady_clock::now();
        c.waitForIt();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
        calling.get();
    }
    EXPECT_EQ(transcribed(kAbandoned), 3u);
    close(ends[0]);
    close(ends[1]);
}

// Before, the 2 s covered the whole write: a reader that took 20 KB/s lost
// the end of a large report, cut mid-line.
TEST_F(HostileClientTest, ASlowButSteadyReaderGetsTheWholeReport) {
    for (uint32_t id = 1; id <= 16; ++id) {
        Codec2InfoInternal::addStreamInfo(makeStream(id));
        Codec2InfoInternal::setCodec2InfoServiceCallback(component("c#1", nullptr, {{}}), id);
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fcntl(ends[1], F_SETPIPE_SZ, 4096);
    std::future<void> request = debugInto(ends[1], {});
    std::string slow;
    char buffer[2048];
    for (ssize_t n;
         request.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready;) {
        if ((n = read(ends[0], buffer, sizeof(buffer))) > 0) slow.append(buffer, n);
    }
    close(ends[1]);
    for (ssize_t n; (n = read(ends[0], buffer, sizeof(buffer))) > 0;) slow.append(buffer, n);
    close(ends[0]);

    std::string whole = runDebug(*mService, {});
    EXPECT_GT(whole.size(), 40000u) << "a report that takes the reader seconds";
    EXPECT_EQ(linesOf(slow).size(), linesOf(whole).size());
    EXPECT_EQ(linesOf(withoutSystemTimes(slow)).back(), linesOf(withoutSystemTimes(whole)).back());
    size_t differences = 0;
    for (size_t at = 0; (at = slow.find("Diff of debug info", at)) != std::string::npos; ++at) {
        ++differences;
    }
    EXPECT_EQ(differences, 16u);
}

// Before, a blocking write of 4 KiB into a terminal with less room than that
// never returned, and every later request waited behind it.
TEST_F(HostileClientTest, ATerminalNobodyReadsHoldsUpNothingButItsOwnRequest) {
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    fcntl(terminal, F_SETFL, O_NONBLOCK);
    std::string filler(256, 'x');
    while (write(terminal, filler.data(), filler.size()) > 0) {
    }
    fcntl(terminal, F_SETFL, 0);
    char drained[1024];
    ASSERT_GT(read(master, drained, sizeof(drained)), 0);  // some room, less than 4 KiB

    std::future<void> request = debugInto(terminal, {});
    EXPECT_EQ(request.wait_for(std::chrono::seconds(4)), std::future_status::ready);
    EXPECT_EQ(linesOf(runDebug(*mService, {"--help"})).at(1), "Usage: ");
    request.get();
    close(terminal);
    close(master);
}

// Before, SIGPIPE ended the process.
TEST_F(HostileClientTest, AReaderWhoClosedItsEndDoesNotEndTheProcess) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    debugInto(ends[1], {"--help"}).get();
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    close(ends[1]);
    EXPECT_EQ(linesOf(runDebug(*mService, {"--help"})).at(1), "Usage: ");
}

// Before, a release or the stream's removal on another thread let the
// component free the buffer while the client was still being answered with
// it (under ASan, reading the handle below was a use after free); and the
// stream that had bound the buffer another stream's capture reported could
// free it at any time. The answer holds no lock: only what would free the
// buffer being read waits for it; another stream comes and goes meanwhile.
TEST_F(HostileClientTest, NothingFreesACapturedBufferBeforeTheClientHasIt) {
    auto release = [&](uint32_t id, CapturingComponent&) {
        EXPECT_EQ(mService->releaseVDECBuffer(id), InfoReturn::SUCCESS);
    };
    auto removal = [](uint32_t id, CapturingComponent& component) {
        EXPECT_EQ(Codec2InfoInternal::removeStreamInfoByUniqueId(id), InfoReturn::SUCCESS);
        component.freeBuffer();
    };
    struct Case {
        const char* name;
        std::function<void(uint32_t, CapturingComponent&)> free;
        bool waits;
        uint32_t asked;  // from the id: 100 is a stream whose component binds nothing
    } cases[] = {
            {"release", release, true, 0},
            {"removal", removal, true, 0},
            {"another stream's removal",
             [](uint32_t id, CapturingComponent&) {
                 EXPECT_EQ(Codec2InfoInternal::removeStreamInfoByUniqueId(id + 100),
                           InfoReturn::SUCCESS);
             },
             false, 0},
            {"release of the stream that bound it", release, true, 100},
            {"removal of the stream that bound it", removal, true, 100},
    };
    uint32_t id = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CapturingComponent component;
        Codec2InfoInternal::addStreamInfo(makeStream(++id));
        Codec2InfoInternal::addStreamInfo(makeStream(id + 100));
        Codec2InfoInternal::setCodec2InfoServiceCallback(component.callbacks(id, true), id);
        Codec2InfoInternal::setCodec2InfoServiceCallback(component.callbacks(id + 100, false),
                                                         id + 100);
        Codec2InfoInternal::bindCaptured(id, hidl_handle(component.buffer));
        std::future<void> freeing;
        mService->getCurrentVDECBuffer(
                id + c.asked, [&](InfoReturn ret, const CAPTURE_BUFFER_DESCRIPTION& d) {
                    ASSERT_EQ(ret, InfoReturn::SUCCESS);
                    freeing = std::async(std::launch::async, [&] { c.free(id, component); });
                    auto done = freeing.wait_for(std::chrono::milliseconds(c.waits ? 100 : 5000));
                    EXPECT_EQ(done == std::future_status::ready, !c.waits);
                    EXPECT_FALSE(component.freed);
                    EXPECT_EQ(d.buffer.getNativeHandle()->numFds, 1);
                });
        freeing.get();
        EXPECT_EQ(component.freed, c.waits);
    }
}

// Before, only a bind inside a capture that returned was its stream's: a
// buffer bound before the callable threw, or outside any capture, outlived
// its stream and was reported to a capture of another.
TEST_F(HostileClientTest, AStreamTakesItsBufferWithItHoweverItWasBound) {
    struct Case {
        const char* name;
        bool insideCapture;
    } cases[] = {{"bound, then the callable threw", true}, {"bound outside a capture", false}};
    uint32_t id = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CapturingComponent binding, idle;
        std::shared_ptr<Callbacks> callbacks = binding.callbacks(++id, true);
        for (uint32_t stream : {id, id + 100})
            Codec2InfoInternal::addStreamInfo(makeStream(stream));
        callbacks->captureBufferCb = [bind = callbacks->captureBufferCb] {
            bind();
            throw std::runtime_error("after the bind");
        };
        Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, id);
        Codec2InfoInternal::setCodec2InfoServiceCallback(idle.callbacks(id + 100, false), id + 100);
        if (c.insideCapture) {
            mService->getCurrentVDECBuffer(id, [](auto&&...) {});
        } else {
            Codec2InfoInternal::bindCaptured(id, hidl_handle(binding.buffer));
        }
        EXPECT_EQ(Codec2InfoInternal::removeStreamInfoByUniqueId(id), InfoReturn::SUCCESS);
        auto capture = answerOf<InfoReturn, CAPTURE_BUFFER_DESCRIPTION>(
                [&](auto cb) { mService->getCurrentVDECBuffer(id + 100, cb); });
        EXPECT_EQ(std::get<0>(capture.second), InfoReturn::FAILURE);
        EXPECT_EQ(std::get<1>(capture.second).buffer.getNativeHandle(), nullptr);
    }
}

// A client on another thread reads stream 1's buffer. A release of stream 1
// asked from inside another capture's answer, or under the post lock, may
// come from the very thread that client waits for: it is refused at once,
// and the buffer stays the client's.
TEST_F(HostileClientTest, AReleaseThatCouldWaitForItsOwnWaiterIsRefused) {
    CapturingComponent one, two;
    for (uint32_t id : {1u, 2u}) Codec2InfoInternal::addStreamInfo(makeStream(id));
    Codec2InfoInternal::setCodec2InfoServiceCallback(one.callbacks(1, true), 1);
    Codec2InfoInternal::setCodec2InfoServiceCallback(two.callbacks(2, true), 2);
    sp<InfoEar> app = new InfoEar("app");
    mService->registerListener(2, app, {});
    InfoReturn released;
    bool stillReading;
    std::atomic<bool> reading{false};
    auto releaseOne = [&](auto&&...) {
        released = mService->releaseVDECBuffer(1);
        stillReading = reading;
    };
    app->then = releaseOne;
    struct Case {
        const char* name;
        std::function<void()> callOut;  // ends up in releaseOne
    } cases[] = {
            {"another capture's answer", [&] { mService->getCurrentVDECBuffer(2, releaseOne); }},
            {"an information listener",
             [] { Codec2InfoInternal::postCodec2EventToAPK(2, NotifyEvent::HDR_CHANGE); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::promise<void> entered, leave;
        std::future<void> client = std::async(std::launch::async, [&] {
            mService->getCurrentVDECBuffer(1, [&](auto&&...) {
                reading = true;
                entered.set_value();
                leave.get_future().wait_for(std::chrono::seconds(5));
                reading = false;
            });
        });
        entered.get_future().wait();
        released = InfoReturn::SUCCESS;
        stillReading = false;
        c.callOut();
        leave.set_value();
        client.get();
        EXPECT_EQ(released, InfoReturn::FAILURE);
        EXPECT_TRUE(stillReading) << "waited for the client";
        EXPECT_FALSE(one.freed);
    }
}

// A client tears down by unregistering, then dropping its listener: the
// service must not be inside the listener after the unregister returned.
TEST_F(HostileClientTest, UnregisteringWaitsForTheNotificationInFlight) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    sp<InfoEar> app = new InfoEar("app");
    std::promise<void> entered, leave;
    std::shared_future<void> left = leave.get_future().share();
    app->then = [&](const std::string&) {
        entered.set_value();
        left.wait();
    };
    ASSERT_EQ(mService->registerListener(1, app, {}), CmtReturn::SUCCESS);
    auto posting = std::async(std::launch::async, [] {
        Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::HDR_CHANGE);
    });
    entered.get_future().wait();
    auto unregistering =
            std::async(std::launch::async, [&] { return mService->unregisterListener(1); });
    EXPECT_EQ(unregistering.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    leave.set_value();
    EXPECT_EQ(unregistering.get(), CmtReturn::SUCCESS);
    posting.get();
    Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::HDR_CHANGE);
    EXPECT_EQ(transcribedAfter("  app hears ").size(), 1u);
}

// Before, the names were resolved and their warnings written under the main
// lock: a client's long list held up every component's posts for as long as
// the log took. Here a post must get through while the warnings are written.
std::function<void()> gOnWarning;
void callOnWarning(const __android_logger_data* data, const char*) {
    if (data->priority == ANDROID_LOG_WARN && gOnWarning) std::exchange(gOnWarning, nullptr)();
}

TEST_F(HostileClientTest, ALongListOfEventNamesDoesNotHoldUpPosts) {
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    sp<EventEar> hearing = new EventEar("hearing");
    auto registered = [](InfoReturn, uint64_t) {};
    mService->registerEventListener(1, {"hdr_change"}, hearing, registered);
    std::future<void> post;
    std::future_status posted = std::future_status::deferred;
    gOnWarning = [&] {
        post = std::async(std::launch::async, [] {
            Codec2InfoInternal::postCodec2EventToAPK(1, NotifyEvent::HDR_CHANGE);
        });
        posted = post.wait_for(std::chrono::seconds(5));
    };
    __android_log_set_logger(callOnWarning);
    std::vector<std::string> junk(1000, "no_such_event");
    mService->registerEventListener(1, hidl_vec<hidl_string>(junk.begin(), junk.end()),
                                    new EventEar("junk"), registered);
    __android_log_set_logger(__android_log_stderr_logger);
    EXPECT_EQ(posted, std::future_status::ready);
    EXPECT_EQ(transcript(), "  hearing hears hdr_change {.intValue = 0, .strValue = \"\"}\n");
}

// Before, each throw went through a binder thread or ended the monitor
// thread: std::terminate.
TEST_F(HostileClientTest, CallablesThatThrowAreAnsweredAsFailures) {
    auto fail = [](auto&&...) { throw std::runtime_error("boom"); };
    auto callbacks = std::make_shared<Callbacks>();
    callbacks->getInfoCb = [](auto&&...) -> std::vector<CmtInfoStruct> {
        throw std::runtime_error("boom");
    };
    callbacks->captureBufferCb = callbacks->releaseBufferCb = callbacks->reloadPropCb = fail;
    callbacks->enableCaptureCb = fail;
    callbacks->enableDebugCb = fail;
    callbacks->getDebugInfoCb = fail;
    callbacks->c2DumpCb = [](bool) { throw 42; };
    Codec2InfoInternal::addStreamInfo(makeStream(1));
    Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, 1);

    logIntoTranscript();
    auto info = answerOf<CmtReturn, hidl_vec<CmtInfoStruct>>(
            [&](auto cb) { mService->getInfo(1, {"key"}, cb); });
    EXPECT_EQ(std::get<0>(info.second), CmtReturn::FAILURE);
    EXPECT_EQ(std::get<1>(info.second).size(), 0u);
    auto capture = answerOf<InfoReturn, CAPTURE_BUFFER_DESCRIPTION>(
            [&](auto cb) { mService->getCurrentVDECBuffer(1, cb); });
    EXPECT_EQ(std::get<0>(capture.second), InfoReturn::FAILURE);
    EXPECT_EQ(mService->releaseVDECBuffer(1), InfoReturn::FAILURE);
    EXPECT_EQ(mService->enableCapture(1, true, 0), InfoReturn::FAILURE);
    runDebug(*mService, {"--enable"});
    EXPECT_TRUE(
            awaitTranscribed("  E/service_tests: [getDebugInfo_l] getDebugInfoCb threw: boom", 1));
    for (const char* word : {"--reloadProp", "--disable"}) runDebug(*mService, {word});
    runDebug(*mService, {"--c2dump", "1", "1"});
    for (const char* line :
         {"[getInfo] getInfoCb threw: boom", "[getCurrentVDECBuffer] captureBufferCb threw: boom",
          "[releaseVDECBuffer] releaseBufferCb threw: boom",
          "[enableCapture] enableCaptureCb threw: boom",
          "[enableDebug_l] enableDebugCb threw: boom", "[cmdReloadProp] reloadPropCb threw: boom",
          "[cmdC2Dump] c2DumpCb threw"}) {
        EXPECT_GE(transcribed("  E/service_tests: " + std::string(line)), 1u) << line;
    }
    EXPECT_EQ(linesOf(runDebug(*mService, {"--enable"})).back().find("already"), std::string::npos);
    runDebug(*mService, {"--disable"});
}

bool builtWithSanitizer() {
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return true;
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#endif
    return false;
}

// The address space is made too small for a thread's stack.
TEST_F(HostileClientTest, AMonitorThatCannotStartLeavesTheMonitorStopped) {
    if (builtWithSanitizer()) GTEST_SKIP() << "sanitizers need the address space";
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit old;
    getrlimit(RLIMIT_AS, &old);
    rlimit tight{static_cast<rlim_t>(pages) * getpagesize() + (2 << 20), old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    // qemu-user accepts the limit but keeps the guest's address space its own.
    if (void* probe = mmap(nullptr, 64 << 20, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        probe != MAP_FAILED) {
        munmap(probe, 64 << 20);
        setrlimit(RLIMIT_AS, &old);
        GTEST_SKIP() << "the address-space limit is not enforced here";
    }
    std::string failed = runDebug(*mService, {"--enable"});
    setrlimit(RLIMIT_AS, &old);

    EXPECT_NE(failed.find("C2 LsHal Ver-1.3 - Enable(failed: "), std::string::npos) << failed;
    EXPECT_EQ(linesOf(runDebug(*mService, {"--dump"})).back(),
              "C2 LsHal Ver-1.3 - Dump(not enabled)");
    EXPECT_EQ(linesOf(runDebug(*mService, {"--enable"})).size(), 2u);
    runDebug(*mService, {"--disable"});
}

TEST_F(HostileClientTest, TheDefaultCommandLetsComponentsInWhileItSleeps) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(component("c#1", nullptr, {{}}), 1);
    std::thread request([&] { runDebug(*mService, {}); });
    ASSERT_TRUE(awaitTranscribed("  c#1 snapshot", 1));
    EXPECT_EQ(Codec2InfoInternal::addStreamInfo(makeStream(2)), InfoReturn::SUCCESS);
    EXPECT_EQ(linesOf(runDebug(*mService, {"--dump"})).back(),
              "C2 LsHal Ver-1.3 - Dump(not enabled)");
    EXPECT_EQ(transcribed("  c#1 snapshot"), 1u) << "got in only after the second pass";
    request.join();
    EXPECT_EQ(transcribed("  c#1 snapshot"), 2u);
}

// A target that writes without end, and a process out of descriptors:
// before, the first was read back in one allocation (bad_alloc ended the
// process) and the second ran no command, so the monitor kept running.
TEST_F(HostileClientTest, OutputThatCannotBeStagedStillReachesTheRequester) {
    class Flood : public Codec2InfoDebugTarget {
    public:
        const std::string& targetName() override { return mName; }
        void printUsage(int, int) override {}
        void dump(int fd, const std::vector<std::string_view>&) override {
            std::string megabyte(1 << 20, 'x');
            for (int i = 0; i < 20; ++i) (void)!write(fd, megabyte.data(), megabyte.size());
        }
        std::string mName = "flood";
    };
    mService->addDebugTarget(std::make_shared<Flood>());
    std::string flooded = runDebug(*mService, {"--flood", "now"});
    const std::string cut = "C2 LsHal Ver-1.3 - output cut: more than 16777216 bytes\n";
    ASSERT_EQ(flooded.size(), (16u << 20) + cut.size());
    EXPECT_EQ(flooded.find_first_not_of('x'), 16u << 20);
    EXPECT_EQ(flooded.substr(16u << 20), cut);

    // A pipe, as lshal's: without descriptors it cannot be opened again
    // non-blocking either, and is written no more than poll() promised.
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = ends[1];
    rlimit saved;
    getrlimit(RLIMIT_NOFILE, &saved);
    // One descriptor allowed, taken by standard input: poll() still works.
    ASSERT_NE(fcntl(0, F_GETFD), -1);
    runDebug(*mService, {"--enable"});
    // The monitor running before descriptors run out: the sanitizers read
    // /proc to check a thread's start.
    while (runDebug(*mService, {"--dump"}).find("GetDebugInfo: 0,") != std::string::npos) {
        std::this_thread::yield();
    }
    rlimit one{1, saved.rlim_max};
    setrlimit(RLIMIT_NOFILE, &one);
    mService->debug(hidl_handle(handle), {"--disable"});
    setrlimit(RLIMIT_NOFILE, &saved);
    std::string unstaged(4096, '\0');
    native_handle_close(handle);
    unstaged.resize(std::max<ssize_t>(0, read(ends[0], unstaged.data(), unstaged.size())));
    close(ends[0]);
    EXPECT_EQ(linesOf(unstaged).back(), "C2 LsHal Ver-1.3 - Disable(joined)") << unstaged;
    EXPECT_EQ(linesOf(runDebug(*mService, {"--disable"})).back(),
              "C2 LsHal Ver-1.3 - Disable(already disabled)");
    native_handle_delete(handle);
}

}  // namespace
}  // namespace c2info_test
