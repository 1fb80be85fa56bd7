#include "StoredRun.h"

#include "Pool.h"

namespace triage {

void triageWithStore(Store& store, const std::vector<std::string>& inputs, unsigned jobs,
                     bool withHistory, const std::function<void(Outcome&&)>& take) {
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
    size_t next = 0;
    auto takeKnownBefore = [&](size_t end) {
        for (; next < end; ++next) take(store.find(*stamps[next]));
    };
    size_t judged = 0;
    triageInputs(unknown, jobs, withHistory, [&](Outcome&& outcome) {
        size_t at = unknownAt[judged++];
        takeKnownBefore(at);
        store.add(stamps[at], outcome);
        take(std::move(outcome));
        next = at + 1;
    });
    takeKnownBefore(inputs.size());
    store.flush();
}

}  // namespace triage
