// Capture of a decoder's current output buffer: the client asks, the
// stream's component binds the buffer, the client hands it back.
#include <Codec2InfoService.h>

#include <algorithm>

#include "ComponentCall.h"
#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {

// A capture whose client this thread is answering: the stream asked, and
// the stream whose id the buffer was bound for, which may be another. The
// answer keeps both from freeing the buffer until it returns.
struct Answer {
    uint32_t asked;
    uint32_t boundFor;
    bool pins(uint32_t streamId) const { return streamId == asked || streamId == boundFor; }
};

// The answers this thread is in, innermost last. A release or removal from
// inside an answer does not wait for that answer.
thread_local std::vector<Answer> tAnswering;

}  // namespace

// The client is answered with no lock held, so that it may hand the buffer
// back, post or ask for debug output from inside its answer; a release or
// removal on another thread of the stream asked, or of the stream the buffer
// was bound for, waits for the answer instead.
Return<void> Codec2InfoService::getCurrentVDECBuffer(uint32_t uniqueStreamId,
                                                     getCurrentVDECBuffer_cb cb) {
    const char* kFunction = "getCurrentVDECBuffer";
    logDebugText("getCurrentVDECBuffer : uniqueStreamId = %u", uniqueStreamId);
    CAPTURE_BUFFER_DESCRIPTION desc{};
    if (calledFromCallback(RankedMutex::kMain, kFunction)) {
        cb(InfoReturn::FAILURE, desc);
        return Void();
    }
    InfoReturn result;
    uint32_t boundFor = uniqueStreamId;
    {
        MuxGuard lock(mLock);
        result = describeCurrentBuffer_l(uniqueStreamId, &desc, &boundFor);
        if (result == InfoReturn::SUCCESS) countCaptureAnswer_l(uniqueStreamId, boundFor);
    }
    logDebugLine(654, kFunction, "unlock");
    if (result != InfoReturn::SUCCESS) {
        cb(result, desc);
        return Void();
    }
    // Counted as an answer in flight until the client returns, on every way
    // out, a client that throws included.
    struct InFlight {
        Codec2InfoService* service;
        Answer answer;
        ~InFlight() {
            tAnswering.pop_back();
            MuxGuard lock(service->mLock);
            service->uncountCaptureAnswer_l(answer.asked, answer.boundFor);
            service->mCaptureAnswered.notify_all();
        }
    };
    tAnswering.push_back({uniqueStreamId, boundFor});
    InFlight inFlight{this, tAnswering.back()};
    cb(result, desc);
    return Void();
}

bool Codec2InfoService::answeringCapture() {
    return !tAnswering.empty();
}

void Codec2InfoService::countCaptureAnswer_l(uint32_t asked, uint32_t boundFor) {
    ++mCaptureAnswers[asked];
    if (boundFor != asked) ++mCaptureAnswers[boundFor];
}

void Codec2InfoService::uncountCaptureAnswer_l(uint32_t asked, uint32_t boundFor) {
    auto uncount = [this](uint32_t streamId) {
        auto answers = mCaptureAnswers.find(streamId);
        if (--answers->second == 0) mCaptureAnswers.erase(answers);
    };
    uncount(asked);
    if (boundFor != asked) uncount(boundFor);
}

bool Codec2InfoService::awaitCaptureAnswers_l(MuxLock& lock, uint32_t uniqueStreamId,
                                              const char* function) {
    auto answeredElsewhere = [&] {
        auto answers = mCaptureAnswers.find(uniqueStreamId);
        if (answers == mCaptureAnswers.end()) return false;
        auto mine = std::count_if(tAnswering.begin(), tAnswering.end(), [&](const Answer& answer) {
            return answer.pins(uniqueStreamId);
        });
        return answers->second > static_cast<uint32_t>(mine);
    };
    if (!answeredElsewhere()) return true;
    // An answer counts as held below every lock: a thread that holds one of
    // them, or is answering a capture itself, may be what the other answer
    // waits for.
    if (RankedMutex::heldBelowRank(RankedMutex::kMain) || answeringCapture()) {
        logRefusal(function);
        return false;
    }
    mCaptureAnswered.wait(lock, [&] { return !answeredElsewhere(); });
    return true;
}

InfoReturn Codec2InfoService::describeCurrentBuffer_l(uint32_t uniqueStreamId,
                                                      CAPTURE_BUFFER_DESCRIPTION* desc,
                                                      uint32_t* boundFor) {
    std::shared_ptr<Callbacks> callbacks = findCallbacks_l(uniqueStreamId);
    if (callbacks == nullptr || !callbacks->captureBufferCb) return InfoReturn::FAILURE;

    // The component binds the buffer from inside the call, with our lock
    // held; bindCaptured() takes no lock for that reason.
    if (!callComponent("getCurrentVDECBuffer", "captureBufferCb", callbacks->captureBufferCb)) {
        return InfoReturn::FAILURE;
    }
    CaptureSlot::Binding captured = mCaptured.binding_l();
    if (captured.handle == nullptr) {
        logText(ANDROID_LOG_ERROR, "getCurrentVDECBuffer fail, uniqueStreamId = %u",
                uniqueStreamId);
        return InfoReturn::FAILURE;
    }
    desc->buffer = captured.handle;
    *boundFor = captured.streamId;

    // A buffer without a registered stream is still reported, with no
    // geometry: the client gets what the component bound.
    auto stream = findStream_l(uniqueStreamId);
    if (stream == mStreamList.end()) {
        logText(ANDROID_LOG_ERROR, "getCurrentVDECBuffer fail, uniqueStreamId = %u not found",
                uniqueStreamId);
    } else {
        // Formats from 3 on carry their planes at half resolution.
        int shift = static_cast<uint32_t>(stream->colorformat) > 2 ? 1 : 0;
        desc->width = stream->width >> shift;
        desc->height = stream->height >> shift;
        desc->field3 = stream->field3;
        desc->field4 = stream->field4;
        desc->field5 = stream->field5;
        desc->field6 = stream->field6;
        desc->field7 = stream->field7;
        desc->interlace = stream->interlace;
        desc->colorformat = stream->colorformat;
        desc->lumaoffset = stream->lumaoffset;
        desc->chromaoffset = stream->chromaoffset;
    }
    logDebugText("bInterlace : %d , colorformat = %d lumaoffset %llu chromaoffset %llu",
                 desc->interlace, desc->colorformat,
                 static_cast<unsigned long long>(desc->lumaoffset),
                 static_cast<unsigned long long>(desc->chromaoffset));
    return InfoReturn::SUCCESS;
}

// Freeing the buffer is the component's business in releaseBufferCb.
Return<InfoReturn> Codec2InfoService::releaseVDECBuffer(uint32_t uniqueStreamId) {
    const char* kFunction = "releaseVDECBuffer";
    logDebugText("release vdec buffer : uniqueStreamId = %u", uniqueStreamId);
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    MuxLock lock(mLock);
    if (!awaitCaptureAnswers_l(lock, uniqueStreamId, kFunction)) return InfoReturn::FAILURE;
    std::shared_ptr<Callbacks> callbacks = findCallbacks_l(uniqueStreamId);
    if (callbacks == nullptr || !callbacks->releaseBufferCb) {
        logDebugLine(671, kFunction, "unlock");
        return InfoReturn::FAILURE;
    }
    if (!callComponent(kFunction, "releaseBufferCb", callbacks->releaseBufferCb)) {
        return InfoReturn::FAILURE;
    }
    mCaptured.clear_l();
    return InfoReturn::SUCCESS;
}

Return<InfoReturn> Codec2InfoService::enableCapture(uint32_t uniqueStreamId, bool enable,
                                                    uint64_t value) {
    const char* kFunction = "enableCapture";
    if (calledFromCallback(RankedMutex::kMain, kFunction)) return InfoReturn::FAILURE;
    MuxGuard lock(mLock);
    std::shared_ptr<Callbacks> callbacks = findCallbacks_l(uniqueStreamId);
    if (callbacks == nullptr || !callbacks->enableCaptureCb) {
        logDebugLine(684, kFunction, "unlock");
        return InfoReturn::FAILURE;
    }
    auto call = [&] { callbacks->enableCaptureCb(enable, value); };
    return callComponent(kFunction, "enableCaptureCb", call) ? InfoReturn::SUCCESS
                                                             : InfoReturn::FAILURE;
}

// A stream that goes takes the buffer bound for it with it, wherever and
// however it was bound: a later capture of another stream must not report
// it once its component may have freed it.
void Codec2InfoService::forgetCapturedBuffer_l(uint32_t uniqueStreamId) {
    mCaptured.forget_l(uniqueStreamId);
}

// Takes no lock: components call it from inside captureBufferCb, which runs
// under the main lock, and from threads of their own. One slot serves the
// whole service; id names the stream the buffer goes with.
Return<InfoReturn> Codec2InfoService::bindCaptured(uint32_t id, const hidl_handle& handle) {
    const native_handle_t* buffer = handle.getNativeHandle();
    if (buffer == nullptr) {
        logText(ANDROID_LOG_ERROR, "[%d] invalid handle... ", static_cast<int>(id));
        return InfoReturn::FAILURE;
    }
    logDebugText("[%d] bind()... ", static_cast<int>(id));
    mCaptured.bind(buffer, id);
    return InfoReturn::SUCCESS;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
