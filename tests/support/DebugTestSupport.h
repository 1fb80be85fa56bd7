// Helpers for the diagnostics tests: a debug request with a real file
// descriptor, and a component whose snapshots the test decides.
#pragma once

#include <DebugDescription.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
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

// A component that answers snapshots with records the test sets (record
// times included, for output that does not depend on the clock) and counts
// what the service asks of it.
class DebugComponent {
public:
    // Takes its callables back, so that a monitor still running never calls
    // a component that is gone.
    ~DebugComponent();
    // Registers its callables for the stream.
    void registerFor(uint32_t streamId);
    // The record of the n-th snapshot (from 0); the last one repeats.
    void setSnapshots(std::vector<_DebugDescription> snapshots);
    // Waits until at least count snapshots were taken; false after 10 s.
    bool waitForSnapshots(int count);

    int snapshots() const { return mSnapshots; }
    std::vector<bool> debugSwitches() const;

private:
    mutable std::mutex mLock;
    std::vector<uint32_t> mStreamIds;
    std::vector<_DebugDescription> mRecords;
    std::atomic<int> mSnapshots{0};
    std::vector<bool> mDebugSwitches;
};

// A snapshot with a fixed record time (seconds since the epoch, UTC).
_DebugDescription snapshotAt(time_t seconds, long nanoseconds = 0);

}  // namespace c2info_test
