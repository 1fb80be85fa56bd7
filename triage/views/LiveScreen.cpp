#include "LiveScreen.h"

#include <DebugReports.h>
#include <curses.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "ChangeLines.h"

namespace triage {
namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::decoderPending;

// A dump a second: a minute of decode rates, four to a cell.
constexpr size_t kRateSamples = 60;
constexpr size_t kSamplesPerCell = 4;
constexpr size_t kLogLines = 200;
const char* const kLevels[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr int kSparkBytes = 3;  // each level in UTF-8
// The page's palette as near as a terminal's eight colours go, in its order.
const short kPalette[] = {COLOR_BLUE,  COLOR_YELLOW, COLOR_RED,    COLOR_CYAN,
                          COLOR_GREEN, COLOR_WHITE,  COLOR_MAGENTA};

std::string sparkline(const std::deque<double>& rates) {
    double most = 1;
    for (double rate : rates) most = std::max(most, rate);
    std::string line;
    for (size_t at = rates.size() % kSamplesPerCell; at < rates.size(); at += kSamplesPerCell) {
        double sum = 0;
        for (size_t i = at; i < at + kSamplesPerCell; ++i) sum += std::max(0.0, rates[i]);
        line += kLevels[static_cast<int>(sum / kSamplesPerCell / most * 7 + 0.5)];
    }
    return line;
}

std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* format, ...) {
    char text[256];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    return text;
}

}  // namespace

std::unique_ptr<LiveScreen> LiveScreen::open(std::string input) {
    FILE* keys = fopen("/dev/tty", "re");
    if (keys == nullptr) return nullptr;
    setlocale(LC_ALL, "");
    SCREEN* screen = newterm(nullptr, stdout, keys);
    if (screen == nullptr) {
        fclose(keys);
        return nullptr;
    }
    return std::unique_ptr<LiveScreen>(new LiveScreen(screen, keys, std::move(input)));
}

LiveScreen::LiveScreen(SCREEN* screen, FILE* keys, std::string input)
    : mScreen(screen),
      mKeys(keys),
      mInput(std::move(input)),
      mColours(has_colors() && (getenv("NO_COLOR") == nullptr || *getenv("NO_COLOR") == '\0')) {
    cbreak();
    noecho();
    nodelay(stdscr, TRUE);
    keypad(stdscr, TRUE);
    curs_set(0);
    if (mColours) {
        start_color();
        use_default_colors();
    }
    draw();
}

LiveScreen::~LiveScreen() {
    endwin();
    delscreen(mScreen);
    fclose(mKeys);
}

int LiveScreen::keyDescriptor() const {
    return fileno(mKeys);
}

bool LiveScreen::serveKeys() {
    for (int key; (key = getch()) != ERR;) {
        if (key == 'q' || key == 'Q') return false;
        if (key == KEY_RESIZE) draw();
    }
    return true;
}

void LiveScreen::show(const FollowEvent& event) {
    if (const auto* problem = std::get_if<FollowProblem>(&event)) {
        mLog.push_back("skipped: " + problem->what);
    } else {
        const FollowedDump& dump = std::get<FollowedDump>(event);
        for (const StreamChange& change : dump.changes) mLog.push_back(changeLine(change));
        mStreams = dump.outcome.streams;
        std::map<uint32_t, std::deque<double>> rates;
        for (const StreamResult& stream : mStreams) {
            if (!stream.record) continue;
            std::deque<double>& kept = rates[stream.verdict.streamId];
            kept = std::move(mDecodeRates[stream.verdict.streamId]);
            kept.push_back(stream.record->decodeFps);
            if (kept.size() > kRateSamples) kept.pop_front();
        }
        mDecodeRates = std::move(rates);
    }
    while (mLog.size() > kLogLines) mLog.pop_front();
    draw();
}

short LiveScreen::colourOf(const std::string& owner) {
    auto known = mOwnerColours.find(owner);
    if (known != mOwnerColours.end()) return known->second;
    auto pair = static_cast<short>(mOwnerColours.size() % std::size(kPalette) + 1);
    init_pair(pair, kPalette[pair - 1], -1);
    mOwnerColours.emplace(owner, pair);
    return pair;
}

void LiveScreen::draw() {
    erase();
    const int rows = LINES;
    const int width = COLS;
    // Text from column x on, cut at the right edge; a cell is a character,
    // of `bytes` bytes each. The column after it.
    auto put = [&](int y, int x, const std::string& text, int bytes = 1) {
        int cells = static_cast<int>(text.size()) / bytes;
        if (y < rows && x < width) {
            mvaddnstr(y, x, text.c_str(), std::min(cells, width - x) * bytes);
        }
        return x + cells;
    };
    put(0, 0, "c2info-triage --follow " + mInput + "    q quits");
    size_t verdictWidth = strlen("verdict");
    for (const StreamResult& stream : mStreams) {
        verdictWidth = std::max(verdictWidth, stream.verdict.owner.size());
    }
    const int verdictWidthInt = static_cast<int>(verdictWidth);
    attron(A_BOLD);
    put(2, 0,
        formatted("%-5s %-19s %-9s %5s %5s %-10s %-14s %-*s %s", "strId", "component", "size",
                  "in/s", "dec/s", "ES/FB/VDEC", "late/drop/skip", verdictWidthInt, "verdict",
                  "decode, 1 min"));
    attroff(A_BOLD);
    int y = 3;
    for (const StreamResult& stream : mStreams) {
        if (!stream.record) continue;
        const auto& record = *stream.record;
        std::string late = "-";
        if (stream.lastChange) {
            late = formatted("%d/%d/%d", stream.lastChange->decodeLate, stream.lastChange->drop,
                             stream.lastChange->skip);
        }
        std::string pending = formatted("%d/%d/%d", record.pendingES, record.pendingFB,
                                        decoderPending(record.pop, record.skip, record.get));
        int x = put(y, 0,
                    formatted("%-5u %-19.19s %-9s %5.1f %5.1f %-10s %-14s ",
                              stream.verdict.streamId, stream.verdict.component.c_str(),
                              formatted("%dx%d", record.width, record.height).c_str(),
                              record.inputFps, record.decodeFps, pending.c_str(), late.c_str()));
        short pair = mColours ? colourOf(stream.verdict.owner) : 0;
        if (pair != 0) attron(COLOR_PAIR(pair));
        x = put(y, x, formatted("%-*s ", verdictWidthInt, stream.verdict.owner.c_str()));
        if (pair != 0) attroff(COLOR_PAIR(pair));
        put(y, x, sparkline(mDecodeRates[stream.verdict.streamId]), kSparkBytes);
        ++y;
    }
    if (mStreams.empty() || (mStreams.size() == 1 && !mStreams.front().record)) {
        put(y++, 0, mStreams.empty() ? "waiting for a dump" : "no stream");
    }
    ++y;
    attron(A_BOLD);
    put(y++, 0, "changes");
    attroff(A_BOLD);
    size_t room = y < rows ? static_cast<size_t>(rows - y) : 0;
    size_t first = mLog.size() > room ? mLog.size() - room : 0;
    for (size_t i = first; i < mLog.size(); ++i) put(y++, 0, mLog[i]);
    refresh();
}

}  // namespace triage
