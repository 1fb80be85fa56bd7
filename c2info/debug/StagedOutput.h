// The output of one debug request. The handlers write it with dprintf into
// a memory file while they hold the service's locks; it reaches the
// requester's descriptor only in flush(), with the locks released. A reader
// who is slow, has gone away or never reads can then hold up nothing but
// its own request.
#pragma once

#include <chrono>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

class StagedOutput {
public:
    // How long one flush may wait for the reader before the request's
    // output is given up.
    static constexpr std::chrono::milliseconds kFlushTimeout{2000};

    explicit StagedOutput(int requesterFd);
    // Flushes what is left.
    ~StagedOutput();
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    // Where the handlers write; -1 (every write fails) when no memory file
    // could be made, which is logged.
    int fd() const { return mStageFd; }
    // Writes what was staged since the last flush to the requester. After
    // a reader that timed out or closed its end, nothing more is written
    // and this returns false.
    bool flush();
    bool abandoned() const { return mAbandoned; }

private:
    bool writeToRequester(const char* data, size_t size);

    const int mRequesterFd;
    int mStageFd;
    bool mAbandoned = false;
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
