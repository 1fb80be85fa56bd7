// The service's hot paths, each printed beside the floor it cannot beat,
// measured in the same run: an uncontended std::mutex with a std::map
// lookup for the entry points, and eight direct virtual calls with the same
// payload for event dispatch. Then the monitor's cycle, the component calls
// under contention, registry scaling and registration under load.
#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>
#include <DebugDescription.h>
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace ::vendor::larkspan::hardware::c2::info;
using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using implementation::_DebugDescription;
using implementation::Codec2InfoInternal;
using implementation::Codec2InfoService;
using implementation::StreamInfoItem;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct;
using ::vendor::larkspan::hardware::cmt::V1_0::ICmtInfoServiceListener;
using Clock = std::chrono::steady_clock;

// Heap allocations made by threads that have counting switched on.
thread_local bool tCountAllocations = false;
std::atomic<uint64_t> gAllocations{0};

}  // namespace

void* operator new(size_t size) {
    if (tCountAllocations) ++gAllocations;
    if (void* memory = malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    free(memory);
}

namespace {

constexpr uint32_t kStreams = 16;
constexpr uint32_t kInfoStream = 2;
constexpr uint32_t kDispatchStream = 3;
constexpr int kEventListeners = 8;

class InfoSink : public ICmtInfoServiceListener {
public:
    Return<void> onNotify(uint64_t, uint64_t, const CmtInfoStruct&) override { return Void(); }
};

class EventSink : public V1_0::ICodec2InfoServiceEventListener {
public:
    Return<void> onNotify(const V1_0::NotifyEventInfo& event) override {
        benchmark::DoNotOptimize(event.event.size());
        return Void();
    }
};

// What a component's monitor callables cost, kept apart from the service's
// own time between them on the monitor thread.
struct MonitorClock {
    std::mutex lock;
    int64_t firstEntryNs = 0;
    int64_t lastExitNs = 0;
    int64_t insideNs = 0;
    int cycles = 0;
    std::vector<int64_t> serviceNsPerCycle;
    std::vector<uint64_t> allocationsPerCycle;
    uint64_t allocationsAtCycleStart = 0;
};
MonitorClock gMonitor;

int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
            .count();
}

// A cycle switches every component's diagnostics on, then takes their
// snapshots: the first stream's switch opens it and closes the account of
// the previous one, from its first callable to its last.
template <typename Body>
void monitorCallable(bool opensCycle, Body&& body) {
    tCountAllocations = false;
    int64_t entry = nowNs();
    if (opensCycle) {
        std::lock_guard<std::mutex> lock(gMonitor.lock);
        if (gMonitor.cycles > 0) {
            gMonitor.serviceNsPerCycle.push_back(gMonitor.lastExitNs - gMonitor.firstEntryNs -
                                                 gMonitor.insideNs);
            gMonitor.allocationsPerCycle.push_back(gAllocations - gMonitor.allocationsAtCycleStart);
        }
        ++gMonitor.cycles;
        gMonitor.firstEntryNs = entry;
        gMonitor.insideNs = 0;
        gMonitor.allocationsAtCycleStart = gAllocations;
    }
    body();
    int64_t exit = nowNs();
    {
        std::lock_guard<std::mutex> lock(gMonitor.lock);
        gMonitor.insideNs += exit - entry;
        gMonitor.lastExitNs = exit;
    }
    tCountAllocations = true;
}

void registerStream(uint32_t streamId) {
    V1_0::ST_STREAM_LIST stream{};
    stream.streamid = streamId;
    stream.width = 1920;
    stream.height = 1080;
    stream.info = "bench";
    (void)Codec2InfoInternal::addStreamInfo(stream).isOk();
    auto callbacks = std::make_shared<Codec2InfoInternal::Codec2InfoServiceCallback>();
    callbacks->getInfoCb = [](std::vector<std::string> keys, uint32_t) {
        return std::vector<CmtInfoStruct>(keys.size(), CmtInfoStruct{1920, ""});
    };
    callbacks->enableDebugCb = [streamId](bool) { monitorCallable(streamId == 1, [] {}); };
    callbacks->getDebugInfoCb = [](_DebugDescription* description) {
        monitorCallable(false, [&] {
            description->input = description->decode = static_cast<int32_t>(nowNs() / 16666666);
        });
    };
    Codec2InfoInternal::setCodec2InfoServiceCallback(callbacks, streamId);
}

void debug(const std::vector<std::string>& words) {
    int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = devNull;
    (void)Codec2InfoService::getInstance()
            ->debug(hidl_handle(handle), hidl_vec<hidl_string>(words.begin(), words.end()))
            .isOk();
    native_handle_delete(handle);
    close(devNull);
}

sp<Codec2InfoService> service() {
    static sp<Codec2InfoService> instance = [] {
        __android_log_set_logger([](const __android_logger_data*, const char*) {});
        sp<Codec2InfoService> made = Codec2InfoService::getInstance();
        for (uint32_t id = 1; id <= kStreams; ++id) registerStream(id);
        (void)made->registerListener(kInfoStream, new InfoSink(), {}).isOk();
        return made;
    }();
    return instance;
}

// ---- floors

void BM_Floor_LockAndLookup(benchmark::State& state) {
    std::mutex lock;
    std::map<uint32_t, uint64_t> map;
    for (uint32_t id = 1; id <= kStreams; ++id) map[id] = id;
    uint32_t key = 7;
    for (auto _ : state) {
        std::lock_guard<std::mutex> guard(lock);
        benchmark::DoNotOptimize(map.find(key));
    }
}

void BM_Floor_EightVirtualCalls(benchmark::State& state) {
    std::vector<sp<V1_0::ICodec2InfoServiceEventListener>> sinks;
    for (int i = 0; i < kEventListeners; ++i) sinks.push_back(new EventSink());
    benchmark::DoNotOptimize(sinks.data());
    V1_0::NotifyEventInfo payload{"hdr_change", {}};
    for (auto _ : state) {
        for (const auto& sink : sinks) (void)sink->onNotify(payload).isOk();
    }
}

// The copy a stream list is: sixteen records with their texts, under a lock.
void BM_Floor_CopySixteenRecords(benchmark::State& state) {
    std::mutex lock;
    std::vector<V1_0::ST_STREAM_LIST> records(kStreams);
    for (auto& record : records) record.info = "bench";
    for (auto _ : state) {
        hidl_vec<V1_0::ST_STREAM_LIST> copy;
        {
            std::lock_guard<std::mutex> guard(lock);
            copy = records;
        }
        benchmark::DoNotOptimize(copy.size());
    }
}

// What a query is without the service: the keys as the callable takes them,
// the callable itself, under a lock.
void BM_Floor_DirectQuery(benchmark::State& state) {
    std::mutex lock;
    std::function<std::vector<CmtInfoStruct>(std::vector<std::string>, uint32_t)> callable =
            [](std::vector<std::string> keys, uint32_t) {
                return std::vector<CmtInfoStruct>(keys.size(), CmtInfoStruct{1920, ""});
            };
    hidl_vec<hidl_string> keys = {"width"};
    for (auto _ : state) {
        std::lock_guard<std::mutex> guard(lock);
        benchmark::DoNotOptimize(callable(std::vector<std::string>(keys.begin(), keys.end()), 4));
    }
}

// ---- hot paths

void BM_UpdateStreamInfoOneItem(benchmark::State& state) {
    service();
    uint32_t width = 3840;
    std::vector<StreamInfoItem> items = {{1, &width, 4}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(Codec2InfoInternal::updateStreamInfo(9, items).isOk());
    }
}

void BM_PostEventNoListener(benchmark::State& state) {
    service();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
                Codec2InfoInternal::postCodec2EventToAPK(5, V1_0::NotifyEvent::HDR_CHANGE));
    }
}

void BM_PostEventInfoListener(benchmark::State& state) {
    service();
    for (auto _ : state) {
        benchmark::DoNotOptimize(Codec2InfoInternal::postCodec2EventToAPK(
                kInfoStream, V1_0::NotifyEvent::HDR_CHANGE));
    }
}

void BM_PostEventEightEventListeners(benchmark::State& state) {
    sp<Codec2InfoService> s = service();
    std::vector<uint64_t> ids;
    for (int i = 0; i < kEventListeners; ++i) {
        s->registerEventListener(kDispatchStream, {"hdr_change"}, new EventSink(),
                                 [&](V1_0::InfoReturn, uint64_t id) { ids.push_back(id); });
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(Codec2InfoInternal::postCodec2EventToAPK(
                kDispatchStream, V1_0::NotifyEvent::HDR_CHANGE));
    }
    for (uint64_t id : ids) (void)s->unregisterEventListener(id).isOk();
}

void BM_GetDropMode(benchmark::State& state) {
    service();
    for (auto _ : state) benchmark::DoNotOptimize(Codec2InfoInternal::getDropMode());
}

void BM_GetStreamList16(benchmark::State& state) {
    sp<Codec2InfoService> s = service();
    for (auto _ : state) {
        s->getStreamList(
                [](V1_0::InfoReturn, const auto& list) { benchmark::DoNotOptimize(list.size()); });
    }
}

void BM_GetInfoThroughCallable(benchmark::State& state) {
    sp<Codec2InfoService> s = service();
    hidl_vec<hidl_string> keys = {"width"};
    for (auto _ : state) {
        s->getInfo(4, keys,
                   [](auto, const auto& items) { benchmark::DoNotOptimize(items.size()); });
    }
}

// ---- the monitor, contention, scale, registration under load

// One iteration: five monitor cycles; the first two warm the snapshot maps.
void BM_MonitorCycle16Streams(benchmark::State& state) {
    service();
    for (auto _ : state) {
        debug({"--enable"});
        std::this_thread::sleep_for(std::chrono::milliseconds(5500));
        debug({"--disable"});
    }
    std::lock_guard<std::mutex> lock(gMonitor.lock);
    std::vector<int64_t> steady(gMonitor.serviceNsPerCycle.begin() + 2,
                                gMonitor.serviceNsPerCycle.end());
    std::vector<uint64_t> allocations(gMonitor.allocationsPerCycle.begin() + 2,
                                      gMonitor.allocationsPerCycle.end());
    if (steady.empty()) return state.SkipWithError("fewer than three cycles");
    state.counters["lock_held_beyond_callables_us"] =
            *std::max_element(steady.begin(), steady.end()) / 1000.0;
    state.counters["allocations_per_cycle"] =
            static_cast<double>(*std::max_element(allocations.begin(), allocations.end()));
}

double percentile(std::vector<int64_t> samples, double p) {
    if (samples.empty()) return 0;
    std::sort(samples.begin(), samples.end());
    return samples[static_cast<size_t>(p * (samples.size() - 1))] / 1000.0;
}

void BM_ContendedUpdates(benchmark::State& state) {
    sp<Codec2InfoService> s = service();
    for (auto _ : state) {
        debug({"--enable"});
        std::atomic<bool> running{true};
        std::thread client([&] {
            while (running) s->getStreamList([](V1_0::InfoReturn, const auto&) {});
        });
        std::vector<std::vector<int64_t>> latencies(4);
        std::vector<std::thread> components;
        for (uint32_t n = 0; n < 4; ++n) {
            components.emplace_back([&, n] {
                uint32_t width = 1280;
                std::vector<StreamInfoItem> items = {{1, &width, 4}};
                while (running) {
                    int64_t start = nowNs();
                    (void)Codec2InfoInternal::updateStreamInfo(10 + n, items).isOk();
                    latencies[n].push_back(nowNs() - start);
                }
            });
        }
        std::this_thread::sleep_for(std::chrono::seconds(2));
        running = false;
        for (std::thread& component : components) component.join();
        client.join();
        debug({"--disable"});
        std::vector<int64_t> all;
        for (const auto& samples : latencies) all.insert(all.end(), samples.begin(), samples.end());
        state.counters["p50_us"] = percentile(all, 0.50);
        state.counters["p99_us"] = percentile(all, 0.99);
    }
}

void BM_UpdateAtScale(benchmark::State& state) {
    sp<Codec2InfoService> s = service();
    auto streams = static_cast<uint32_t>(state.range(0));
    // The benchmark's own streams, the last of them updated: the longest search.
    for (uint32_t id = 1; id <= kStreams; ++id)
        (void)Codec2InfoInternal::removeStreamInfoByUniqueId(id).isOk();
    for (uint32_t id = 1000; id < 1000 + streams; ++id) registerStream(id);
    uint32_t width = 720;
    std::vector<StreamInfoItem> items = {{1, &width, 4}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(Codec2InfoInternal::updateStreamInfo(999 + streams, items).isOk());
        s->getStreamList(
                [](V1_0::InfoReturn, const auto& list) { benchmark::DoNotOptimize(list.size()); });
    }
    for (uint32_t id = 1000; id < 1000 + streams; ++id)
        (void)Codec2InfoInternal::removeStreamInfoByUniqueId(id).isOk();
    for (uint32_t id = 1; id <= kStreams; ++id) registerStream(id);
}

void BM_RegistrationUnderLoad(benchmark::State& state) {
    sp<Codec2InfoService> s = service();
    for (auto _ : state) {
        std::atomic<bool> running{true};
        std::thread component([&] {
            while (running) {
                Codec2InfoInternal::postCodec2EventToAPK(kDispatchStream,
                                                         V1_0::NotifyEvent::HDR_CHANGE);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        std::vector<int64_t> latencies;
        sp<EventSink> sink = new EventSink();
        sp<InfoSink> info = new InfoSink();
        auto until = Clock::now() + std::chrono::seconds(2);
        while (Clock::now() < until) {
            int64_t start = nowNs();
            uint64_t id = 0;
            s->registerEventListener(kDispatchStream, {"hdr_change"}, sink,
                                     [&](V1_0::InfoReturn, uint64_t newId) { id = newId; });
            latencies.push_back(nowNs() - start);
            (void)s->unregisterEventListener(id).isOk();
            start = nowNs();
            (void)s->registerListener(kDispatchStream, info, {}).isOk();
            latencies.push_back(nowNs() - start);
        }
        running = false;
        component.join();
        state.counters["p50_us"] = percentile(latencies, 0.50);
        state.counters["p99_us"] = percentile(latencies, 0.99);
    }
}

BENCHMARK(BM_Floor_LockAndLookup);
BENCHMARK(BM_Floor_EightVirtualCalls);
BENCHMARK(BM_Floor_CopySixteenRecords);
BENCHMARK(BM_Floor_DirectQuery);
BENCHMARK(BM_UpdateStreamInfoOneItem);
BENCHMARK(BM_PostEventNoListener);
BENCHMARK(BM_PostEventInfoListener);
BENCHMARK(BM_PostEventEightEventListeners);
BENCHMARK(BM_GetDropMode);
BENCHMARK(BM_GetStreamList16);
BENCHMARK(BM_GetInfoThroughCallable);
BENCHMARK(BM_UpdateAtScale)->Arg(1)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_MonitorCycle16Streams)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ContendedUpdates)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RegistrationUnderLoad)->Iterations(1)->Unit(benchmark::kMillisecond);

// Each hot path against its floor, printed after the usual table.
class FloorReporter : public benchmark::ConsoleReporter {
public:
    FloorReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_Defaults : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) mNs[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        const std::pair<const char*, const char*> kFloors[] = {
                {"BM_UpdateStreamInfoOneItem", "BM_Floor_LockAndLookup"},
                {"BM_PostEventNoListener", "BM_Floor_LockAndLookup"},
                {"BM_PostEventInfoListener", "BM_Floor_LockAndLookup"},
                {"BM_PostEventEightEventListeners", "BM_Floor_EightVirtualCalls"},
                {"BM_GetDropMode", "BM_Floor_LockAndLookup"},
                {"BM_GetStreamList16", "BM_Floor_CopySixteenRecords"},
                {"BM_GetInfoThroughCallable", "BM_Floor_DirectQuery"},
        };
        printf("\n%-34s %10s %10s %7s\n", "hot path", "ns", "floor ns", "ratio");
        for (const auto& [path, floor] : kFloors) {
            if (mNs.count(path) == 0 || mNs.count(floor) == 0) continue;
            printf("%-34s %10.1f %10.1f %6.1fx\n", path, mNs[path], mNs[floor],
                   mNs[path] / mNs[floor]);
        }
    }

private:
    std::map<std::string, double> mNs;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    FloorReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
