#include "ScenarioFields.h"

#include <type_traits>

namespace sim {
namespace {

using Frame = FrameGenerator::BufferInfo;

#define STREAM_FIELD(name, attr) \
    { #name, attr, &ST_STREAM_LIST::name, nullptr }
#define FRAME_WORD(word) [](const Frame& frame) -> uint64_t { return frame.word; }
#define FRAME_FIELD(name, attr, word) \
    { #name, attr, &ST_STREAM_LIST::name, FRAME_WORD(word) }

// In attribute order. field3 to field5 and the two offsets describe the
// component's frames to the applications that capture them, as the frames
// describe themselves to the converter.
const StreamField kStreamFields[] = {
        STREAM_FIELD(sourcetype, 0),
        STREAM_FIELD(width, 1),
        STREAM_FIELD(height, 2),
        FRAME_FIELD(field3, 3, lumaStride),
        FRAME_FIELD(field4, 4, chromaStride),
        FRAME_FIELD(field5, 5, metadataOffset),
        STREAM_FIELD(field6, 6),
        STREAM_FIELD(field7, 7),
        STREAM_FIELD(framerate, 8),
        STREAM_FIELD(streamid, 9),
        STREAM_FIELD(pqid, 10),
        STREAM_FIELD(hwSyncId, 11),
        STREAM_FIELD(portId, 12),
        STREAM_FIELD(interlace, 13),
        STREAM_FIELD(colorformat, 14),
        FRAME_FIELD(lumaoffset, 15, lumaOffset),
        FRAME_FIELD(chromaoffset, 16, chromaOffset),
};

}  // namespace

const StreamField* findStreamField(std::string_view name) {
    for (const StreamField& field : kStreamFields) {
        if (name == field.name) return &field;
    }
    return nullptr;
}

std::vector<const StreamField*> frameFields() {
    std::vector<const StreamField*> fields;
    for (const StreamField& field : kStreamFields) {
        if (field.fromFrame != nullptr) fields.push_back(&field);
    }
    return fields;
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
