#include "Pool.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace triage {

void triageInputs(const std::vector<std::string>& inputs, unsigned jobs, bool withHistory,
                  const std::function<void(Outcome&&)>& take) {
    const size_t window = 4 * size_t{jobs};
    std::vector<std::optional<Outcome>> outcomes(inputs.size());
    std::mutex lock;
    // The consumer waits for the next outcome in order, the workers for
    // room in the window: each is woken only for what it waits for.
    std::condition_variable ready;
    std::condition_variable room;
    size_t nextToRead = 0;
    size_t nextToTake = 0;

    auto worker = [&] {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            room.wait(guard, [&] {
                return nextToRead >= inputs.size() || nextToRead < nextToTake + window;
            });
            if (nextToRead >= inputs.size()) return;
            size_t index = nextToRead++;
            guard.unlock();
            Outcome outcome = triageInput(inputs[index], withHistory);
            guard.lock();
            outcomes[index] = std::move(outcome);
            if (index == nextToTake) ready.notify_one();
        }
    };
    // The caller is one of the jobs: it reads the next input itself rather
    // than wait for another thread's.
    std::vector<std::thread> workers;
    for (size_t i = 1; i < std::min<size_t>(jobs, inputs.size()); ++i) workers.emplace_back(worker);

    std::unique_lock<std::mutex> guard(lock);
    while (nextToTake < inputs.size()) {
        if (!outcomes[nextToTake].has_value() && nextToRead < inputs.size() &&
            nextToRead < nextToTake + window) {
            size_t index = nextToRead++;
            guard.unlock();
            Outcome outcome = triageInput(inputs[index], withHistory);
            guard.lock();
            outcomes[index] = std::move(outcome);
            continue;
        }
        ready.wait(guard, [&] { return outcomes[nextToTake].has_value(); });
        Outcome outcome = std::move(*outcomes[nextToTake]);
        outcomes[nextToTake].reset();
        bool windowWasFull = nextToRead == nextToTake + window;
        ++nextToTake;
        guard.unlock();
        if (windowWasFull) room.notify_all();
        take(std::move(outcome));
        guard.lock();
    }
    guard.unlock();
    for (std::thread& thread : workers) thread.join();
}

}  // namespace triage
