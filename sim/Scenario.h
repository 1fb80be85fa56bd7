// What a simulated codec process runs: its streams, what each stream's
// component reports, and when it posts events. Read from JSON (see the
// README); every mistake is reported with its place in the document.
#pragma once

#include <DebugFields.h>
#include <vendor/larkspan/hardware/cmt/1.0/types.h>

#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ScenarioFields.h"

namespace sim {

using ::vendor::larkspan::hardware::c2::info::implementation::_DebugDescription;
using ::vendor::larkspan::hardware::c2::info::implementation::DebugField;
using ::vendor::larkspan::hardware::c2::info::implementation::findDebugField;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEvent;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct;

// "<path>: expected ...", one line.
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ScheduledEvent {
    uint32_t atMs;
    NotifyEvent event;
    // Fields of the stream record changed through updateStreamInfo() just
    // before the event is posted.
    std::vector<std::pair<const StreamField*, uint64_t>> updates;
};

// A counter that advances while the component runs.
struct CounterRate {
    const DebugField* field;
    double perSecond;
};

struct StreamScenario {
    ST_STREAM_LIST stream;
    std::string component;
    // What the component reports when nothing advances.
    _DebugDescription debug;
    std::vector<CounterRate> rates;
    // Replayed in order by successive getDebugInfo calls, the last repeated.
    std::vector<_DebugDescription> snapshots;
    std::vector<ScheduledEvent> events;
    std::map<std::string, CmtInfoStruct> info;
};

struct Scenario {
    std::string name;
    double seconds;
    std::vector<StreamScenario> streams;
};

// Throws ScenarioError.
Scenario parseScenario(const std::string& text);
Scenario readScenarioFile(const std::string& path);
// Four streams, each stuck (or not) in its own way.
Scenario defaultScenario();

}  // namespace sim
