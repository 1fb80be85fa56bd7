// The service's one captured-buffer slot: the handle a component bound last,
// with the stream id it bound it for, read and replaced as one.
#pragma once

#include <cutils/native_handle.h>

#include <atomic>
#include <cstdint>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// Components bind from inside captureBufferCb, where the capture holds the
// main lock, and from any other thread: bind() takes no lock. The other
// operations run with the main lock held, so one thread at a time reads the
// slot. Each binding is a record that never changes once published; a bind
// frees the record it replaced unless the slot is being read, and then the
// reader frees it once it is done.
class CaptureSlot {
public:
    struct Binding {
        const native_handle_t* handle = nullptr;
        uint32_t streamId = 0;
    };

    CaptureSlot() = default;
    ~CaptureSlot();
    CaptureSlot(const CaptureSlot&) = delete;
    CaptureSlot& operator=(const CaptureSlot&) = delete;

    void bind(const native_handle_t* handle, uint32_t streamId);
    // An empty Binding when nothing is bound.
    Binding binding_l();
    void clear_l();
    // Empties the slot when what it holds was bound for streamId.
    void forget_l(uint32_t streamId);

private:
    struct Record {
        Binding binding;
        Record* nextRetired = nullptr;
    };

    void retire(Record* replaced);
    void freeRetired_l();

    std::atomic<Record*> mCurrent{nullptr};
    // Set while the lock's holder may dereference mCurrent.
    std::atomic<bool> mReading{false};
    // Records replaced while the slot was being read, for the reader to free.
    std::atomic<Record*> mRetired{nullptr};
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
