#include "HtmlPage.h"

#include <PageAssets.h>

#include <algorithm>
#include <cmath>

#include "Rows.h"

namespace triage {

namespace {

// The row's columns whose texts go into the table of repeated texts.
const char* const kTextColumns[] = {"component", "finding", "owner"};

// The record's counters shown beside their change over the last second, in
// the order of countersOf(); the record also says whether it is SideBand.
const char* const kCounters[] = {"decode",   "input",    "push",          "pop",       "skip",
                                 "queue",    "get",      "drop",          "inputLate", "decodeLate",
                                 "fbLate",   "inputFps", "decodeFps",     "pendingES", "pendingFB",
                                 "queueCnt", "flipCnt",  "pendingRender", "sideBand"};

// Two decimals are all a person reads off a rate, and keep the data small.
double rounded(double value) {
    return std::round(value * 100) / 100;
}

// A record and a difference name these members alike.
template <typename Counts>
nlohmann::json countersOf(const Counts& c) {
    return {c.decode,
            c.input,
            c.push,
            c.pop,
            c.skip,
            c.queue,
            c.get,
            c.drop,
            c.inputLate,
            c.decodeLate,
            c.fbLate,
            rounded(c.inputFps),
            rounded(c.decodeFps),
            c.pendingES,
            c.pendingFB,
            c.queueCnt,
            c.flipCnt,
            c.pendingRender};
}

// The history's counts a second, from each point's change.
const std::pair<const char*, int32_t _DiffInfo::*> kPerSecond[] = {
        {"inputLate", &_DiffInfo::inputLate}, {"decodeLate", &_DiffInfo::decodeLate},
        {"fbLate", &_DiffInfo::fbLate},       {"drop", &_DiffInfo::drop},
        {"skip", &_DiffInfo::skip},           {"queueCnt", &_DiffInfo::queueCnt},
        {"flipCnt", &_DiffInfo::flipCnt}};

const char* markName(MarkKind kind) {
    switch (kind) {
        case MarkKind::kAppear:
            return "appear";
        case MarkKind::kDisappear:
            return "disappear";
        case MarkKind::kResize:
            return "resize";
    }
    return "";
}

// Nothing in the data may end its script element or be read as markup;
// U+2028 and U+2029 end a line in older script parsers.
std::string escapedForScript(const std::string& json) {
    std::string out;
    out.reserve(json.size() + json.size() / 16);
    size_t done = 0;
    for (size_t at = json.find_first_of("<>&\xe2"); at != std::string::npos;
         at = json.find_first_of("<>&\xe2", done)) {
        out.append(json, done, at - done);
        done = at + 1;
        if (json[at] == '<') {
            out += "\\u003c";
        } else if (json[at] == '>') {
            out += "\\u003e";
        } else if (json[at] == '&') {
            out += "\\u0026";
        } else if (json.compare(at, 3, "\xe2\x80\xa8") == 0) {
            out += "\\u2028";
            done = at + 3;
        } else if (json.compare(at, 3, "\xe2\x80\xa9") == 0) {
            out += "\\u2029";
            done = at + 3;
        } else {
            out += json[at];
        }
    }
    out.append(json, done, std::string::npos);
    return out;
}

}  // namespace

size_t HtmlPage::textIndex(const std::string& text) {
    auto [it, added] = mTextIndex.try_emplace(text, mTexts.size());
    if (added) mTexts.push_back(text);
    return it->second;
}

void HtmlPage::add(const Outcome& outcome) {
    size_t input = mInputs.size();
    mInputs.push_back({outcome.path, outcome.entry, outcome.error});
    for (const StreamResult& stream : outcome.streams) {
        nlohmann::json row = nlohmann::json::array({input});
        const nlohmann::ordered_json fields = streamRow(outcome, stream);
        for (auto& [column, value] : fields.items()) {
            if (column == "source" || column == "entry") continue;
            bool repeated = std::find(std::begin(kTextColumns), std::end(kTextColumns), column) !=
                            std::end(kTextColumns);
            row.push_back(repeated ? nlohmann::json(textIndex(value)) : nlohmann::json(value));
        }
        nlohmann::json lines = nlohmann::json::array();
        for (size_t begin = 0; begin < stream.analysis.size();) {
            size_t end = stream.analysis.find('\n', begin);
            if (end == std::string::npos) end = stream.analysis.size();
            lines.push_back(textIndex(stream.analysis.substr(begin, end - begin)));
            begin = end + 1;
        }
        row.push_back(std::move(lines));
        nlohmann::json record = nullptr;
        if (stream.record) {
            record = countersOf(*stream.record);
            record.push_back(stream.record->sideBand != 0);
        }
        row.push_back(std::move(record));
        row.push_back(stream.lastChange ? countersOf(*stream.lastChange) : nlohmann::json());
        mRows.push_back(std::move(row));
    }
    for (const StreamHistory& stream : outcome.history.streams) {
        mHistories.push_back(historyOf(input, stream));
    }
}

// Column by column on the record times (the page counts seconds from the
// input's first record); counts a second from each point's change, null
// where the stream was not seen the record before.
nlohmann::json HtmlPage::historyOf(size_t input, const StreamHistory& stream) {
    nlohmann::json series = nlohmann::json::object();
    nlohmann::json t = nlohmann::json::array(), owners = nlohmann::json::array(),
                   findings = nlohmann::json::array();
    auto level = [&](const char* name, nlohmann::json value) {
        series[name].push_back(std::move(value));
    };
    bool sideBand = false;
    for (const HistoryPoint& point : stream.points) {
        const _DebugDescription& r = point.record;
        const std::optional<_DiffInfo>& c = point.change;
        sideBand |= r.sideBand != 0;
        t.push_back(point.ms);
        owners.push_back(textIndex(point.verdict.owner));
        findings.push_back(textIndex(point.verdict.finding));
        level("decodeFps", rounded(r.decodeFps));
        level("inputFps", rounded(r.inputFps));
        level("pendingES", r.pendingES);
        level("pendingFB", r.pendingFB);
        level("pendingVDEC", int64_t{r.pop} - r.skip - r.get);
        level("pendingRender", r.pendingRender);
        for (const auto& [name, member] : kPerSecond) {
            bool known = c && c->diffNs > 0;
            level(name, known ? nlohmann::json(rounded((*c).*member * 1e9 / c->diffNs))
                              : nlohmann::json());
        }
    }
    nlohmann::json marks = nlohmann::json::array();
    for (const HistoryMark& mark : stream.marks) {
        marks.push_back({mark.ms, markName(mark.kind), mark.text});
    }
    return {{"input", input},
            {"stream", stream.streamId},
            {"component", stream.component},
            {"sideBand", sideBand},
            {"ms", std::move(t)},
            {"owner", std::move(owners)},
            {"finding", std::move(findings)},
            {"series", std::move(series)},
            {"marks", std::move(marks)}};
}

bool HtmlPage::write(FILE* out) const {
    nlohmann::json columns = nlohmann::json::array();
    const nlohmann::ordered_json fields = streamRow({}, {});
    for (auto& [column, value] : fields.items()) {
        if (column != "source" && column != "entry") columns.push_back(column);
    }
    // Member by member, so that the rows are not copied into one document.
    const std::pair<const char*, nlohmann::json> small[] = {
            {"columns", columns}, {"textColumns", kTextColumns}, {"counters", kCounters}};
    const std::pair<const char*, const nlohmann::json*> members[] = {
            {"texts", &mTexts},
            {"columns", &small[0].second},
            {"textColumns", &small[1].second},
            {"counters", &small[2].second},
            {"inputs", &mInputs},
            {"rows", &mRows},
            {"histories", &mHistories}};
    fputs(kPageBeforeData, out);
    const char* separator = "{";
    for (const auto& [name, value] : members) {
        std::string json = escapedForScript(
                value->dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
        fprintf(out, "%s\"%s\":", separator, name);
        fwrite(json.data(), 1, json.size(), out);
        separator = ",";
    }
    fputs("}", out);
    fputs(kPageAfterData, out);
    return fflush(out) == 0 && ferror(out) == 0;
}

}  // namespace triage
