#include "StagedOutput.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "../ServiceLog.h"
#include "DebugOutput.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

using Clock = std::chrono::steady_clock;

// What a non-blocking write may pass at once; a flush copies the stage out
// in pieces of this size, so no request allocates in proportion to its
// output.
constexpr size_t kChunk = 16 * 1024;
// Room past the limit, so that a write crossing it lands beyond it and the
// cut can be told from an output of exactly the limit's size.
constexpr off_t kStageMargin = 64 * 1024;

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

// A memory file that may not grow past the limit and its margin: a write
// beyond fails, and the handler's output ends there. -1 with errno set when
// the process has no descriptor or memory to spare.
int makeStage() {
    int stage = memfd_create("c2info-debug", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (stage >= 0 && ftruncate(stage, StagedOutput::kStageLimit + kStageMargin) == 0 &&
        fcntl(stage, F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SEAL) == 0) {
        return stage;
    }
    int error = errno;
    if (stage >= 0) close(stage);
    errno = error;
    return -1;
}

// A stage made by the first request, while the process still has
// descriptors, for a later one that finds none: a "disable" must still
// stop the monitor in a process that has run out of them. One request
// holds it at a time; the lock is only ever tried, so that a request made
// from inside another's command cannot wait for it.
struct ReserveStage {
    std::mutex lock;
    int fd = makeStage();
};

ReserveStage& reserveStage() {
    static ReserveStage* reserve = new ReserveStage;  // outlives every request
    return *reserve;
}

}  // namespace

StagedOutput::StagedOutput(int requesterFd, std::chrono::milliseconds stallTimeout)
    : mRequesterFd(requesterFd), mStallTimeout(stallTimeout), mWriteFd(requesterFd) {
    openRequester();
    openStage();
}

StagedOutput::~StagedOutput() {
    flush();
    if (mHoldsReserve) {
        // Its pages go back; the next holder starts writing at offset 0,
        // where flush() left it.
        fallocate(mStageFd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0,
                  kStageLimit + kStageMargin);
        reserveStage().lock.unlock();
    } else if (mStageFd >= 0) {
        close(mStageFd);
    }
    if (mOwnsWriteFd) close(mWriteFd);
}

// The requester's descriptor usually blocks, and its file description is
// shared with the reader's process: its flags are not ours to change. A
// pipe or a terminal is opened again, non-blocking; a socket takes
// MSG_DONTWAIT; a regular file never keeps a write waiting. Where the
// reopening is not allowed, each write passes only what poll() promised
// room for: PIPE_BUF for a pipe, one byte for anything else.
void StagedOutput::openRequester() {
    mWriteChunk = kChunk;
    struct stat file;
    if (fstat(mRequesterFd, &file) != 0) return;  // poll() reports it
    int flags = fcntl(mRequesterFd, F_GETFL);
    if (S_ISREG(file.st_mode) || (flags >= 0 && (flags & O_NONBLOCK) != 0)) return;
    if (S_ISSOCK(file.st_mode)) {
        mIsSocket = true;
        return;
    }
    char path[32];
    snprintf(path, sizeof(path), "/proc/self/fd/%d", mRequesterFd);
    int reopened = open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (reopened >= 0) {
        mWriteFd = reopened;
        mOwnsWriteFd = true;
        return;
    }
    mWriteChunk = S_ISFIFO(file.st_mode) ? PIPE_BUF : 1;
}

void StagedOutput::openStage() {
    ReserveStage& reserve = reserveStage();
    mStageFd = makeStage();
    if (mStageFd >= 0) return;
    int error = errno;
    logText(ANDROID_LOG_ERROR, "[%s] cannot stage debug output: %s", "debug", strerror(error));
    if (reserve.fd >= 0 && reserve.lock.try_lock()) {
        mStageFd = reserve.fd;
        mHoldsReserve = true;
        return;
    }
    char line[128];
    int length =
            snprintf(line, sizeof(line), "%s - output could not be staged, request not run: %s\n",
                     kDebugBanner, strerror(error));
    if (!writeToRequester(line, std::min<size_t>(length, sizeof(line) - 1))) abandon();
}

bool StagedOutput::flush() {
    if (mStageFd < 0) return false;
    off_t staged = lseek(mStageFd, 0, SEEK_CUR);
    if (staged <= 0) return !mAbandoned;
    lseek(mStageFd, 0, SEEK_SET);
    if (mAbandoned) return false;
    off_t length = std::min(staged, kStageLimit);
    char chunk[kChunk];
    for (off_t offset = 0; offset < length;) {
        ssize_t read = pread(mStageFd, chunk, std::min<off_t>(kChunk, length - offset), offset);
        if (read <= 0) break;
        if (!writeToRequester(chunk, static_cast<size_t>(read))) {
            abandon();
            return false;
        }
        offset += read;
    }
    if (staged > kStageLimit) {
        char line[128];
        int size = snprintf(line, sizeof(line), "%s - output cut: more than %lld bytes\n",
                            kDebugBanner, static_cast<long long>(kStageLimit));
        if (!writeToRequester(line, static_cast<size_t>(size))) abandon();
    }
    return !mAbandoned;
}

void StagedOutput::abandon() {
    mAbandoned = true;
    logText(ANDROID_LOG_ERROR, "[%s] debug output abandoned: the reader is gone or stalled",
            "debug");
}

// Waits for room before every write, as long as the reader took something
// within the stall timeout: a slow reader gets every byte, one that stopped
// reading holds the request up for no longer than that. Once the time is
// up, what there is room for still goes, without waiting.
bool StagedOutput::writeToRequester(const char* data, size_t size) {
    SigpipeBlocked sigpipe;
    Clock::time_point lastProgress = Clock::now();
    while (size > 0) {
        auto left = std::max(std::chrono::milliseconds::zero(),
                             std::chrono::duration_cast<std::chrono::milliseconds>(
                                     lastProgress + mStallTimeout - Clock::now()));
        pollfd requester{mWriteFd, POLLOUT, 0};
        int ready = poll(&requester, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0 || (requester.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
            return false;
        }
        ssize_t written = writeOnce(data, std::min(size, mWriteChunk));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            if (left.count() == 0) return false;
            continue;
        }
        if (written <= 0) {
            if (errno == EPIPE) sigpipe.raised();
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
        lastProgress = Clock::now();
    }
    return true;
}

ssize_t StagedOutput::writeOnce(const char* data, size_t size) {
    if (mIsSocket) return send(mWriteFd, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    return write(mWriteFd, data, size);
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
