#include "Pool.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "Inputs.h"

namespace triage {

Outcome triageInput(const std::string& path) {
    try {
        LoadedInput input = loadInput(path);
        return triageText(path, input.entry, input.text, input.notes);
    } catch (const InputError& error) {
        return {path, "", error.what(), "", {}};
    }
}

void triageInputs(const std::vector<std::string>& inputs, unsigned jobs,
                  const std::function<void(Outcome&&)>& take) {
    const size_t window = 4 * size_t{jobs};
    std::vector<std::optional<Outcome>> outcomes(inputs.size());
    std::mutex lock;
    std::condition_variable changed;
    size_t nextToRead = 0;
    size_t nextToTake = 0;

    auto worker = [&] {
        std::unique_lock<std::mutex> guard(lock);
        for (;;) {
            changed.wait(guard, [&] {
                return nextToRead >= inputs.size() || nextToRead < nextToTake + window;
            });
            if (nextToRead >= inputs.size()) return;
            size_t index = nextToRead++;
            guard.unlock();
            Outcome outcome = triageInput(inputs[index]);
            guard.lock();
            outcomes[index] = std::move(outcome);
            changed.notify_all();
        }
    };
    std::vector<std::thread> workers;
    for (size_t i = 0; i < std::min<size_t>(jobs, inputs.size()); ++i) workers.emplace_back(worker);

    std::unique_lock<std::mutex> guard(lock);
    for (; nextToTake < inputs.size(); ++nextToTake) {
        changed.wait(guard, [&] { return outcomes[nextToTake].has_value(); });
        Outcome outcome = std::move(*outcomes[nextToTake]);
        outcomes[nextToTake].reset();
        changed.notify_all();
        guard.unlock();
        take(std::move(outcome));
        guard.lock();
    }
    guard.unlock();
    for (std::thread& thread : workers) thread.join();
}

}  // namespace triage
