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
    //   kMain           components' callables, stream and event listeners;
    //   kQueryListener  nothing.
    // A callee may take only locks of a higher rank than every lock its
    // thread holds; every other entry point refuses. So the information
    // listener may call everything but a post, and a stream listener may
    // still register an information listener. A capture's answer holds no
    // lock; waiting for one counts as taking a lock below all of them (see
    // BufferCapture.cpp).
    enum Rank : uint32_t {
        kPost,           // one post at a time, so every listener sees posts in one order
        kDebugCommand,   // enable and disable, so that an enable never meets a joining disable
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
    // True when this thread holds a lock that comes before this rank.
    static bool heldBelowRank(Rank rank) { return (sHeldByThisThread & ((1u << rank) - 1)) != 0; }

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
