// Bugreports per second: c2info-triage's engine over a directory of
// bugreports, beside the floor it cannot beat on one thread, opening each
// zip and reading the service's entry with libzip alone.
//
// usage: triage_benchmark DIRECTORY [benchmark options]
#include <benchmark/benchmark.h>
#include <zip.h>

#include <cstdio>
#include <string>
#include <vector>

#include "Inputs.h"
#include "Pool.h"

namespace {

std::vector<std::string> gBugreports;

void readServiceEntry(const std::string& path, std::string* text) {
    zip_t* archive = zip_open(path.c_str(), ZIP_RDONLY, nullptr);
    if (archive == nullptr) return;
    zip_int64_t index = zip_name_locate(archive, triage::kServiceEntry, 0);
    if (zip_file_t* entry = index < 0 ? nullptr : zip_fopen_index(archive, index, 0)) {
        char buffer[65536];
        text->clear();
        for (zip_int64_t n; (n = zip_fread(entry, buffer, sizeof(buffer))) > 0;) {
            text->append(buffer, static_cast<size_t>(n));
        }
        zip_fclose(entry);
    }
    zip_close(archive);
}

void BM_FloorOpenZipAndReadTheEntry(benchmark::State& state) {
    std::string text;
    for (auto _ : state) {
        for (const std::string& path : gBugreports) readServiceEntry(path, &text);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(gBugreports.size()));
}
BENCHMARK(BM_FloorOpenZipAndReadTheEntry)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Triage(benchmark::State& state) {
    size_t streams = 0;
    for (auto _ : state) {
        triage::triageInputs(gBugreports, static_cast<unsigned>(state.range(0)), false,
                             [&](triage::Outcome&& outcome) { streams += outcome.streams.size(); });
    }
    benchmark::DoNotOptimize(streams);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(gBugreports.size()));
}
BENCHMARK(BM_Triage)->ArgName("jobs")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argv[1][0] == '-') {
        fprintf(stderr, "usage: triage_benchmark DIRECTORY [benchmark options]\n");
        return 2;
    }
    gBugreports = triage::expandInputs({argv[1]});
    fprintf(stderr, "%zu bugreports in %s\n", gBugreports.size(), argv[1]);
    argv[1] = argv[0];
    --argc;
    ++argv;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
