// An input followed as `tail -f` follows a file: standard input or a pipe
// until its writer closes it, a file from its start on, waiting for it to
// grow. Every byte read goes to the recording as it arrives, so that a
// session cut at any moment is whole up to there.
#pragma once

#include <string>

#include "Inputs.h"

namespace triage {

class FollowedInput {
public:
    // "-" for standard input; no recording when recordPath is empty.
    // Throws InputError when either cannot be opened.
    FollowedInput(const std::string& path, const std::string& recordPath);
    ~FollowedInput();
    FollowedInput(const FollowedInput&) = delete;
    FollowedInput& operator=(const FollowedInput&) = delete;

    // What to poll() for data; -1 for a file, which signals no growth:
    // read it on a timer instead.
    int pollDescriptor() const { return mGrows ? -1 : mFd; }

    enum class Read { kData, kNothingYet, kEnded };
    // Appends what has arrived to *bytes. Throws InputError when the input
    // or the recording fails.
    Read read(std::string* bytes);

private:
    int mFd = -1;
    bool mOwned = false;
    bool mGrows = false;  // a regular file: its end is only where the writer is
    int mRecord = -1;
    std::string mRecordPath;
};

}  // namespace triage
