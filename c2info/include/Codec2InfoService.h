// The one service object of the library: the stream registry, the listeners,
// the component callbacks, frame capture, drop modes and diagnostics.
#pragma once

#include <CaptureSlot.h>
#include <Codec2InfoDebugTarget.h>
#include <Codec2InfoInternal.h>
#include <DebugDescription.h>
#include <RankedMutex.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/StrongPointer.h>
#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoService.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

class FrameGenerator;

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

using ::android::sp;
using ::android::wp;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
using ::vendor::larkspan::hardware::c2::info::V1_0::CAPTURE_BUFFER_DESCRIPTION;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoService;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceEventListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceStreamListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEvent;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEventInfo;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_BUFFER_DESCRIPTION;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_Frame_MetaData;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_STREAM_LIST;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtIdType;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtReturn;
using ::vendor::larkspan::hardware::cmt::V1_0::ICmtInfoServiceListener;

// One event listener: the stream it follows, the events it subscribed to
// (in the order given, duplicates kept) and the listener.
struct _EventListenerInfo {
    uint64_t uniqueStreamId;
    std::vector<NotifyEvent> events;
    sp<ICodec2InfoServiceEventListener> listener;
};

struct _DiffInfo;
class StagedOutput;

class Codec2InfoService : public ICodec2InfoService {
public:
    // The singleton, created by the first call.
    static sp<Codec2InfoService> getInstance();
    ~Codec2InfoService() override;

    // IBase: the lshal debug interface.
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& args) override;

    // ICmtInfoService
    Return<CmtReturn> registerListener(uint64_t uniqueId,
                                       const sp<ICmtInfoServiceListener>& listener,
                                       const hidl_vec<uint64_t>& ids) override;
    Return<CmtReturn> unregisterListener(uint64_t uniqueId) override;
    Return<void> getIdList(getIdList_cb cb) override;
    Return<void> getInfo(uint64_t uniqueStreamId, const hidl_vec<hidl_string>& keys,
                         getInfo_cb cb) override;

    // ICodec2InfoService
    Return<void> getStreamList(getStreamList_cb cb) override;
    Return<InfoReturn> detile(const hidl_handle& src, const hidl_handle& dst,
                              const ST_BUFFER_DESCRIPTION& srcDesc,
                              const ST_BUFFER_DESCRIPTION& dstDesc) override;
    Return<void> getMetaData(const hidl_handle& handle, const ST_BUFFER_DESCRIPTION& desc,
                             getMetaData_cb cb) override;
    Return<void> convertHwSyncIdToStreamId(uint64_t hwSyncId,
                                           convertHwSyncIdToStreamId_cb cb) override;
    Return<void> getCurrentVDECBuffer(uint32_t uniqueStreamId, getCurrentVDECBuffer_cb cb) override;
    Return<InfoReturn> releaseVDECBuffer(uint32_t uniqueStreamId) override;
    Return<InfoReturn> enableCapture(uint32_t uniqueStreamId, bool enable, uint64_t value) override;
    Return<void> registerStreamListener(const sp<ICodec2InfoServiceStreamListener>& listener,
                                        registerStreamListener_cb cb) override;
    Return<InfoReturn> unregisterStreamListener(uint64_t listenerId) override;
    Return<void> registerEventListener(uint64_t uniqueStreamId, const hidl_vec<hidl_string>& events,
                                       const sp<ICodec2InfoServiceEventListener>& listener,
                                       registerEventListener_cb cb) override;
    Return<InfoReturn> unregisterEventListener(uint64_t id) override;
    Return<InfoReturn> updateListenEvents(uint64_t id,
                                          const hidl_vec<hidl_string>& events) override;
    Return<void> setTimedDropMode(int64_t systime) override;
    Return<void> setDropMode(bool enable) override;

    // In process, through Codec2InfoInternal.
    Return<InfoReturn> addStreamInfo(const ST_STREAM_LIST& info);
    Return<InfoReturn> updateStreamInfo(uint32_t streamUniqueId,
                                        const std::vector<StreamInfoItem>& items);
    Return<InfoReturn> removeStreamInfoByUniqueId(uint32_t uniqueId);
    Return<InfoReturn> bindCaptured(uint32_t id, const hidl_handle& handle);
    Return<InfoReturn> postCodec2EventToAPK(uint32_t uniqueStreamId, NotifyEvent event,
                                            const CmtInfoStruct& info);

    // Adds a component's debug commands to the lshal debug interface.
    void addDebugTarget(std::shared_ptr<Codec2InfoDebugTarget> target);

    // The event-name table: "" for an event without a name, 0 for an
    // unknown name.
    std::string eventToString(NotifyEvent event);
    NotifyEvent stringToEvent(const std::string& name) const;

private:
    friend class Codec2InfoInternal;

    // The table's name of a value, as eventToString() answers it; null for
    // a value without one.
    const std::string* eventName(NotifyEvent event) const;

    class StreamDeathRecipient : public hidl_death_recipient {
    public:
        explicit StreamDeathRecipient(Codec2InfoService* service) : mService(service) {}
        void serviceDied(uint64_t cookie, const wp<IBase>& who) override;

    private:
        Codec2InfoService* mService;
    };

    class EventDeathRecipient : public hidl_death_recipient {
    public:
        explicit EventDeathRecipient(Codec2InfoService* service) : mService(service) {}
        void serviceDied(uint64_t cookie, const wp<IBase>& who) override;

    private:
        Codec2InfoService* mService;
    };

    using Callbacks = Codec2InfoInternal::Codec2InfoServiceCallback;
    using MuxGuard = std::lock_guard<RankedMutex>;
    using MuxLock = std::unique_lock<RankedMutex>;

    // True, with an error logged, when this thread holds a service lock of
    // this rank or higher: it is inside one of the service's own calls to a
    // listener or component, and the entry point must refuse at once.
    static bool calledFromCallback(RankedMutex::Rank rank, const char* function);
    static void logRefusal(const char* function);
    // True when this thread is inside a capture's answer: a release or
    // removal on another thread may be waiting for it to return.
    static bool answeringCapture();
    // The post lock, taken to wait for a notification of the information
    // listener in flight, unless this thread holds a lock already: then it
    // is the thread telling the listener, or one the notification may wait
    // for.
    MuxLock awaitInfoNotification();

    Codec2InfoService();

    // Links recipient to a new listener's process with the listener's id.
    static InfoReturn linkListenerDeath(const sp<IBase>& listener,
                                        const sp<hidl_death_recipient>& recipient, uint64_t cookie);
    void noteStreamIdAdded(uint32_t streamId);
    void noteStreamIdRemoved(uint32_t streamId);
    bool streamIdLive(uint32_t streamId);
    // The first record of a stream, or mStreamList.end().
    std::vector<ST_STREAM_LIST>::iterator findStream_l(uint32_t uniqueStreamId);
    // Tells every stream listener, in id order, of a stream added (type 0)
    // or removed (type 1); the log line and function name are the caller's.
    void notifyStreamListeners_l(uint32_t type, uint32_t streamId, const hidl_string& info,
                                 int line, const char* function);
    void setCallbacks(const Callbacks& cb, uint32_t uniqueStreamId);
    // The callbacks of a stream, or null; never adds an entry.
    std::shared_ptr<Callbacks> findCallbacks_l(uint32_t uniqueStreamId);
    // Asks the stream's component for its current buffer and describes it;
    // *boundFor is the stream id the buffer was bound for.
    InfoReturn describeCurrentBuffer_l(uint32_t uniqueStreamId, CAPTURE_BUFFER_DESCRIPTION* desc,
                                       uint32_t* boundFor);
    // An answer in flight counts once for each stream it keeps: the one asked
    // and the one its buffer was bound for.
    void countCaptureAnswer_l(uint32_t asked, uint32_t boundFor);
    void uncountCaptureAnswer_l(uint32_t asked, uint32_t boundFor);
    // Waits until no other thread is answering a capture that keeps the
    // stream, so that its component is not told to free a buffer a client
    // still reads.
    // False, with the refusal logged, where waiting could wait for a thread
    // that waits for this one.
    bool awaitCaptureAnswers_l(MuxLock& lock, uint32_t uniqueStreamId, const char* function);
    void forgetCapturedBuffer_l(uint32_t uniqueStreamId);
    // The event each name stands for, in order, NONE for an unknown name.
    // Takes no lock: how many names there are is the client's choice.
    std::vector<NotifyEvent> resolveEventNames(const hidl_vec<hidl_string>& names) const;
    // Writes each name's line (known at knownLine, unknown at unknownLine).
    static void logEventNames(const hidl_vec<hidl_string>& names,
                              const std::vector<NotifyEvent>& resolved, int knownLine,
                              int unknownLine, const char* function);
    // The known events of a resolution, in order.
    static std::vector<NotifyEvent> knownEvents(const std::vector<NotifyEvent>& resolved);
    // The in-process post: the event listeners, then the information
    // listener, as one step under mPostLock.
    bool postEvent(uint32_t uniqueStreamId, NotifyEvent event, const CmtInfoStruct& info);
    // The stream's active information listener when the event passes its
    // filter, else null; *active tells whether there is an active one.
    sp<ICmtInfoServiceListener> infoListenerFor(uint32_t uniqueStreamId, uint64_t value,
                                                bool* active);
    std::shared_ptr<FrameGenerator> frameGenerator();

    // The debug commands, each writing to fd, the request's staged output;
    // the two that let go of the main lock midway flush it there.
    void cmdOtpions(StagedOutput& output, const hidl_vec<hidl_string>& args);
    void cmdDefault(StagedOutput& output);
    void cmdHelp(int fd);
    void cmdEnable(int fd);
    void cmdDisable(StagedOutput& output);
    void cmdDump(int fd);
    void cmdOwner(int fd);
    void cmdReloadProp(int fd);
    void cmdReset(int fd);
    void cmdC2Dump(int fd, int streamId, bool enable);
    std::shared_ptr<Codec2InfoDebugTarget> getDebugTarget(std::string_view name);
    std::vector<std::shared_ptr<Codec2InfoDebugTarget>> debugTargets();

    // The debug monitor and its snapshots.
    void debugMonitorTask();
    void getDebugInfo_l();
    void enableDebug_l();
    void disableDebug_l();
    void setComponentsDebug_l(bool enable);
    void dumpDebugInfo_l(int fd);
    void dumpDebugInfoDiff_l(int fd, _DiffInfo& diff, _DebugDescription& older,
                             _DebugDescription& newer);
    void dumpGetOwner_l(int fd);

    // The singleton: set once, never destroyed (see getInstance()).
    static std::atomic<Codec2InfoService*> mInstance;

    // The locks, in the order a thread takes them (RankedMutex has the
    // rules): mPostLock, mDebugCommandLock, mLock, mQueryListenerLock.
    // mDebugTargetsLock and mLiveStreamIdsLock are leaves: nothing is called
    // or locked while either is held.
    //
    // Serialises whole posts, so that two posts for one stream reach the
    // event listeners and the information listener in the same order. The
    // information listener is called with this lock alone held, so it may
    // query, register, capture and debug like any other client; registering
    // and unregistering one take it too, so that neither returns while the
    // old listener is still being told.
    RankedMutex mPostLock{RankedMutex::kPost};
    // Guards the registry, the stream and event listener tables, the
    // callbacks and the monitor state. The information-listener maps and the
    // debug targets have locks of their own; the converter, the drop mode
    // and the id counters are atomic, and a bind needs no lock (CaptureSlot).
    RankedMutex mLock{RankedMutex::kMain};
    // Guards the three information-listener maps only; nothing is called
    // while it is held. A stream listener may register an information
    // listener from inside its notification, with mLock held.
    RankedMutex mQueryListenerLock{RankedMutex::kQueryListener};
    std::vector<ST_STREAM_LIST> mStreamList;
    std::shared_ptr<FrameGenerator> mFrameGenerator;
    std::map<uint32_t, std::shared_ptr<Callbacks>> Codec2InfoInternalCallbacks;
    std::map<uint32_t, sp<ICmtInfoServiceListener>> mInfoListeners;
    std::map<uint32_t, std::vector<uint64_t>> mInfoListenIds;
    std::map<uint32_t, bool> mInfoListenerActive;
    // The buffer a component bound last, with the stream id it bound it
    // for: borrowed, never freed here.
    CaptureSlot mCaptured;
    std::atomic<uint32_t> mMode{0};
    std::atomic<int64_t> mBootCompleteTime{0};
    std::atomic<uint32_t> mStreamListenerId{0};
    std::atomic<uint32_t> mEventListenerId{0};
    std::map<uint64_t, sp<ICodec2InfoServiceStreamListener>> mStreamListenerCb;
    std::map<uint64_t, _EventListenerInfo> mEventListenerInfo;
    sp<StreamDeathRecipient> mStreamDeathRecipient;
    sp<EventDeathRecipient> mEventDeathRecipient;
    const std::map<std::string, const NotifyEvent> mEventNames;
    // The name eventToString() answers for each value up to the last named
    // one, found once: posting an event must not walk the table.
    std::array<const std::string*, static_cast<size_t>(NotifyEvent::BITDEPTH_CHANGE) + 1>
            mEventNameOfValue{};
    std::thread mDebugMonitor;
    std::condition_variable_any mDebugMonitorWakeUp;
    std::atomic<bool> mDebugMonitorRunning{false};
    uint32_t mLastDebugInfoTimeMs = 0;
    uint32_t mLatestDebugDescIndex = 0;
    std::map<uint32_t, _DebugDescription> mDebugDescList[2];
    uint64_t mDebugInfoCount = 0;
    std::vector<std::shared_ptr<Codec2InfoDebugTarget>> mDebugTargets;
    // Guards mDebugTargets only; never held while calling out.
    std::mutex mDebugTargetsLock;
    // Serves "enable" and "disable" one at a time, so that an "enable"
    // never meets a "disable" that is still joining the monitor.
    RankedMutex mDebugCommandLock{RankedMutex::kDebugCommand};
    // The answers in flight that keep each stream (the stream asked, and
    // the stream the buffer was bound for), and the wake-up of the releases
    // and removals that wait for them. Guarded by mLock. Not a lock: other
    // streams come and go meanwhile.
    std::map<uint32_t, uint32_t> mCaptureAnswers;
    std::condition_variable_any mCaptureAnswered;
    // The stream ids of mStreamList, changed at the very points where the
    // list changes, for registerListener, which must not wait for mLock.
    std::multiset<uint32_t> mLiveStreamIds;
    // Guards mLiveStreamIds only; nothing is called while it is held.
    std::mutex mLiveStreamIdsLock;
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
