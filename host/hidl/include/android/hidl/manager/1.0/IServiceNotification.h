// The generated headers declare registerForNotifications() with this type;
// the host has no service manager, so a declaration is all they need.
#pragma once

namespace android {
namespace hidl {
namespace manager {
namespace V1_0 {
struct IServiceNotification;
}  // namespace V1_0
}  // namespace manager
}  // namespace hidl
}  // namespace android
