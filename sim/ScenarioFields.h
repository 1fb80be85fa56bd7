// The fields of a stream record a scenario may name, by their names in the
// .hal; a component's debug snapshot fields are named as DebugFields.h has
// them.
#pragma once

#include <FrameGenerator.h>
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
    // For a field that describes the simulated component's frames to the
    // applications that capture them, its value for a frame; null for the
    // fields a scenario gives.
    uint64_t (*fromFrame)(const FrameGenerator::BufferInfo& frame);

    // Whether this is the record's `field`: the few a scenario checks apart.
    template <typename Value>
    bool is(Value ST_STREAM_LIST::*field) const {
        auto* own = std::get_if<Value ST_STREAM_LIST::*>(&member);
        return own != nullptr && *own == field;
    }
};

// Null for a name that is not a numeric field of the record ("info" is the
// record's text and not addressable by updateStreamInfo).
const StreamField* findStreamField(std::string_view name);
// The fields the simulated component fills from its frames.
std::vector<const StreamField*> frameFields();
// Stores value, which fits the field, in the record.
void assign(ST_STREAM_LIST* stream, const StreamField& field, uint64_t value);

}  // namespace sim
