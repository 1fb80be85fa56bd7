// The output of one debug request. The handlers write it with dprintf into
// a memory file while they hold the service's locks; it reaches the
// requester's descriptor only in flush(), with the locks released, and
// through writes that never block. A reader who is slow, has gone away or
// never reads can then hold up nothing but its own request.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

class StagedOutput {
public:
    // How long the reader may take nothing before the rest of the request's
    // output is given up, where no other thread waits for the request's.
    static constexpr std::chrono::milliseconds kStallTimeout{2000};
    // The most one flush passes on; what a request writes beyond it is
    // replaced by one line saying so.
    static constexpr off_t kStageLimit = off_t{16} << 20;

    // With a stallTimeout of zero, the reader gets what it has room for at
    // once and the rest is given up.
    StagedOutput(int requesterFd, std::chrono::milliseconds stallTimeout);
    // Flushes what is left.
    ~StagedOutput();
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    // False when no memory file could be made and the one kept in reserve
    // is in use: the requester has been told so, and nothing may be written
    // to fd().
    bool staged() const { return mStageFd >= 0; }
    // Where the handlers write.
    int fd() const { return mStageFd; }
    // Writes what was staged since the last flush to the requester. After
    // a reader that stalled or closed its end, nothing more is written and
    // this returns false.
    bool flush();

private:
    void openRequester();
    void openStage();
    bool writeToRequester(const char* data, size_t size);
    ssize_t writeOnce(const char* data, size_t size);
    void abandon();

    const int mRequesterFd;
    const std::chrono::milliseconds mStallTimeout;
    // What is written to: mRequesterFd, or a non-blocking file description
    // of the same file opened for the request.
    int mWriteFd;
    bool mOwnsWriteFd = false;
    bool mIsSocket = false;
    // The most one write may pass: with a description that can block, only
    // what poll()'s answer guarantees room for.
    size_t mWriteChunk = 0;
    int mStageFd = -1;
    // The stage is the reserve, made while descriptors were to spare.
    bool mHoldsReserve = false;
    bool mAbandoned = false;
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
