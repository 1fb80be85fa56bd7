// Makes an interface implementation behave as the proxy of an object in
// another process: its calls can fail in transport, and the death of its
// process reaches every linked hidl_death_recipient, with its cookie, on a
// thread of its own, as the platform's binder thread delivers it.
//
// An implementation derives from RemotePeer<IFoo> and starts each method
// with
//     if (Status status = transportStatus(); !status.isOk()) return status;
#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace android {
namespace hardware {

template <typename Interface>
class RemotePeer : public Interface {
public:
    bool isRemote() const override { return true; }

    // The platform keeps only a weak reference to the recipient; linking to a
    // dead peer fails.
    Return<bool> linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) override {
        if (recipient == nullptr) return false;
        std::lock_guard<std::mutex> lock(mLock);
        if (mDead) return false;
        mObituaries.push_back({recipient, cookie});
        return true;
    }

    Return<bool> unlinkToDeath(const sp<hidl_death_recipient>& recipient) override {
        std::lock_guard<std::mutex> lock(mLock);
        auto linked = [&](const Obituary& o) { return o.recipient == recipient.get(); };
        auto end = std::remove_if(mObituaries.begin(), mObituaries.end(), linked);
        bool found = end != mObituaries.end();
        mObituaries.erase(end, mObituaries.end());
        return found;
    }

    // Ends the peer's process: calls fail with DEAD_OBJECT from now on and
    // every linked recipient is told. Returns once all have been told.
    void die() {
        std::thread binderThread = startDying();
        if (binderThread.joinable()) binderThread.join();
    }

    // The same from inside one of the peer's own calls, whose caller may
    // hold locks that the recipients take: returns without waiting for them.
    void dieDuringCall() {
        std::thread binderThread = startDying();
        if (!binderThread.joinable()) return;
        std::lock_guard<std::mutex> lock(mLock);
        mObituaryThread = std::move(binderThread);
    }

    // Waits until the recipients that dieDuringCall() tells have been told.
    void awaitObituaries() {
        std::thread binderThread;
        {
            std::lock_guard<std::mutex> lock(mLock);
            binderThread = std::move(mObituaryThread);
        }
        if (binderThread.joinable()) binderThread.join();
    }

    // Never waits: the last reference may go under a lock the recipients
    // take. The thread needs nothing of the peer.
    ~RemotePeer() override {
        if (mObituaryThread.joinable()) mObituaryThread.detach();
    }

    // Makes calls fail with FAILED_TRANSACTION while the process lives on
    // (a full transaction buffer, say), or succeed again.
    void setTransportFailing(bool failing) {
        std::lock_guard<std::mutex> lock(mLock);
        mTransportFailing = failing;
    }

protected:
    // What a call through the transport meets before the implementation.
    Status transportStatus() const {
        std::lock_guard<std::mutex> lock(mLock);
        if (mDead) return Status::fromStatusT(DEAD_OBJECT);
        if (mTransportFailing) return Status::fromStatusT(FAILED_TRANSACTION);
        return Status::ok();
    }

private:
    struct Obituary {
        wp<hidl_death_recipient> recipient;
        uint64_t cookie;
    };

    // Marks the peer dead and tells the recipients on a new thread; no
    // thread when it was dead already. The thread touches nothing of the
    // peer but a weak reference, so it may outlive it.
    std::thread startDying() {
        std::vector<Obituary> obituaries;
        {
            std::lock_guard<std::mutex> lock(mLock);
            if (mDead) return std::thread();
            mDead = true;
            obituaries.swap(mObituaries);
        }
        wp<hidl::base::V1_0::IBase> who(static_cast<hidl::base::V1_0::IBase*>(this));
        return std::thread([obituaries = std::move(obituaries), who] {
            for (const Obituary& obituary : obituaries) {
                sp<hidl_death_recipient> recipient = obituary.recipient.promote();
                if (recipient != nullptr) recipient->serviceDied(obituary.cookie, who);
            }
        });
    }

    mutable std::mutex mLock;
    bool mDead = false;
    bool mTransportFailing = false;
    std::vector<Obituary> mObituaries;
    std::thread mObituaryThread;
};

}  // namespace hardware
}  // namespace android
