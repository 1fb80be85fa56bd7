// --follow on a terminal: the newest dump's streams, a row each, and under
// them the log of changes, redrawn in place as dumps arrive. Keys come
// from the terminal itself, so that standard input can be the pipe.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Follow.h"

struct screen;
typedef struct screen SCREEN;

namespace triage {

class LiveScreen {
public:
    // Null when there is no terminal to draw on.
    static std::unique_ptr<LiveScreen> open(std::string input);
    // Gives the terminal back as it was.
    ~LiveScreen();
    LiveScreen(const LiveScreen&) = delete;
    LiveScreen& operator=(const LiveScreen&) = delete;

    // What to poll() for keys.
    int keyDescriptor() const;
    // Takes the keys typed; false once `q` is.
    bool serveKeys();
    void show(const FollowEvent& event);

private:
    LiveScreen(SCREEN* screen, FILE* keys, std::string input);
    void draw();
    short colourOf(const std::string& owner);

    SCREEN* const mScreen;
    FILE* const mKeys;
    const std::string mInput;
    const bool mColours;
    std::vector<StreamResult> mStreams;  // the newest dump's
    std::map<uint32_t, std::deque<double>> mDecodeRates;
    std::deque<std::string> mLog;
    // Colour pairs, one per owner in the order first seen, as the page.
    std::map<std::string, short> mOwnerColours;
};

}  // namespace triage
