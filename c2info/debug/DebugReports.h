// The blocks of the dump report that are read back from a dump's text.
#pragma once

#include <DebugDescription.h>

#include <cstdint>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// One stream's snapshot block, from its opening rule to its closing one.
void printSnapshot(int fd, uint32_t streamId, const _DebugDescription& d);

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
