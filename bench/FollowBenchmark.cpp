// c2info-triage --follow: the time from a 16-stream --dump's last byte to
// its change lines, beside reading the same dump alone. Both dumps are
// printed here by the service's own printers; a stream changes size and
// verdict from one to the other, so that every dump has changes to print.
#include <DebugOutput.h>
#include <DebugReports.h>
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "ChangeLines.h"
#include "DumpReader.h"
#include "Follow.h"

namespace {

namespace service = ::vendor::larkspan::hardware::c2::info::implementation;

constexpr uint32_t kStreams = 16;

triage::_DebugDescription recordOf(uint32_t streamId, time_t second, bool releasing) {
    triage::_DebugDescription d{};
    d.component = "c2.vdec.hevc.tunnel";
    d.recordTime = {second, 0};
    d.recordTimeNs = static_cast<uint64_t>(second) * 1000000000u;
    d.input = d.decode = static_cast<int32_t>(second * 50);
    d.decodeFps = d.inputFps = 50;
    d.width = releasing ? 3840 : 1920;
    d.height = releasing ? 2160 : 1080;
    d.releasing = releasing && streamId == 1;
    d.sideBand = 1;
    return d;
}

// A --dump's output at `second`, its generations a second apart.
std::string dumpAt(time_t second, bool releasing) {
    int fd = memfd_create("dump", MFD_CLOEXEC);
    dprintf(fd, "%s - %s\nSystem Time: 11-25 03:00:00.000\n", service::kDebugBanner,
            service::kDumpCommand);
    service::printLine<service::kReportHeader>(fd, 9ull, 1u, service::kEqualsRule.text);
    for (int generation : {0, 1}) {
        service::printLine<service::kGenerationBegin>(fd, generation, service::kEqualsRule.text);
        for (uint32_t streamId = 1; streamId <= kStreams; ++streamId) {
            service::printSnapshot(fd, streamId,
                                   recordOf(streamId, second - 1 + generation, releasing));
        }
        service::printLine<service::kGenerationEnd, 2>(fd, generation, service::kEqualsRule.text);
    }
    service::printLine<service::kDifferencesBegin>(fd, service::kEqualsRule.text);
    service::printLine<service::kDifferencesEnd>(fd, service::kEqualsRule.text);
    std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
    if (pread(fd, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) text.clear();
    close(fd);
    return text;
}

const std::string& dumpOf(int which) {
    static const std::string kDumps[] = {dumpAt(100, false), dumpAt(101, true)};
    return kDumps[which];
}

void BM_ReadDumpAlone(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(triage::readDump(dumpOf(0)));
}
BENCHMARK(BM_ReadDumpAlone)->Unit(benchmark::kMicrosecond);

// All but the last line arrives before the clock runs; then the last line,
// the judging, the changes and their lines.
void BM_LastByteToChangeLines(benchmark::State& state) {
    triage::Follower follower("bench");
    int which = 0;
    size_t lines = 0;
    int64_t changes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const std::string& dump = dumpOf(which);
        size_t last = dump.rfind('\n', dump.size() - 2) + 1;
        follower.feed(std::string_view(dump).substr(0, last));
        state.ResumeTiming();
        for (const triage::FollowEvent& event :
             follower.feed(std::string_view(dump).substr(last))) {
            for (const auto& change : std::get<triage::FollowedDump>(event).changes) {
                lines += triage::changeLine(change).size();
                ++changes;
            }
        }
        which = 1 - which;
    }
    benchmark::DoNotOptimize(lines);
    state.counters["changes"] =
            benchmark::Counter(static_cast<double>(changes), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_LastByteToChangeLines)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    // The printer logs its time lines.
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
