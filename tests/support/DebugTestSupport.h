// Helpers for the diagnostics tests: a debug request with a real file
// descriptor, its output made comparable, and records at fixed times.
#pragma once

#include <DebugDescription.h>

#include <string>
#include <vector>

#include "ServiceTestSupport.h"

namespace c2info_test {

// Runs `lshal debug` with these words on a memfd and returns what was written.
std::string runDebug(Codec2InfoService& service, const std::vector<std::string>& args);

// The wall-clock times of "System Time" lines replaced by "<now>".
std::string withoutSystemTimes(const std::string& output);

// An output pinned whole, kept in tests/service/golden.
std::string golden(const std::string& name);

// The lines of a text, without their newlines.
std::vector<std::string> linesOf(const std::string& text);

// A snapshot with a fixed record time (seconds since the epoch, UTC).
_DebugDescription snapshotAt(time_t seconds, long nanoseconds = 0);

}  // namespace c2info_test
