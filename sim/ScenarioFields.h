// The fields a scenario may name: those of a stream record, by their names in
// the .hal, and those of a component's debug snapshot, by their member names.
#pragma once

#include <DebugDescription.h>
#include <vendor/larkspan/hardware/c2/info/1.0/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sim {

using ::vendor::larkspan::hardware::c2::info::implementation::_DebugDescription;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_STREAM_LIST;

struct StreamField {
    const char* name;
    // The number updateStreamInfo() addresses the field by.
    int32_t attr;
    std::variant<int32_t ST_STREAM_LIST::*, uint32_t ST_STREAM_LIST::*, uint64_t ST_STREAM_LIST::*>
            member;
    // The simulated component fills it from the frames it decodes into.
    bool geometry;
};

// Null for a name that is not a numeric field of the record ("info" is the
// record's text and not addressable by updateStreamInfo).
const StreamField* findStreamField(std::string_view name);
// Stores value, which fits the field, in the record.
void assign(ST_STREAM_LIST* stream, const StreamField& field, uint64_t value);

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

}  // namespace sim
