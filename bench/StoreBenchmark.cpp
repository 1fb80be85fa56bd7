// The nightly release check at a month's scale, timed as a field engineer
// runs it: c2info-triage itself, on a store of a month's bugreports and a
// night's new ones. Adding the night is printed beside --csv on the night
// alone (what the store costs), the same night again beside it (what the
// store saves), then --by-build and the page of the whole month.
//
// usage: store_benchmark C2INFO_TRIAGE MONTH.db NIGHT_DIRECTORY SCRATCH_DIRECTORY
//        [benchmark options]
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

extern char** environ;

namespace {

std::string gTriage, gMonth, gNight, gScratch;

// The program's exit status; its output goes to /dev/null.
int runQuietly(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int failed = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (failed != 0 || waitpid(child, &status, 0) != child) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void timeRuns(benchmark::State& state, const std::vector<std::string>& arguments) {
    for (auto _ : state) {
        if (runQuietly(arguments) != 0) state.SkipWithError("c2info-triage failed");
    }
}

// A copy of the month's store, made and written out with the clock
// stopped, so that the run timed does not wait for the copy's writing.
std::string monthCopy(const std::string& name) {
    std::string copy = gScratch + "/" + name;
    std::filesystem::remove(copy + "-wal");
    std::filesystem::remove(copy + "-shm");
    std::filesystem::copy_file(gMonth, copy, std::filesystem::copy_options::overwrite_existing);
    sync();
    return copy;
}

void BM_CsvOfTheNight(benchmark::State& state) {
    timeRuns(state, {gTriage, "--csv", gNight});
}
BENCHMARK(BM_CsvOfTheNight)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_AddTheNightToTheMonth(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::string store = monthCopy("add.db");
        state.ResumeTiming();
        if (runQuietly({gTriage, "--db", store, "--csv", gNight}) != 0) {
            state.SkipWithError("c2info-triage failed");
        }
    }
}
BENCHMARK(BM_AddTheNightToTheMonth)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_TheNightAgain(benchmark::State& state) {
    std::string store = monthCopy("again.db");
    if (runQuietly({gTriage, "--db", store, gNight}) != 0) state.SkipWithError("no store");
    timeRuns(state, {gTriage, "--db", store, "--csv", gNight});
}
BENCHMARK(BM_TheNightAgain)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_ByBuildOfTheMonth(benchmark::State& state) {
    timeRuns(state, {gTriage, "--db", gMonth, "--by-build", "--csv"});
}
BENCHMARK(BM_ByBuildOfTheMonth)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_PageOfTheMonth(benchmark::State& state) {
    const std::string page = gScratch + "/month.html";
    timeRuns(state, {gTriage, "--db", gMonth, "--html", page});
    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(page));
}
BENCHMARK(BM_PageOfTheMonth)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5 || argv[1][0] == '-') {
        fprintf(stderr,
                "usage: store_benchmark C2INFO_TRIAGE MONTH.db NIGHT_DIRECTORY SCRATCH_DIRECTORY "
                "[benchmark options]\n");
        return 2;
    }
    gTriage = argv[1];
    gMonth = argv[2];
    gNight = argv[3];
    gScratch = argv[4];
    std::filesystem::create_directories(gScratch);
    argv[4] = argv[0];
    argc -= 4;
    argv += 4;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
