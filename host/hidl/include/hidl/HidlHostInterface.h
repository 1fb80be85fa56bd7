// Definitions that the platform's generated C++ sources give every
// interface, for a host without binder: a local object answers the IBase
// methods itself, as the platform's generated code does for in-process
// objects. The build writes one HIDL_HOST_INTERFACE line per interface,
// read from the generated header, so nothing here is written per interface.
#pragma once

#include <android/hidl/base/1.0/IBase.h>

#include <vector>

namespace android {
namespace hardware {
namespace details {

// The descriptor chain of a local object: its own descriptor, then those of
// its parents up to IBase.
template <typename Parent>
Return<void> hostInterfaceChain(const char* descriptor, Parent* self,
                                const std::function<void(const hidl_vec<hidl_string>&)>& cb) {
    std::vector<hidl_string> chain{hidl_string(descriptor)};
    Return<void> ret = self->Parent::interfaceChain([&](const hidl_vec<hidl_string>& parents) {
        chain.insert(chain.end(), parents.begin(), parents.end());
    });
    (void)ret.isOk();
    cb(hidl_vec<hidl_string>(chain));
    return Void();
}

// Every object on the host is local, so a checked cast is a dynamic_cast.
template <typename To, typename From>
Return<sp<To>> hostCastInterface(const sp<From>& parent) {
    return sp<To>(dynamic_cast<To*>(parent.get()));
}

}  // namespace details
}  // namespace hardware
}  // namespace android

// The IBase methods of IFACE; PARENT is the interface it extends.
#define HIDL_HOST_INTERFACE(IFACE, PARENT, DESCRIPTOR)                                         \
    const char* IFACE::descriptor = DESCRIPTOR;                                                \
    ::android::hardware::Return<void> IFACE::interfaceChain(interfaceChain_cb cb) {            \
        return ::android::hardware::details::hostInterfaceChain<PARENT>(descriptor, this, cb); \
    }                                                                                          \
    ::android::hardware::Return<void> IFACE::debug(                                            \
            const ::android::hardware::hidl_handle& fd,                                        \
            const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& options) {  \
        return PARENT::debug(fd, options);                                                     \
    }                                                                                          \
    ::android::hardware::Return<void> IFACE::interfaceDescriptor(interfaceDescriptor_cb cb) {  \
        return PARENT::interfaceDescriptor(cb);                                                \
    }                                                                                          \
    ::android::hardware::Return<void> IFACE::getHashChain(getHashChain_cb cb) {                \
        return PARENT::getHashChain(cb);                                                       \
    }                                                                                          \
    ::android::hardware::Return<void> IFACE::setHALInstrumentation() {                         \
        return PARENT::setHALInstrumentation();                                                \
    }                                                                                          \
    ::android::hardware::Return<bool> IFACE::linkToDeath(                                      \
            const ::android::sp<::android::hardware::hidl_death_recipient>& recipient,         \
            uint64_t cookie) {                                                                 \
        return PARENT::linkToDeath(recipient, cookie);                                         \
    }                                                                                          \
    ::android::hardware::Return<void> IFACE::ping() {                                          \
        return PARENT::ping();                                                                 \
    }                                                                                          \
    ::android::hardware::Return<void> IFACE::getDebugInfo(getDebugInfo_cb cb) {                \
        return PARENT::getDebugInfo(cb);                                                       \
    }                                                                                          \
    ::android::hardware::Return<void> IFACE::notifySyspropsChanged() {                         \
        return PARENT::notifySyspropsChanged();                                                \
    }                                                                                          \
    ::android::hardware::Return<bool> IFACE::unlinkToDeath(                                    \
            const ::android::sp<::android::hardware::hidl_death_recipient>& recipient) {       \
        return PARENT::unlinkToDeath(recipient);                                               \
    }

// IFACE::castFrom(const sp<FROM>&, bool), one per interface that IFACE
// can be cast from.
#define HIDL_HOST_CAST(IFACE, FROM)                                            \
    ::android::hardware::Return<::android::sp<IFACE>> IFACE::castFrom(         \
            const ::android::sp<FROM>& parent, bool /*emitError*/) {           \
        return ::android::hardware::details::hostCastInterface<IFACE>(parent); \
    }
