// The changes of a followed recording as lines, one per change, the same
// text on a pipe and in the live view's log:
//   <record time> strId(N) <component>: appears (<W>x<H>, <owner>)
//   <record time> strId(N) <component>: goes
//   <record time> strId(N) <component>: <W>x<H> -> <W>x<H>
//   <record time> strId(N) <component>: <owner> -> <owner> (<finding>)
#pragma once

#include <cstdio>
#include <string>

#include "Follow.h"

namespace triage {

// Without the record time.
std::string changeText(const StreamChange& change);
// With it, without a line end.
std::string changeLine(const StreamChange& change);

// Not on a terminal: each change on its line, each problem on err, both
// flushed at once so that a reader down the pipe sees them as they happen.
class ChangePrinter {
public:
    ChangePrinter(FILE* out, FILE* err, std::string input)
        : mOut(out), mErr(err), mInput(std::move(input)) {}

    void print(const FollowEvent& event);

private:
    FILE* const mOut;
    FILE* const mErr;
    const std::string mInput;
};

}  // namespace triage
