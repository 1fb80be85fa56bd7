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

// Fills diff (zeroed, its stream id set) with newer minus older, each field
// wrapping at its width, as the difference block prints it.
void fillDebugDiff(_DiffInfo& diff, const _DebugDescription& older, const _DebugDescription& newer);

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
