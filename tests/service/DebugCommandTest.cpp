// The lshal debug front end: command words, their parameters and the
// components' debug targets.
#include <android/log.h>
#include <cutils/properties.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>

#include "support/DebugTestSupport.h"
#include "support/LogCapture.h"

namespace c2info_test {
namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoDebugTarget;

class Target : public Codec2InfoDebugTarget {
public:
    explicit Target(std::string name) : mName(std::move(name)) {}
    const std::string& targetName() override { return mName; }
    void printUsage(int fd, int indent) override {
        dprintf(fd, "%*s%s usage\n", indent, "", mName.c_str());
    }
    void dump(int fd, const std::vector<std::string_view>& args) override {
        calls.emplace_back(args.begin(), args.end());
        dprintf(fd, "%s ran\n", mName.c_str());
    }
    std::vector<std::vector<std::string>> calls;

private:
    std::string mName;
};

class DebugCommandTest : public ServiceTest {
protected:
    std::string debug(const std::vector<std::string>& args) {
        return withoutSystemTimes(runDebug(*mService, args));
    }
};

TEST_F(DebugCommandTest, HelpListsTheCommandsAndEveryTarget) {
    mService->addDebugTarget(std::make_shared<Target>("vdec"));
    EXPECT_EQ(debug({"--HeLp"}), golden("help-with-a-target.txt"));
}

TEST_F(DebugCommandTest, UnknownOrUndashedWordsAreRefused) {
    struct Case {
        std::vector<std::string> args;
        const char* output;
    } cases[] = {
            {{"help"}, "Invalid option: help\n"},
            {{"-help"}, "Invalid option: -help\n"},
            {{"--nonsense", "1"}, "Invalid option: nonsense\n"},
            {{"--"}, "Invalid option: \n"},
            {{"--RESET", "ignored"}, "C2 LsHal Ver-1.3 - Reset\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args[0]);
        EXPECT_EQ(debug(c.args), c.output);
    }
}

TEST_F(DebugCommandTest, C2DumpChecksItsParametersAndTellsTheComponent) {
    DebugComponent component;
    component.registerFor(7);
    struct Case {
        std::vector<std::string> args;
        const char* output;
    } cases[] = {
            {{"--c2dump", "7"}, "Invalid option: c2dump, missing parameters.\n"},
            {{"--C2Dump", "", "1"}, "Invalid option: C2Dump, incorrect parameters.\n"},
            {{"--c2dump", "7", ""}, "Invalid option: c2dump, incorrect parameters.\n"},
            {{"--c2dump", "seven", "1"}, "Invalid option: c2dump, incorrect parameters.\n"},
            {{"--c2dump", "99999999999", "1"}, "Invalid option: c2dump, incorrect parameters.\n"},
            {{"--c2dump", "7", "0"}, "C2 LsHal Ver-1.3 - Dump streamId: 7 disable\n"},
            {{"--c2dump", " 7", "2x"}, "C2 LsHal Ver-1.3 - Dump streamId: 7 enable\n"},
            {{"--c2dump", "8", "1"}, "C2 LsHal Ver-1.3 - Dump streamId: 8 enable\n"},
            {{"--c2dump", "-2147483648", "1"},
             "C2 LsHal Ver-1.3 - Dump streamId: -2147483648 enable\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args.size() > 1 ? c.args[1] : c.args[0]);
        EXPECT_EQ(debug(c.args), c.output);
    }
    EXPECT_EQ(component.dumpSwitches(), (std::vector<bool>{false, true}));
}

TEST_F(DebugCommandTest, TargetsAreFoundIgnoringCaseAndTheEarlierNameWins) {
    auto first = std::make_shared<Target>("Scaler");
    auto twin = std::make_shared<Target>("scaler");
    mService->addDebugTarget(first);
    mService->addDebugTarget(twin);
    EXPECT_EQ(debug({"--SCALER"}), "--Scaler usage:\n    Scaler usage\n");
    EXPECT_EQ(debug({"--scaler", "stats", "-v"}), "Scaler ran\n");
    EXPECT_EQ(first->calls, (std::vector<std::vector<std::string>>{{"stats", "-v"}}));
    EXPECT_TRUE(twin->calls.empty());
}

TEST_F(DebugCommandTest, TargetsWithoutANameAreRefused) {
    LogCapture log;
    mService->addDebugTarget(nullptr);
    mService->addDebugTarget(std::make_shared<Target>(""));
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              (std::vector<std::string>{"[addDebugTarget] null target",
                                        "[addDebugTarget] empty target name"}));
    EXPECT_EQ(debug({"--"}), "Invalid option: \n");
}

TEST_F(DebugCommandTest, ARequestWithoutADescriptorWritesNothing) {
    LogCapture log;
    native_handle_t* noFds = native_handle_create(0, 0);
    EXPECT_TRUE(mService->debug(hidl_handle(noFds), {"--help"}).isOk());
    EXPECT_TRUE(mService->debug(hidl_handle(), {"--help"}).isOk());
    native_handle_delete(noFds);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              (std::vector<std::string>{"Invalid parameters passed to debug()",
                                        "Invalid parameters passed to debug()"}));
}

TEST_F(DebugCommandTest, ReloadPropReadsTheLogSwitchAndTellsEveryComponent) {
    DebugComponent first, second;
    first.registerFor(1);
    second.registerFor(2);
    property_set("vendor.qrv.c2infoservice.log", "1");
    LogCapture log;
    EXPECT_EQ(debug({"--reloadprop"}), "C2 LsHal Ver-1.3 - Reload Prop, System Time: <now>\n");
    EXPECT_EQ(first.propertyReloads(), 1);
    EXPECT_EQ(second.propertyReloads(), 1);
    Codec2InfoInternal::getDropMode();
    EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, "[L 235][getMode] mMode = 0"), 1u);
}

TEST_F(DebugCommandTest, TheDefaultCommandLetsComponentsInWhileItSleeps) {
    DebugComponent component;
    component.registerFor(1);
    std::thread request([&] { runDebug(*mService, {}); });
    ASSERT_TRUE(component.waitForSnapshots(1));
    EXPECT_EQ(Codec2InfoInternal::addStreamInfo(makeStream(2)), InfoReturn::SUCCESS);
    EXPECT_EQ(component.snapshots(), 1) << "the stream got in only after the second pass";
    request.join();
    EXPECT_EQ(component.snapshots(), 2);
}

TEST_F(DebugCommandTest, DumpAndOwnerNeedTheMonitor) {
    EXPECT_EQ(
            debug({"--dump"}),
            "C2 LsHal Ver-1.3 - Dump\nSystem Time: <now>\nC2 LsHal Ver-1.3 - Dump(not enabled)\n");
    EXPECT_EQ(debug({"--owner"}),
              "C2 LsHal Ver-1.3 - Owner\nSystem Time: <now>\nC2 LsHal Ver-1.3 "
              "- Owner(not enabled)\n");
}

TEST_F(DebugCommandTest, EnableAndDisableSayWhenThereIsNothingToDo) {
    EXPECT_EQ(debug({"--disable"}),
              "C2 LsHal Ver-1.3 - Disable\nSystem Time: <now>\n"
              "C2 LsHal Ver-1.3 - Disable(already disabled)\n");
    EXPECT_EQ(debug({"--enable"}), "C2 LsHal Ver-1.3 - Enable\nSystem Time: <now>\n");
    EXPECT_EQ(debug({"--ENABLE"}),
              "C2 LsHal Ver-1.3 - Enable\nSystem Time: <now>\n"
              "C2 LsHal Ver-1.3 - Enable(already enabled)\n");
    EXPECT_EQ(debug({"--disable"}),
              "C2 LsHal Ver-1.3 - Disable\nSystem Time: <now>\n"
              "C2 LsHal Ver-1.3 - Disable(joining)\n"
              "C2 LsHal Ver-1.3 - Disable(joined)\n");
    EXPECT_EQ(debug({"--disable"}),
              "C2 LsHal Ver-1.3 - Disable\nSystem Time: <now>\n"
              "C2 LsHal Ver-1.3 - Disable(already disabled)\n");
}

// A target that writes without end, and a process out of descriptors:
// before, the first was read back in one allocation (bad_alloc ended the
// process) and the second left the requester with nothing.
TEST_F(DebugCommandTest, OutputThatCannotBeStagedWholeIsSaidSo) {
    class Flood : public Target {
    public:
        Flood() : Target("flood") {}
        void dump(int fd, const std::vector<std::string_view>&) override {
            std::string megabyte(1 << 20, 'x');
            for (int i = 0; i < 20; ++i) (void)!write(fd, megabyte.data(), megabyte.size());
        }
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
    rlimit one{1, saved.rlim_max};
    setrlimit(RLIMIT_NOFILE, &one);
    mService->debug(hidl_handle(handle), {"--reset"});
    setrlimit(RLIMIT_NOFILE, &saved);
    std::string unstaged(128, '\0');
    native_handle_close(handle);
    unstaged.resize(std::max<ssize_t>(0, read(ends[0], unstaged.data(), unstaged.size())));
    close(ends[0]);
    EXPECT_EQ(unstaged,
              "C2 LsHal Ver-1.3 - output could not be staged, request not run: Too many open "
              "files\n");
    native_handle_delete(handle);
}

}  // namespace
}  // namespace c2info_test
