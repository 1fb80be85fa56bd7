// How far a long run has got, on standard error when a person watches it:
// "done of total, rate, time left", redrawn in place a few times a second
// and cleared at the end. Nothing at all when standard error is not a
// terminal, so that logs and pipes see only the listing.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>

namespace triage {

class Progress {
public:
    Progress(FILE* err, size_t total);
    // Clears the line.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // One more input done.
    void advance();
    // Takes the line away before something else is written to the terminal;
    // the next redraw brings it back.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    FILE* const mErr;
    const bool mOnTerminal;
    const size_t mTotal;
    size_t mDone = 0;
    const Clock::time_point mStart = Clock::now();
    Clock::time_point mDrawn = mStart;
    bool mOnScreen = false;
};

}  // namespace triage
