// c2info-sim: a simulated codec process around the c2info service, with an
// lshal debug console. See usage() and the README.
#include <android/log.h>
#include <cutils/properties.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Bugreport.h"
#include "Console.h"
#include "Output.h"
#include "Scenario.h"
#include "Simulation.h"

namespace {

constexpr int kUsageError = 2;

void usage() {
    printf(R"(usage: c2info-sim [--scenario FILE] [--verbose]
                  [--console | -- WORDS... | --bugreport FILE.zip [--main-text-mb N] |
                   --session FILE]

Runs a simulated codec process: one decoder component per stream of a
scenario, each registering its stream and callables with the c2info service,
advancing its counters, posting events and handing out real tiled frames,
and an application that follows the streams and prints what it hears.

  --scenario FILE  read the scenario from a JSON file (default: four streams,
                   each stuck or not in its own way; sim/scenarios/ has one
                   file per verdict of the owner analysis)
  --verbose        switch the service's debug log lines on (to stderr)
  --console        read requests from standard input, one per line:
                     --WORD ...               lshal debug words, see below
                     (an empty line)          the default status dump
                     sleep SECONDS            wait (fractions allowed)
                     streams                  the stream list, as a client sees it
                     capture STREAMID FILE.png  grab, detile and save a frame
                     kill-app                 the application's process dies
                     quit                     end the components and leave
  -- WORDS...      run one lshal debug request, then end
  --bugreport FILE.zip
                   let the components run for a moment, then write the zip
                   that `adb bugreport` would: the service's default dump as
                   lshal-debug/<instance>.txt, a main text of about N MB of
                   log (--main-text-mb, default 2) and another HAL's entry
  --session FILE   write what an engineer's loop at a TV records: --enable,
                   then a --dump each second for the scenario's seconds (it
                   takes that long); c2info-triage --html draws its history
  (none of these)  a show of about ten seconds, each phase announced on stderr

lshal debug words: --help, --enable, --disable, --dump, --owner,
--reloadProp, --c2dump STREAMID 0|1, --reset, and --COMPONENT state for the
state of one simulated component. "--help" lists them as the service knows them.

A scenario is {"name": ..., "seconds": ..., "streams": [...]}, each stream
{"stream": {ST_STREAM_LIST fields}, "component": NAME, "debug": {members of
_DebugDescription}, "perSecond": {counter: increment}, "snapshots": [...],
"events": [{"atMs": N, "event": NAME, "update": {fields}}], "info": {key:
value}}; the README describes it with an example.

Exit status: 0 on success, 1 when a step of the show or a console request
failed, 2 on a usage or scenario error.
)");
}

struct Options {
    std::optional<std::string> scenarioFile;
    bool console = false;
    bool verbose = false;
    std::optional<std::vector<std::string>> words;
    std::optional<std::string> bugreport;
    size_t mainTextMb = 2;
    std::optional<std::string> session;
};

// Null with a message on stderr when the arguments are wrong.
std::optional<Options> parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        if (argument == "--scenario" && i + 1 < argc) {
            options.scenarioFile = argv[++i];
        } else if (argument == "--console") {
            options.console = true;
        } else if (argument == "--verbose") {
            options.verbose = true;
        } else if (argument == "--bugreport" && i + 1 < argc) {
            options.bugreport = argv[++i];
        } else if (argument == "--session" && i + 1 < argc) {
            options.session = argv[++i];
        } else if (argument == "--main-text-mb" && i + 1 < argc) {
            char* end = nullptr;
            long megabytes = strtol(argv[++i], &end, 10);
            if (*end != '\0' || megabytes < 0 || megabytes > 1024) {
                sim::announce("c2info-sim: --main-text-mb takes a number from 0 to 1024");
                return std::nullopt;
            }
            options.mainTextMb = static_cast<size_t>(megabytes);
        } else if (argument == "--") {
            options.words = std::vector<std::string>(argv + i + 1, argv + argc);
            break;
        } else {
            sim::announce("c2info-sim: unexpected argument \"%s\" (see --help)", argv[i]);
            return std::nullopt;
        }
    }
    if (int(options.console) + int(options.words.has_value()) + int(options.bugreport.has_value()) +
                int(options.session.has_value()) >
        1) {
        sim::announce(
                "c2info-sim: --console, -- WORDS, --bugreport and --session exclude each other "
                "(see --help)");
        return std::nullopt;
    }
    return options;
}

// The components run for a moment first, so that their counters move and
// their first events are posted, as on a TV that has played for a while.
int writeBugreport(sim::Simulation& simulation, const std::string& path, size_t mainTextMb) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    std::string dump = simulation.debugText({});
    std::string error;
    if (!sim::writeBugreport(path, dump, simulation.scenario().name, mainTextMb << 20, &error)) {
        sim::announce("c2info-sim: %s", error.c_str());
        return 1;
    }
    sim::announce("c2info-sim: wrote %s", path.c_str());
    return 0;
}

// As `lshal debug ... --enable` and then `while sleep 1; do lshal debug ...
// --dump; done` would record it, each dump written as it comes.
int writeSession(sim::Simulation& simulation, const std::string& path) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "we"), fclose);
    if (!file) {
        sim::announce("c2info-sim: %s: %s", path.c_str(), strerror(errno));
        return 1;
    }
    auto write = [&](const std::string& text) {
        return fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
               fflush(file.get()) == 0;
    };
    bool written = write(simulation.debugText({"--enable"}));
    auto next = std::chrono::steady_clock::now();
    auto dumps = static_cast<int>(simulation.scenario().seconds);
    for (int second = 0; written && second < dumps; ++second) {
        next += std::chrono::seconds(1);
        std::this_thread::sleep_until(next);
        written = write(simulation.debugText({"--dump"}));
    }
    if (!written || fclose(file.release()) != 0) {
        sim::announce("c2info-sim: %s: %s", path.c_str(), strerror(errno));
        return 1;
    }
    sim::announce("c2info-sim: wrote %s", path.c_str());
    return 0;
}

int run(const Options& options) {
    if (options.verbose) {
        // The service reads its switch when a stream is added.
        property_set("vendor.qrv.c2infoservice.log", "1");
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }
    std::optional<sim::Scenario> scenario;
    try {
        scenario = options.scenarioFile ? sim::readScenarioFile(*options.scenarioFile)
                                        : sim::defaultScenario();
    } catch (const sim::ScenarioError& error) {
        sim::announce("c2info-sim: %s", error.what());
        return kUsageError;
    }

    sim::Simulation simulation(std::move(*scenario));
    if (!simulation.start()) return 1;
    if (options.words) {
        simulation.debug(*options.words);
        return 0;
    }
    if (options.bugreport)
        return writeBugreport(simulation, *options.bugreport, options.mainTextMb);
    if (options.session) return writeSession(simulation, *options.session);
    return options.console ? sim::runConsole(simulation) : sim::runShow(simulation);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
        usage();
        return 0;
    }
    std::optional<Options> options = parseOptions(argc, argv);
    if (!options) return kUsageError;
    try {
        return run(*options);
    } catch (const std::exception& error) {
        sim::announce("c2info-sim: %s", error.what());
        return 1;
    }
}
