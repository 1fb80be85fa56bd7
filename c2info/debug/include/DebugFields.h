// The members of a debug snapshot by name: the simulator's scenarios set
// them, and c2info-triage reads them back from the printed blocks.
#pragma once

#include <string_view>
#include <variant>
#include <vector>

#include "DebugDescription.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

struct DebugField {
    const char* name;
    std::variant<uint8_t _DebugDescription::*, int32_t _DebugDescription::*,
                 uint32_t _DebugDescription::*, int64_t _DebugDescription::*,
                 uint64_t _DebugDescription::*, std::string _DebugDescription::*>
            member;
};

// Null for a name that is not a member the component fills (the service
// fills the record time and the two rates itself).
const DebugField* findDebugField(std::string_view name);
// Every member the component fills, in declared order.
std::vector<const DebugField*> debugFields();

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
