// The service object: its creation, the singleton and the event-name table.
#include <Codec2InfoService.h>
#include <android-base/no_destructor.h>

#include "ServiceLog.h"

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

namespace {
std::mutex gSingletonLock;
}  // namespace

std::atomic<Codec2InfoService*> Codec2InfoService::mInstance{nullptr};

// The singleton lives until the process ends and is never destroyed: binder
// threads, component threads and the debug monitor may still be running
// while the process exits, and destroying a running monitor thread's object
// would end the process.
sp<Codec2InfoService> Codec2InfoService::getInstance() {
    if (Codec2InfoService* instance = mInstance.load(std::memory_order_acquire)) return instance;

    std::lock_guard<std::mutex> lock(gSingletonLock);
    if (mInstance.load(std::memory_order_relaxed) == nullptr) {
        static ::android::base::NoDestructor<sp<Codec2InfoService>> owner(new Codec2InfoService());
        mInstance.store(owner->get(), std::memory_order_release);
        logDebugLine(454, "getInstance", "get Codec2InfoService instance success");
    }
    return mInstance.load(std::memory_order_relaxed);
}

Codec2InfoService::Codec2InfoService()
    : mEventNames{
              {"signal_change", NotifyEvent::SIGNAL_CHANGE},
              {"resolution_change", NotifyEvent::RESOLUTION_CHANGE},
              {"hdr_change", NotifyEvent::HDR_CHANGE},
              {"vrr_change", NotifyEvent::VRR_CHANGE},
              {"wininfo_change", NotifyEvent::WININFO_CHANGE},
              {"spd_change", NotifyEvent::SPD_CHANGE},
              {"display_connect", NotifyEvent::DISPLAY_CONNECT},
              {"display_disconnect", NotifyEvent::DISPLAY_DISCONNECT},
              {"first_frame_captured", NotifyEvent::FIRST_FRAME_CAPTURED},
              {"no_frame_captured", NotifyEvent::NO_FRAME_CAPTURED},
              {"stream_configuration_change", NotifyEvent::STREAM_CONFIGURATION_CHANGE},
              {"connect_status_change", NotifyEvent::CONNECT_STATUS_CHANGE},
              {"format_change", NotifyEvent::FORMAT_CHANGE},
              {"wss_change", NotifyEvent::WSS_CHANGE},
              {"afd_change", NotifyEvent::AFD_CHANGE},
              {"color_system_change", NotifyEvent::COLOR_SYSTEM_CHANGE},
              {"color_matrix_change", NotifyEvent::COLOR_MATRIX_CHANGE},
              {"color_format_change", NotifyEvent::COLOR_FORMAT_CHANGE},
              {"color_range_change", NotifyEvent::COLOR_RANGE_CHANGE},
              {"color_allm_change", NotifyEvent::COLOR_ALLM_CHANGE},
              {"bitrate_change", NotifyEvent::BITRATE_CHANGE},
              {"bitdepth_change", NotifyEvent::BITDEPTH_CHANGE},
      } {
    mStreamDeathRecipient = new StreamDeathRecipient(this);
    mEventDeathRecipient = new EventDeathRecipient(this);
    // In key order, the first name of a value wins, as eventToString() has it.
    for (const auto& [name, value] : mEventNames) {
        auto index = static_cast<uint64_t>(value);
        if (index < mEventNameOfValue.size() && mEventNameOfValue[index] == nullptr) {
            mEventNameOfValue[index] = &name;
        }
    }
}

Codec2InfoService::~Codec2InfoService() = default;

// A failed link is reported, not undone: the listener stays registered. A
// link that fails in transport counts as failed instead of aborting.
InfoReturn Codec2InfoService::linkListenerDeath(const sp<IBase>& listener,
                                                const sp<hidl_death_recipient>& recipient,
                                                uint64_t cookie) {
    if (listener->linkToDeath(recipient, cookie).withDefault(false)) return InfoReturn::SUCCESS;
    logText(ANDROID_LOG_ERROR, "Failed to register death recipient to get death notification");
    return InfoReturn::FAILURE;
}

bool Codec2InfoService::calledFromCallback(RankedMutex::Rank rank, const char* function) {
    if (!RankedMutex::heldFromRank(rank)) return false;
    logRefusal(function);
    return true;
}

void Codec2InfoService::logRefusal(const char* function) {
    logText(ANDROID_LOG_ERROR, "[%s] called from inside a callback of the service: refused",
            function);
}

// The table is filled by the constructor and never changed: no lock.
std::string Codec2InfoService::eventToString(NotifyEvent event) {
    const std::string* name = eventName(event);
    return name != nullptr ? *name : std::string();
}

const std::string* Codec2InfoService::eventName(NotifyEvent event) const {
    auto index = static_cast<uint64_t>(event);
    return index < mEventNameOfValue.size() ? mEventNameOfValue[index] : nullptr;
}

NotifyEvent Codec2InfoService::stringToEvent(const std::string& name) const {
    auto found = mEventNames.find(name);
    return found != mEventNames.end() ? found->second : NotifyEvent::NONE;
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
