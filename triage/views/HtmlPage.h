// The page of c2info-triage --html: one file that opens offline, carries
// what the triage found as readable JSON, and draws from it the fleet's
// verdicts and each recorded stream's story.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_map>

#include "Fleet.h"
#include "Triage.h"

namespace triage {

class HtmlPage {
public:
    // Outcomes come in input order, refused inputs included.
    void add(const Outcome& outcome);
    // False when the page could not be written whole.
    bool write(FILE* out) const;

private:
    // Texts that repeat across rows and points (owners, findings, analysis
    // lines) are written once and referenced by index.
    size_t textIndex(const std::string& text);
    // Analysis lines repeat too: each is its text, its kind and whether it
    // holds only on an assumption.
    size_t lineIndex(const ::vendor::larkspan::hardware::c2::info::implementation::OwnerLine& line);
    nlohmann::json historyOf(size_t input, const StreamHistory& stream);
    // The release view's data, null when the reports span one build and
    // one day.
    nlohmann::json release() const;

    nlohmann::json mTexts = nlohmann::json::array();
    std::unordered_map<std::string, size_t> mTextIndex;
    nlohmann::json mLines = nlohmann::json::array();
    std::unordered_map<std::string, size_t> mLineIndex;
    // The name of each input source the rows hold.
    nlohmann::json mInputSourceNames = nlohmann::json::object();
    nlohmann::json mInputs = nlohmann::json::array();
    nlohmann::json mRows = nlohmann::json::array();
    nlohmann::json mHistories = nlohmann::json::array();
    std::vector<FleetReport> mFleet;
    // Each row's module, as the stream's verdict groups it.
    std::vector<std::string> mRowModules;
};

}  // namespace triage
