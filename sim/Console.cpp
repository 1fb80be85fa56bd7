#include "Console.h"

#include <editline/readline.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <thread>

#include "Output.h"

namespace sim {
namespace {

void sleepSeconds(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

// A line of input, without its newline; false at the end of the input.
bool readRequest(std::string* line) {
    if (!isatty(STDIN_FILENO)) return static_cast<bool>(std::getline(std::cin, *line));
    char* read = readline("c2info> ");
    if (read == nullptr) return false;
    *line = read;
    free(read);
    if (!line->empty()) add_history(line->c_str());
    return true;
}

bool parseSeconds(const std::string& word, double* seconds) {
    char* end = nullptr;
    *seconds = strtod(word.c_str(), &end);
    return !word.empty() && *end == '\0' && *seconds >= 0 && *seconds <= 3600;
}

bool parseStreamId(const std::string& word, uint32_t* streamId) {
    char* end = nullptr;
    unsigned long value = strtoul(word.c_str(), &end, 10);
    *streamId = static_cast<uint32_t>(value);
    return !word.empty() && *end == '\0' && value <= UINT32_MAX;
}

enum class Outcome { kDone, kFailed, kQuit };

Outcome handle(Simulation& simulation, const std::vector<std::string>& words) {
    if (words.empty()) {
        simulation.debug({});
        return Outcome::kDone;
    }
    const std::string& request = words[0];
    if (request.rfind("--", 0) == 0) {
        simulation.debug(words);
        return Outcome::kDone;
    }
    double seconds;
    uint32_t streamId;
    if (request == "sleep" && words.size() == 2 && parseSeconds(words[1], &seconds)) {
        sleepSeconds(seconds);
    } else if (request == "streams" && words.size() == 1) {
        if (!simulation.printStreams()) return Outcome::kFailed;
    } else if (request == "capture" && words.size() == 3 && parseStreamId(words[1], &streamId)) {
        if (!simulation.capture(streamId, words[2])) return Outcome::kFailed;
    } else if (request == "kill-app" && words.size() == 1) {
        simulation.killApplication();
    } else if (request == "quit" && words.size() == 1) {
        return Outcome::kQuit;
    } else {
        announce(
                "console: cannot do \"%s\": expected debug words (--...), an empty line, "
                "sleep SECONDS, streams, capture STREAMID FILE.png, kill-app or quit",
                request.c_str());
        return Outcome::kFailed;
    }
    return Outcome::kDone;
}

}  // namespace

int runConsole(Simulation& simulation) {
    int status = 0;
    std::string line;
    while (readRequest(&line)) {
        std::istringstream split(line);
        std::vector<std::string> words;
        for (std::string word; split >> word;) words.push_back(word);
        Outcome outcome = handle(simulation, words);
        if (outcome == Outcome::kQuit) break;
        if (outcome == Outcome::kFailed) status = 1;
    }
    return status;
}

int runShow(Simulation& simulation) {
    const Scenario& scenario = simulation.scenario();
    uint32_t firstStream = scenario.streams.front().stream.streamid;
    bool ok = true;
    announce("== c2info-sim: %s", scenario.name.c_str());
    announce("== the streams, as the application lists them");
    ok &= simulation.printStreams();
    announce("== lshal debug: the default status dump, two passes a second apart");
    simulation.debug({});
    announce("== lshal debug --enable: the monitor starts");
    simulation.debug({"--enable"});
    announce("== four seconds of monitoring");
    sleepSeconds(4);
    announce("== lshal debug --dump");
    simulation.debug({"--dump"});
    announce("== lshal debug --owner");
    simulation.debug({"--owner"});
    announce("== a frame of stream %u captured to capture.png", firstStream);
    ok &= simulation.capture(firstStream, "capture.png");
    announce("== lshal debug --disable");
    simulation.debug({"--disable"});
    announce("== the application dies; what is posted now reaches nobody");
    simulation.killApplication();
    sleepSeconds(2);
    announce("== the components end");
    simulation.end();
    return ok ? 0 : 1;
}

}  // namespace sim
