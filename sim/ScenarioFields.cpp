#include "ScenarioFields.h"

#include <type_traits>

namespace sim {
namespace {

#define STREAM_FIELD(name, attr) \
    { #name, attr, &ST_STREAM_LIST::name, false }
#define GEOMETRY_FIELD(name, attr) \
    { #name, attr, &ST_STREAM_LIST::name, true }

// In attribute order. field3 to field5 and the two offsets describe the
// component's frames (luma and chroma strides, metadata offset) to the
// applications that capture them.
const StreamField kStreamFields[] = {
        STREAM_FIELD(sourcetype, 0),      STREAM_FIELD(width, 1),
        STREAM_FIELD(height, 2),          GEOMETRY_FIELD(field3, 3),
        GEOMETRY_FIELD(field4, 4),        GEOMETRY_FIELD(field5, 5),
        STREAM_FIELD(field6, 6),          STREAM_FIELD(field7, 7),
        STREAM_FIELD(framerate, 8),       STREAM_FIELD(streamid, 9),
        STREAM_FIELD(pqid, 10),           STREAM_FIELD(hwSyncId, 11),
        STREAM_FIELD(portId, 12),         STREAM_FIELD(interlace, 13),
        STREAM_FIELD(colorformat, 14),    GEOMETRY_FIELD(lumaoffset, 15),
        GEOMETRY_FIELD(chromaoffset, 16),
};

}  // namespace

const StreamField* findStreamField(std::string_view name) {
    for (const StreamField& field : kStreamFields) {
        if (name == field.name) return &field;
    }
    return nullptr;
}

void assign(ST_STREAM_LIST* stream, const StreamField& field, uint64_t value) {
    std::visit(
            [&](auto member) {
                using Value = std::remove_reference_t<decltype(stream->*member)>;
                stream->*member = static_cast<Value>(value);
            },
            field.member);
}

}  // namespace sim
