// The debug front end under load: the default command's pause between its
// passes, and output too large, or with no descriptor left, to stage.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>

#include "support/DebugTestSupport.h"
#include "support/Transcript.h"

namespace c2info_test {
namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoDebugTarget;

class DebugCommandTest : public ServiceTest {};

TEST_F(DebugCommandTest, TheDefaultCommandLetsComponentsInWhileItSleeps) {
    Codec2InfoInternal::setCodec2InfoServiceCallback(component("c#1", nullptr, {{}}), 1);
    std::thread request([&] { runDebug(*mService, {}); });
    ASSERT_TRUE(awaitTranscribed("  c#1 snapshot", 1));
    EXPECT_EQ(Codec2InfoInternal::addStreamInfo(makeStream(2)), InfoReturn::SUCCESS);
    EXPECT_EQ(transcribed("  c#1 snapshot"), 1u) << "the stream got in only after the second pass";
    request.join();
    EXPECT_EQ(transcribed("  c#1 snapshot"), 2u);
}

// A target that writes without end, and a process out of descriptors:
// before, the first was read back in one allocation (bad_alloc ended the
// process) and the second left the requester with nothing.
TEST_F(DebugCommandTest, OutputThatCannotBeStagedWholeIsSaidSo) {
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
