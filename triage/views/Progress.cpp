#include "Progress.h"

#include <unistd.h>

#include <string>

namespace triage {
namespace {

// Often enough to look alive, seldom enough to cost nothing.
constexpr std::chrono::milliseconds kRedrawEvery{250};

std::string clockOf(double seconds) {
    auto whole = static_cast<unsigned long long>(seconds + 0.5);
    char text[32];
    if (whole >= 3600) {
        snprintf(text, sizeof(text), "%llu:%02llu:%02llu", whole / 3600, whole / 60 % 60,
                 whole % 60);
    } else {
        snprintf(text, sizeof(text), "%llu:%02llu", whole / 60, whole % 60);
    }
    return text;
}

}  // namespace

Progress::Progress(FILE* err, size_t total)
    : mErr(err), mOnTerminal(isatty(fileno(err)) != 0), mTotal(total) {}

Progress::~Progress() {
    clear();
}

void Progress::advance() {
    ++mDone;
    if (!mOnTerminal) return;
    Clock::time_point now = Clock::now();
    if (now - mDrawn < kRedrawEvery || mDone == mTotal) return;
    mDrawn = now;
    double seconds = std::chrono::duration<double>(now - mStart).count();
    double rate = mDone / seconds;
    fprintf(mErr, "\r\033[K%zu of %zu, %.0f/s, %s left", mDone, mTotal, rate,
            clockOf(static_cast<double>(mTotal - mDone) / rate).c_str());
    fflush(mErr);
    mOnScreen = true;
}

void Progress::clear() {
    if (!mOnScreen) return;
    fputs("\r\033[K", mErr);
    fflush(mErr);
    mOnScreen = false;
}

}  // namespace triage
