// The service's locks, each with a rank. A thread takes them only in rising
// rank. The service calls components and listeners while it holds them, and
// those may call the service back on the same thread (binder delivers a
// nested call to the thread that waits for the reply): an entry point asks
// heldFromRank() before it locks, and refuses instead of deadlocking or
// taking two locks against their order.
#pragma once

#include <cstdint>
#include <mutex>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

class RankedMutex {
public:
    // The one order, lowest first. Held while calling out:
    //   kPost           the information listener (nothing else);
    //   kDebugCommand   nothing but through the main lock;
    //   kCapture        the capture's result callback;
    //   kMain           components' callables, stream and event listeners;
    //   kQueryListener  nothing.
    // A callee may take only locks of a higher rank than every lock its
    // thread holds; every other entry point refuses. So the information
    // listener may call everything but a post, and a stream listener may
    // still register an information listener.
    enum Rank : uint32_t {
        kPost,           // one post at a time, so every listener sees posts in one order
        kDebugCommand,   // requests that read or change the monitor and the snapshots
        kCapture,        // a captured buffer, from capture to the client's answer
        kMain,           // the registry, the listeners, the callbacks, the monitor
        kQueryListener,  // the information listeners
    };

    explicit RankedMutex(Rank rank) : mBit(1u << rank) {}
    RankedMutex(const RankedMutex&) = delete;
    RankedMutex& operator=(const RankedMutex&) = delete;

    void lock() {
        mMutex.lock();
        sHeldByThisThread |= mBit;
    }
    void unlock() {
        sHeldByThisThread &= ~mBit;
        mMutex.unlock();
    }

    // True when this thread holds a lock of this rank or a higher one. One
    // service exists per process, so one set per thread serves all locks.
    static bool heldFromRank(Rank rank) { return (sHeldByThisThread >> rank) != 0; }

private:
    static inline thread_local uint32_t sHeldByThisThread = 0;
    const uint32_t mBit;
    std::mutex mMutex;
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
