// The page of c2info-triage --html: one file that opens offline, carries
// what the triage found as readable JSON, and draws from it the fleet's
// verdicts and each recorded stream's story.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "Fleet.h"
#include "Triage.h"

namespace triage {

// How many streams the page's table holds unless told otherwise: a month's
// store would otherwise be a page no browser opens in seconds.
constexpr size_t kPageStreams = 10000;

class HtmlPage {
public:
    // The table of streams and the lists of inputs hold those of the newest
    // inputs (by the time their bugreport was taken, then by the order they
    // came in) up to `streams` rows, 0 for no limit; an input without a
    // stream takes a row's place. Everything counted covers every input.
    explicit HtmlPage(size_t streams = kPageStreams);
    // Outcomes come in input order, refused inputs included.
    void add(const Outcome& outcome);
    // Each input the page holds, for what its details lack (a store reads
    // a stream's details only for the inputs a page holds).
    void forEachHeld(const std::function<void(Outcome&)>& complete);
    // False when the page could not be written whole.
    bool write(FILE* out);

private:
    // An input the page lists, whose streams are rows of its table.
    struct Held {
        size_t order;
        // Without the report's text and history, which the page shows
        // otherwise or not at all.
        Outcome outcome;
        // The places it takes among the page's rows.
        size_t places() const { return std::max<size_t>(1, outcome.streams.size()); }
        // The newer input is the greater.
        bool operator>(const Held& other) const {
            return std::tie(outcome.takenAt, order) > std::tie(other.outcome.takenAt, other.order);
        }
    };
    // Counts of a split, in the order their keys first came.
    struct Tally {
        nlohmann::json counts = nlohmann::json::array();
        std::unordered_map<std::string, size_t> index;
        void count(const nlohmann::json& key);
    };

    void hold(Held held, bool pinned);
    void count(const Outcome& outcome);
    nlohmann::json inputOf(const Outcome& outcome);
    nlohmann::json rowOf(const StreamResult& stream, const Outcome& outcome, size_t input);
    // Texts that repeat across rows and points (owners, findings, analysis
    // lines) are written once and referenced by index.
    size_t textIndex(const std::string& text);
    // Analysis lines repeat too: each is its text, its kind and whether it
    // holds only on an assumption.
    size_t lineIndex(const ::vendor::larkspan::hardware::c2::info::implementation::OwnerLine& line);
    nlohmann::json historyOf(const StreamHistory& stream);
    // The release view's data, null when the reports span one build and
    // one day; `held` as write() lists them.
    nlohmann::json release(const std::vector<const Held*>& held) const;

    nlohmann::json mTexts = nlohmann::json::array();
    std::unordered_map<std::string, size_t> mTextIndex;
    nlohmann::json mLines = nlohmann::json::array();
    std::unordered_map<std::string, size_t> mLineIndex;
    // The name of each input source the rows hold.
    nlohmann::json mInputSourceNames = nlohmann::json::object();
    const size_t mLimit;
    // The newest inputs as a heap, the oldest on top; an input with a
    // history is always held, beside them.
    std::vector<Held> mHeld;
    std::vector<Held> mPinned;
    size_t mHeldPlaces = 0;
    size_t mInputs = 0, mRefused = 0, mStreams = 0;
    size_t mLeftOutInputs = 0, mLeftOutStreams = 0;
    Tally mOwners, mComponents, mInputSources;
    // Each history with its input's order.
    std::vector<std::pair<size_t, nlohmann::json>> mHistories;
    std::vector<FleetReport> mFleet;
};

}  // namespace triage
