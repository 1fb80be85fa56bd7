#include "StoredRun.h"

#include "Pool.h"

namespace triage {

void triageWithStore(Store& store, const std::vector<std::string>& inputs, unsigned jobs,
                     bool withHistory, StreamDetails details,
                     const std::function<void(Outcome&&)>& take) {
    // Stamped before reading: a file changed while being read is read again
    // by the next run, never kept as what it no longer is.
    std::vector<std::optional<InputStamp>> stamps;
    std::vector<std::string> unknown;
    std::vector<size_t> unknownAt;
    for (size_t i = 0; i < inputs.size(); ++i) {
        stamps.push_back(stampOf(inputs[i]));
        if (stamps.back() && store.knows(*stamps.back())) continue;
        unknown.push_back(inputs[i]);
        unknownAt.push_back(i);
    }
    // A store that fails mid-run (a full disk, a lock held past the busy
    // timeout) is told at the end: nothing may throw through the pool, and
    // every input is still printed, those it knew read afresh.
    std::optional<StoreError> failure;
    auto withStore = [&](const std::function<void()>& use) {
        if (failure) return false;
        try {
            use();
            return true;
        } catch (const StoreError& error) {
            failure = error;
            return false;
        }
    };
    size_t next = 0;
    auto takeKnownBefore = [&](size_t end) {
        for (; next < end; ++next) {
            Outcome outcome;
            if (!withStore([&] { outcome = store.find(*stamps[next], details); })) {
                outcome = triageInput(inputs[next], withHistory);
            }
            take(std::move(outcome));
        }
    };
    size_t judged = 0;
    triageInputs(unknown, jobs, withHistory, [&](Outcome&& outcome) {
        size_t at = unknownAt[judged++];
        takeKnownBefore(at);
        withStore([&] { store.add(stamps[at], outcome); });
        take(std::move(outcome));
        next = at + 1;
    });
    takeKnownBefore(inputs.size());
    withStore([&] { store.flush(); });
    if (failure) throw *failure;
}

}  // namespace triage
