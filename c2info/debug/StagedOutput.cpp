#include "StagedOutput.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "../ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

using Clock = std::chrono::steady_clock;

// A write to a reader who closed its end raises SIGPIPE, which ends a
// process that does not ignore it; the media process is not ours to
// configure. The signal is blocked on this thread for the write, and one
// that the write raised is taken off the thread before it is unblocked.
class SigpipeBlocked {
public:
    SigpipeBlocked() {
        sigemptyset(&mSigpipe);
        sigaddset(&mSigpipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        mWasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &mSigpipe, &mOldMask);
    }
    ~SigpipeBlocked() {
        if (mRaised && !mWasPending) {
            const timespec now{0, 0};
            while (sigtimedwait(&mSigpipe, nullptr, &now) == -1 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &mOldMask, nullptr);
    }
    void raised() { mRaised = true; }

private:
    sigset_t mSigpipe;
    sigset_t mOldMask;
    bool mWasPending = false;
    bool mRaised = false;
};

}  // namespace

StagedOutput::StagedOutput(int requesterFd)
    : mRequesterFd(requesterFd), mStageFd(memfd_create("c2info-debug", MFD_CLOEXEC)) {
    if (mStageFd < 0) {
        logText(ANDROID_LOG_ERROR, "[%s] cannot stage debug output: %s", "debug", strerror(errno));
    }
}

StagedOutput::~StagedOutput() {
    flush();
    if (mStageFd >= 0) close(mStageFd);
}

bool StagedOutput::flush() {
    if (mStageFd < 0) return false;
    struct stat stage;
    if (fstat(mStageFd, &stage) != 0 || stage.st_size <= 0) return !mAbandoned;
    std::string staged(static_cast<size_t>(stage.st_size), '\0');
    ssize_t read = pread(mStageFd, staged.data(), staged.size(), 0);
    ftruncate(mStageFd, 0);
    lseek(mStageFd, 0, SEEK_SET);
    if (mAbandoned || read <= 0) return !mAbandoned;
    if (!writeToRequester(staged.data(), static_cast<size_t>(read))) {
        mAbandoned = true;
        logText(ANDROID_LOG_ERROR, "[%s] debug output abandoned: the reader is gone or stalled",
                "debug");
    }
    return !mAbandoned;
}

// Waits for room before every write, and writes no more than a pipe takes
// at once, so that no write blocks past the deadline.
bool StagedOutput::writeToRequester(const char* data, size_t size) {
    SigpipeBlocked sigpipe;
    const Clock::time_point deadline = Clock::now() + kFlushTimeout;
    while (size > 0) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd requester{mRequesterFd, POLLOUT, 0};
        int ready = poll(&requester, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0 || (requester.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
            return false;
        }
        ssize_t written = write(mRequesterFd, data, std::min<size_t>(size, PIPE_BUF));
        if (written < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (written <= 0) {
            if (errno == EPIPE) sigpipe.raised();
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
