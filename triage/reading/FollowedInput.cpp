#include "FollowedInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace triage {
namespace {

std::string failure(const std::string& path) {
    return path + ": " + strerror(errno);
}

}  // namespace

FollowedInput::FollowedInput(const std::string& path, const std::string& recordPath)
    : mRecordPath(recordPath) {
    if (path == "-") {
        mFd = STDIN_FILENO;
    } else {
        mFd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (mFd < 0) throw InputError(failure(path));
        mOwned = true;
    }
    struct stat status {};
    mGrows = fstat(mFd, &status) == 0 && S_ISREG(status.st_mode);
    if (recordPath.empty()) return;
    mRecord = open(recordPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (mRecord < 0) {
        std::string why = failure(recordPath);
        if (mOwned) close(mFd);
        throw InputError(why);
    }
}

FollowedInput::~FollowedInput() {
    if (mOwned) close(mFd);
    if (mRecord >= 0) close(mRecord);
}

FollowedInput::Read FollowedInput::read(std::string* bytes) {
    char buffer[65536];
    ssize_t n = ::read(mFd, buffer, sizeof(buffer));
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return Read::kNothingYet;
    if (n < 0) throw InputError(failure("input"));
    if (n == 0) return mGrows ? Read::kNothingYet : Read::kEnded;
    for (ssize_t done = 0; mRecord >= 0 && done < n;) {
        ssize_t written = write(mRecord, buffer + done, static_cast<size_t>(n - done));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) throw InputError(failure(mRecordPath));
        done += written;
    }
    bytes->append(buffer, static_cast<size_t>(n));
    return Read::kData;
}

}  // namespace triage
