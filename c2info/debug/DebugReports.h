// The pieces of the dump report that c2info-triage uses on records read
// back from a dump's text.
#pragma once

#include <DebugDescription.h>

#include <cstdint>

#include "DiffInfo.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// One stream's snapshot block, from its opening rule to its closing one.
void printSnapshot(int fd, uint32_t streamId, const _DebugDescription& d);

// The record holds whether post-processing is off, the snapshot block
// shows whether it is on: each is the other with its low bit flipped.
uint8_t invertPostProcess(uint8_t postProcess);

// The decoders still in a component's hands, pending VDEC: popped, neither
// skipped nor got, wrapping at 32 bits as the counters do.
int32_t decoderPending(int32_t pop, int32_t skip, int32_t get);

// What an input source is called: its short name ("HDMI", "video", and
// "unknown" past the known ones) and the decoder component that serves it
// ("VCodecHdmi"), which the difference block's verdict names.
const char* inputSourceName(uint8_t inputSource);
const char* decoderName(uint8_t inputSource);

// Fills diff (zeroed, its stream id set) with newer minus older, each field
// wrapping at its width, as the difference block prints it.
void fillDebugDiff(_DiffInfo& diff, const _DebugDescription& older, const _DebugDescription& newer);

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
