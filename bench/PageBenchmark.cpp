// Writing c2info-triage's page beside writing --json on the same inputs,
// each as the program does it on two threads: the page is to take at most
// 1.3 times as long. scripts/bench.sh gives the page's size and its time to
// ready in a browser.
//
// usage: page_benchmark INPUT... [benchmark options]
#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "HtmlPage.h"
#include "Inputs.h"
#include "Pool.h"
#include "Rows.h"

namespace {

constexpr unsigned kJobs = 2;
std::vector<std::string> gInputs;

std::unique_ptr<FILE, int (*)(FILE*)> nowhere() {
    return {fopen("/dev/null", "we"), fclose};
}

void BM_Json(benchmark::State& state) {
    for (auto _ : state) {
        auto out = nowhere();
        triage::triageInputs(gInputs, kJobs, false, [&](triage::Outcome&& outcome) {
            for (const triage::StreamResult& stream : outcome.streams) {
                fputs(triage::jsonRow(outcome, stream).dump().c_str(), out.get());
            }
        });
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(gInputs.size()));
}
BENCHMARK(BM_Json)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Page(benchmark::State& state) {
    for (auto _ : state) {
        triage::HtmlPage page;
        triage::triageInputs(gInputs, kJobs, true,
                             [&](triage::Outcome&& outcome) { page.add(outcome); });
        page.write(nowhere().get());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(gInputs.size()));
}
BENCHMARK(BM_Page)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    int first = 1;
    while (first < argc && argv[first][0] != '-') {
        gInputs.push_back(argv[first++]);
    }
    if (gInputs.empty()) {
        fprintf(stderr, "usage: page_benchmark INPUT... [benchmark options]\n");
        return 2;
    }
    gInputs = triage::expandInputs(gInputs);
    fprintf(stderr, "%zu inputs\n", gInputs.size());
    argv[first - 1] = argv[0];
    argc -= first - 1;
    argv += first - 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
