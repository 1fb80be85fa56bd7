// IBase, the root of every interface, as a local object answers it.
#include <android/hidl/base/1.0/IBase.h>
#include <unistd.h>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {

using ::android::hardware::hidl_array;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;

const char* IBase::descriptor = "android.hidl.base@1.0::IBase";

Return<void> IBase::interfaceChain(interfaceChain_cb cb) {
    cb(hidl_vec<hidl_string>{hidl_string(descriptor)});
    return Void();
}

Return<void> IBase::debug(const hidl_handle& /*fd*/, const hidl_vec<hidl_string>& /*options*/) {
    return Void();
}

Return<void> IBase::interfaceDescriptor(interfaceDescriptor_cb cb) {
    // The most derived interface's chain begins with its own descriptor.
    Return<void> ret = interfaceChain([&](const hidl_vec<hidl_string>& chain) { cb(chain[0]); });
    (void)ret.isOk();
    return Void();
}

Return<void> IBase::getHashChain(getHashChain_cb cb) {
    // Local objects carry no released-interface hashes: one zero hash per
    // interface of the chain.
    size_t depth = 0;
    Return<void> ret =
            interfaceChain([&](const hidl_vec<hidl_string>& chain) { depth = chain.size(); });
    (void)ret.isOk();
    cb(hidl_vec<hidl_array<uint8_t, 32>>(depth));
    return Void();
}

Return<void> IBase::setHALInstrumentation() {
    return Void();
}

Return<bool> IBase::linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t /*cookie*/) {
    // A local object never dies apart from its own process.
    return recipient != nullptr;
}

Return<void> IBase::ping() {
    return Void();
}

Return<void> IBase::getDebugInfo(getDebugInfo_cb cb) {
    DebugInfo info{};
    info.pid = getpid();
    info.ptr = 0;
    info.arch = sizeof(void*) == 8 ? DebugInfo::Architecture::IS_64BIT
                                   : DebugInfo::Architecture::IS_32BIT;
    cb(info);
    return Void();
}

Return<void> IBase::notifySyspropsChanged() {
    return Void();
}

Return<bool> IBase::unlinkToDeath(const sp<hidl_death_recipient>& recipient) {
    return recipient != nullptr;
}

Return<sp<IBase>> IBase::castFrom(const sp<IBase>& parent, bool /*emitError*/) {
    return parent;
}

}  // namespace V1_0
}  // namespace base
}  // namespace hidl
}  // namespace android
