// The dump report (the default lshal debug command and --dump) as the
// service prints it and the field tools find and read it.
#pragma once

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// The entry dumpstate stores the service's default dump under in a
// bugreport.
inline constexpr char kServiceEntry[] =
        "lshal-debug/vendor.larkspan.hardware.c2.info@1.0::ICodec2InfoService_default.txt";

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
