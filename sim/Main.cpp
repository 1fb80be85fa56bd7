// c2info-sim: a simulated codec process around the c2info service, with an
// lshal debug console. See declareOptions() and the README.
#include <android/log.h>
#include <cutils/properties.h>
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
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

struct Options {
    std::optional<std::string> scenarioFile;
    bool console = false;
    bool verbose = false;
    std::optional<std::vector<std::string>> words;
    std::optional<std::string> bugreport;
    size_t mainTextMb = 2;
    std::string build = sim::kDefaultFingerprint;
    std::optional<std::string> takenAt;
    std::optional<std::string> session;
};

// WORDS are typed after "--".
class Formatter : public CLI::Formatter {
public:
    Formatter() { column_width(19); }

    std::string make_option_usage(const CLI::Option* words) const override {
        return "[-- " + words->get_name(true) + "...]";
    }
};

constexpr char kConsoleRequests[] = R"(read requests from standard input, one per line:
  --WORD ...               lshal debug words, see below
  (an empty line)          the default status dump
  sleep SECONDS            wait (fractions allowed)
  streams                  the stream list, as a client sees it
  capture STREAMID FILE.png  grab, detile and save a frame
  kill-app                 the application's process dies
  quit                     end the components and leave)";

// As dumpstate prints it; empty when the time is of that shape.
std::string checkTakenAt(const std::string& time) {
    std::tm parts{};
    const char* end = strptime(time.c_str(), "%Y-%m-%d %H:%M:%S", &parts);
    if (end == nullptr || *end != '\0' || time.size() != 19)
        return "Value " + time + " is not YYYY-MM-DD HH:MM:SS";
    return "";
}

std::string localTimeNow() {
    time_t now = time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32];
    strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

// One declaration gives the command line its rules and its usage text.
void declareOptions(CLI::App& app, Options* options, std::vector<std::string>* words) {
    app.description(R"(Runs a simulated codec process: one decoder component per stream of a
scenario, each registering its stream and callables with the c2info service,
advancing its counters, posting events and handing out real tiled frames,
and an application that follows the streams and prints what it hears.
Without --console, WORDS, --bugreport or --session: a show of about ten
seconds, each phase announced on stderr.
)");
    app.footer(R"(lshal debug words: --help, --enable, --disable, --dump, --owner,
--reloadProp, --c2dump STREAMID 0|1, --reset, and --COMPONENT state for the
state of one simulated component. "--help" lists them as the service knows them.

A scenario is {"name": ..., "seconds": ..., "streams": [...]}, each stream
{"stream": {ST_STREAM_LIST fields}, "component": NAME, "debug": {members of
_DebugDescription}, "perSecond": {counter: increment}, "snapshots": [...],
"events": [{"atMs": N, "event": NAME, "update": {fields}}], "info": {key:
value}}; the README describes it with an example.

Exit status: 0 on success, 1 when a step of the show or a console request
failed, 2 on a usage or scenario error.)");
    app.formatter(std::make_shared<Formatter>());
    // A repeated option counts as given last, so that a command line can
    // override what a script or an alias put before it.
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option_function<std::string>(
               "--scenario", [options](const std::string& file) { options->scenarioFile = file; },
               "read the scenario from a JSON file (default: four streams,\n"
               "each stuck or not in its own way; sim/scenarios/ has one\n"
               "file per verdict of the owner analysis)")
            ->type_name("FILE");
    app.add_flag("--verbose", options->verbose,
                 "switch the service's debug log lines on (to stderr)");
    CLI::Option* console = app.add_flag("--console", options->console, kConsoleRequests);
    CLI::Option* request = app.add_option("WORDS", *words, "run one lshal debug request, then end");
    CLI::Option* bugreport =
            app.add_option_function<std::string>(
                       "--bugreport",
                       [options](const std::string& file) { options->bugreport = file; },
                       "let the components run for a moment, then write the zip\n"
                       "that `adb bugreport` would on Android 12: the service's\n"
                       "default dump as lshal-debug/<instance>.txt, the main text\n"
                       "main_entry.txt names (dumpstate's header with --build and\n"
                       "--taken-at, then about N MB of log, --main-text-mb) and\n"
                       "another HAL's entry")
                    ->type_name("FILE.zip");
    app.add_option("--main-text-mb", options->mainTextMb, "the bugreport's main text in MB")
            ->type_name("N")
            ->check(CLI::Range(size_t{0}, size_t{1024}))
            ->capture_default_str()
            ->needs(bugreport);
    app.add_option("--build", options->build, "the build fingerprint in the bugreport's header")
            ->type_name("FINGERPRINT")
            ->capture_default_str()
            ->needs(bugreport);
    app.add_option("--taken-at", options->takenAt,
                   "the time dumpstate ran, the TV's local time (default: now)")
            ->type_name("\"YYYY-MM-DD HH:MM:SS\"")
            ->check(CLI::Validator(checkTakenAt, "", "taken-at"))
            ->needs(bugreport);
    CLI::Option* session =
            app.add_option_function<std::string>(
                       "--session", [options](const std::string& file) { options->session = file; },
                       "write what an engineer's loop at a TV records: --enable,\n"
                       "then a --dump each second for the scenario's seconds (it\n"
                       "takes that long); c2info-triage --html draws its history;\n"
                       "- writes it to standard output as it happens, for\n"
                       "c2info-triage --follow -")
                    ->type_name("FILE");
    console->excludes(request, bugreport, session);
    request->excludes(bugreport, session);
    bugreport->excludes(session);
}

// What follows "--" is one lshal debug request, however its words look;
// "--" alone asks for the default dump. CLI11 drops the mark, and would
// take a word typed before it as one of WORDS too: handed over twice, the
// mark leads WORDS whenever a request is made, and a stray word is refused.
void parseOptions(CLI::App& app, int argc, char** argv, Options* options) {
    std::vector<std::string> words;
    declareOptions(app, options, &words);
    std::vector<std::string> arguments(argv + 1, argv + argc);
    auto mark = std::find(arguments.begin(), arguments.end(), "--");
    if (mark != arguments.end()) arguments.insert(mark, "--");
    std::reverse(arguments.begin(), arguments.end());
    app.parse(arguments);
    if (words.empty()) return;
    if (words.front() != "--") throw CLI::ExtrasError({words.front()});
    options->words = std::vector<std::string>(words.begin() + 1, words.end());
}

// The components run for a moment first, so that their counters move and
// their first events are posted, as on a TV that has played for a while.
int writeBugreport(sim::Simulation& simulation, const Options& options) {
    const std::string& path = *options.bugreport;
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    std::string dump = simulation.debugText({});
    std::string error;
    sim::BugreportHeader header{options.build, options.takenAt.value_or(localTimeNow())};
    if (!sim::writeBugreport(path, dump, header, options.mainTextMb << 20, &error)) {
        sim::announce("c2info-sim: %s", error.c_str());
        return 1;
    }
    sim::announce("c2info-sim: wrote %s", path.c_str());
    return 0;
}

// As `lshal debug ... --enable` and then `while sleep 1; do lshal debug ...
// --dump; done` would record it, each dump written as it comes.
// "-" writes to standardOutput.
int writeSession(sim::Simulation& simulation, const std::string& path, int standardOutput) {
    std::unique_ptr<FILE, int (*)(FILE*)> file(
            path == "-" ? fdopen(standardOutput, "w") : fopen(path.c_str(), "we"), fclose);
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
    if (path != "-") sim::announce("c2info-sim: wrote %s", path.c_str());
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

    // A session written to standard output goes down the pipe alone: what
    // the application says goes to standard error from the start.
    int standardOutput = STDOUT_FILENO;
    if (options.session == "-") {
        standardOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        if (standardOutput < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
            sim::announce("c2info-sim: standard output: %s", strerror(errno));
            return 1;
        }
    }
    sim::Simulation simulation(std::move(*scenario));
    if (!simulation.start()) return 1;
    if (options.words) {
        simulation.debug(*options.words);
        return 0;
    }
    if (options.bugreport) return writeBugreport(simulation, options);
    if (options.session) return writeSession(simulation, *options.session, standardOutput);
    return options.console ? sim::runConsole(simulation) : sim::runShow(simulation);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("", "c2info-sim");
    try {
        parseOptions(app, argc, argv, &options);
    } catch (const CLI::CallForHelp&) {
        fputs(app.help().c_str(), stdout);
        return 0;
    } catch (const CLI::ParseError& error) {
        sim::announce("c2info-sim: %s (see --help)", error.what());
        return kUsageError;
    }
    try {
        return run(options);
    } catch (const std::exception& error) {
        sim::announce("c2info-sim: %s", error.what());
        return 1;
    }
}
