// The fields of a stream record a scenario may name, by their names in the
// .hal; a component's debug snapshot fields are named as DebugFields.h has
// them.
#pragma once

#include <vendor/larkspan/hardware/c2/info/1.0/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sim {

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

}  // namespace sim
