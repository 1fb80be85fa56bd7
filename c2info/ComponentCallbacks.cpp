// The per-stream callables through which the service reaches components.
#include <Codec2InfoService.h>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// The stored object keeps its identity across registrations, so whoever
// holds it sees the new callables; empty ones replace set ones too.
void Codec2InfoService::setCallbacks(const Callbacks& cb, uint32_t uniqueStreamId) {
    if (calledFromCallback(RankedMutex::kMain, "setCodec2InfoServiceCallback")) return;
    MuxGuard lock(mLock);
    std::shared_ptr<Callbacks>& stored = Codec2InfoInternalCallbacks[uniqueStreamId];
    if (stored == nullptr) stored = std::make_shared<Callbacks>();
    stored->getInfoCb = cb.getInfoCb;
    stored->captureBufferCb = cb.captureBufferCb;
    stored->releaseBufferCb = cb.releaseBufferCb;
    stored->enableCaptureCb = cb.enableCaptureCb;
    stored->enableDebugCb = cb.enableDebugCb;
    stored->getDebugInfoCb = cb.getDebugInfoCb;
    stored->c2DumpCb = cb.c2DumpCb;
    stored->reloadPropCb = cb.reloadPropCb;
}

std::shared_ptr<Codec2InfoService::Callbacks> Codec2InfoService::findCallbacks_l(
        uint32_t uniqueStreamId) {
    auto found = Codec2InfoInternalCallbacks.find(uniqueStreamId);
    return found != Codec2InfoInternalCallbacks.end() ? found->second : nullptr;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
