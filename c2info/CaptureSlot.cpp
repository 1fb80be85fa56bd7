#include <CaptureSlot.h>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// Every access is sequentially consistent: a binder swaps the record out and
// then looks at mReading, a reader raises mReading and then loads the record,
// so one of them always sees the other. A binder that finds no reader knows
// no reader can reach the record it swapped out.

CaptureSlot::~CaptureSlot() {
    delete mCurrent.load();
    freeRetired_l();
}

void CaptureSlot::bind(const native_handle_t* handle, uint32_t streamId) {
    retire(mCurrent.exchange(new Record{{handle, streamId}}));
}

void CaptureSlot::retire(Record* replaced) {
    if (replaced == nullptr) return;
    if (!mReading.load()) {
        delete replaced;
        return;
    }
    replaced->nextRetired = mRetired.load();
    while (!mRetired.compare_exchange_weak(replaced->nextRetired, replaced)) {
    }
}

CaptureSlot::Binding CaptureSlot::binding_l() {
    mReading = true;
    Record* current = mCurrent.load();
    Binding binding = current != nullptr ? current->binding : Binding{};
    mReading = false;
    freeRetired_l();
    return binding;
}

// Binders never look inside a record: the one swapped out here is ours alone.
void CaptureSlot::clear_l() {
    delete mCurrent.exchange(nullptr);
}

// Read and compared while marked as reading, so that a record a binder
// replaces meanwhile is not freed and its address not reused under the
// compare-exchange.
void CaptureSlot::forget_l(uint32_t streamId) {
    mReading = true;
    Record* current = mCurrent.load();
    bool forgotten = current != nullptr && current->binding.streamId == streamId &&
                     mCurrent.compare_exchange_strong(current, nullptr);
    mReading = false;
    if (forgotten) delete current;
    freeRetired_l();
}

// Every record on the list was swapped out before it was put there: the
// readers that may have loaded it held the main lock before this thread, or
// are this thread, done with it.
void CaptureSlot::freeRetired_l() {
    for (Record* record = mRetired.exchange(nullptr); record != nullptr;) {
        Record* next = record->nextRetired;
        delete record;
        record = next;
    }
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
