#include "HtmlPage.h"

#include <DebugReports.h>
#include <PageAssets.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "ByBuild.h"
#include "Detail.h"
#include "Rows.h"

namespace triage {

namespace {

using ::vendor::larkspan::hardware::c2::info::implementation::decoderPending;
using ::vendor::larkspan::hardware::c2::info::implementation::inputSourceName;
using ::vendor::larkspan::hardware::c2::info::implementation::OwnerLine;

// Two decimals are all a person reads off a rate, and keep the data small.
double rounded(double value) {
    return std::round(value * 100) / 100;
}

// The values in the order of visitCounters(); null where the stream has
// no such counter.
template <typename Counts>
nlohmann::json countersOf(const Counts& c, bool sideBand) {
    nlohmann::json values = nlohmann::json::array();
    visitCounters(c, [&](const Counter& counter, auto value) {
        if (counter.sideBandOnly && !sideBand) {
            values.push_back(nullptr);
        } else if constexpr (std::is_floating_point_v<decltype(value)>) {
            values.push_back(rounded(value));
        } else {
            values.push_back(value);
        }
    });
    return values;
}

nlohmann::json counterNames() {
    nlohmann::json names = nlohmann::json::array();
    const _DiffInfo none{};
    visitCounters(none, [&](const Counter& counter, auto) {
        names.push_back({counter.name, counter.label});
    });
    return names;
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

size_t HtmlPage::lineIndex(const OwnerLine& line) {
    std::string key = line.text;
    key += static_cast<char>('0' + static_cast<int>(line.kind));
    key += line.assumed ? '+' : '-';
    auto [it, added] = mLineIndex.try_emplace(std::move(key), mLines.size());
    if (added) mLines.push_back({textIndex(line.text), lineKindName(line.kind), line.assumed});
    return it->second;
}

HtmlPage::HtmlPage(size_t streams) : mLimit(streams) {}

void HtmlPage::Tally::count(const nlohmann::json& key) {
    auto [it, added] = index.try_emplace(key.dump(), counts.size());
    if (added) counts.push_back({key, 0});
    counts[it->second][1] = counts[it->second][1].get<size_t>() + 1;
}

// What the page counts covers every input, held or not.
void HtmlPage::count(const Outcome& outcome) {
    ++mInputs;
    if (!outcome.error.empty()) ++mRefused;
    mStreams += outcome.streams.size();
    for (const StreamResult& stream : outcome.streams) {
        const OwnerVerdict& verdict = stream.verdict;
        mOwners.count(textIndex(verdict.owner));
        mComponents.count(verdict.component);
        mInputSources.count(verdict.hasStream ? nlohmann::json(verdict.inputSource)
                                              : nlohmann::json());
        if (verdict.hasStream) {
            mInputSourceNames[std::to_string(verdict.inputSource)] =
                    inputSourceName(static_cast<uint8_t>(verdict.inputSource));
        }
    }
    if (outcome.error.empty()) mFleet.push_back(fleetReportOf(outcome));
}

nlohmann::json HtmlPage::inputOf(const Outcome& outcome) {
    nlohmann::json values = nlohmann::json::array();
    for (const Column& column : kColumns) {
        if (column.kind == ColumnKind::kInput) values.push_back(jsonOf(column.read(outcome, {})));
    }
    values.push_back(outcome.error);
    return values;
}

nlohmann::json HtmlPage::rowOf(const StreamResult& stream, const Outcome& outcome, size_t input) {
    nlohmann::json row = nlohmann::json::array({input});
    for (const Column& column : kColumns) {
        if (column.kind == ColumnKind::kInput) continue;
        Cell cell = column.read(outcome, stream);
        row.push_back(column.kind == ColumnKind::kText
                              ? nlohmann::json(textIndex(std::get<std::string>(cell)))
                              : jsonOf(cell));
    }
    nlohmann::json lines = nlohmann::json::array();
    for (const OwnerLine& line : stream.verdict.lines) lines.push_back(lineIndex(line));
    row.push_back(std::move(lines));
    bool sideBand = stream.record && stream.record->sideBand != 0;
    row.push_back(stream.record ? countersOf(*stream.record, sideBand) : nlohmann::json());
    row.push_back(stream.lastChange ? countersOf(*stream.lastChange, sideBand) : nlohmann::json());
    return row;
}

void HtmlPage::hold(Held held, bool pinned) {
    mHeldPlaces += held.places();
    if (pinned) {
        mPinned.push_back(std::move(held));
    } else {
        mHeld.push_back(std::move(held));
        std::push_heap(mHeld.begin(), mHeld.end(), std::greater<>());
    }
    while (mLimit != 0 && mHeldPlaces > mLimit && !mHeld.empty()) {
        std::pop_heap(mHeld.begin(), mHeld.end(), std::greater<>());
        mHeldPlaces -= mHeld.back().places();
        ++mLeftOutInputs;
        mLeftOutStreams += mHeld.back().outcome.streams.size();
        mHeld.pop_back();
    }
}

void HtmlPage::add(const Outcome& outcome) {
    count(outcome);
    Held held{mInputs, {}};
    held.outcome.takenAt = outcome.takenAt;
    const bool pinned = !outcome.history.streams.empty();
    // An input older than every held one, with no room for it, is left out
    // before it is copied.
    if (!pinned && mLimit != 0 && !mHeld.empty() &&
        mHeldPlaces + std::max<size_t>(1, outcome.streams.size()) > mLimit &&
        mHeld.front() > held) {
        ++mLeftOutInputs;
        mLeftOutStreams += outcome.streams.size();
        return;
    }
    held.outcome = outcome;
    held.outcome.report.clear();
    held.outcome.history = {};
    for (const StreamHistory& stream : outcome.history.streams) {
        mHistories.emplace_back(held.order, historyOf(stream));
    }
    hold(std::move(held), pinned);
}

void HtmlPage::forEachHeld(const std::function<void(Outcome&)>& complete) {
    for (std::vector<Held>* list : {&mPinned, &mHeld}) {
        for (Held& input : *list) complete(input.outcome);
    }
}

// Column by column on the record times (the page counts seconds from the
// input's first record); counts a second from each point's change, null
// where the stream was not seen the record before.
nlohmann::json HtmlPage::historyOf(const StreamHistory& stream) {
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
        level("pendingVDEC", decoderPending(r.pop, r.skip, r.get));
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
    return {{"input", nullptr},
            {"stream", stream.streamId},
            {"component", stream.component},
            {"sideBand", sideBand},
            {"ms", std::move(t)},
            {"owner", std::move(owners)},
            {"finding", std::move(findings)},
            {"series", std::move(series)},
            {"marks", std::move(marks)}};
}

// The table --by-build --json prints; each build's rollout day; each day's
// reports with each module; and, so that the page compares any two builds
// without statistics of its own, every ordered pair's changes.
nlohmann::json HtmlPage::release(const std::vector<const Held*>& held) const {
    FleetHealth fleet = judgeFleet(mFleet);
    if (fleet.builds.size() < 2 && fleet.days.size() < 2) return nullptr;
    nlohmann::json builds = nlohmann::json::array(), pairs = nlohmann::json::array(),
                   days = nlohmann::json::array(), rowModules = nlohmann::json::array();
    for (const BuildHealth& from : fleet.builds) {
        builds.push_back({from.build, dayOf(from.firstTakenAt)});
        nlohmann::json row = nlohmann::json::array();
        for (const BuildHealth& to : fleet.builds) {
            nlohmann::json changes = nlohmann::json::array();
            for (const ShareChange& change : compareBuilds(from, to))
                changes.push_back({rounded(change.change * 100), change.p, change.mark});
            row.push_back(std::move(changes));
        }
        pairs.push_back(std::move(row));
    }
    for (const DayCount& day : fleet.days) days.push_back({day.day, day.reports, day.reportsWith});
    for (const Held* input : held) {
        for (const StreamResult& stream : input->outcome.streams) {
            auto at = std::find(fleet.modules.begin(), fleet.modules.end(), stream.verdict.module);
            rowModules.push_back(at == fleet.modules.end()
                                         ? nlohmann::json()
                                         : nlohmann::json(at - fleet.modules.begin()));
        }
    }
    return {{"columns", byBuildColumns()}, {"table", byBuildJson(fleet)},
            {"modules", fleet.modules},    {"unknownBuild", kUnknownBuild},
            {"builds", std::move(builds)}, {"pairs", std::move(pairs)},
            {"days", std::move(days)},     {"rowModules", std::move(rowModules)}};
}

bool HtmlPage::write(FILE* out) {
    nlohmann::json columns = nlohmann::json::array(), inputColumns = nlohmann::json::array(),
                   textColumns = nlohmann::json::array();
    for (const Column& column : kColumns) {
        columns.push_back(column.name);
        if (column.kind == ColumnKind::kInput) inputColumns.push_back(column.name);
        if (column.kind == ColumnKind::kText) textColumns.push_back(column.name);
    }
    // In the order they came when nothing was left out, else newest first.
    std::vector<const Held*> held;
    for (const std::vector<Held>* list : {&mPinned, &mHeld}) {
        for (const Held& input : *list) held.push_back(&input);
    }
    std::sort(held.begin(), held.end(), [this](const Held* a, const Held* b) {
        return mLeftOutInputs == 0 ? a->order < b->order : *a > *b;
    });
    nlohmann::json inputs = nlohmann::json::array(), rows = nlohmann::json::array(),
                   histories = nlohmann::json::array();
    std::unordered_map<size_t, size_t> inputIndex;
    for (const Held* input : held) {
        inputIndex[input->order] = inputs.size();
        for (const StreamResult& stream : input->outcome.streams) {
            rows.push_back(rowOf(stream, input->outcome, inputs.size()));
        }
        inputs.push_back(inputOf(input->outcome));
    }
    for (const auto& [order, history] : mHistories) {
        histories.push_back(history);
        histories.back()["input"] = inputIndex.at(order);
    }
    const nlohmann::json counts = {{"inputs", mInputs},
                                   {"refused", mRefused},
                                   {"streams", mStreams},
                                   {"limit", mLimit},
                                   {"leftOutInputs", mLeftOutInputs},
                                   {"leftOutStreams", mLeftOutStreams}};
    const nlohmann::json splits = {{"owner", mOwners.counts},
                                   {"component", mComponents.counts},
                                   {"inputSource", mInputSources.counts}};
    // Member by member, so that the rows are not copied into one document.
    const nlohmann::json counters = counterNames();
    const nlohmann::json releaseData = release(held);
    const std::pair<const char*, const nlohmann::json*> members[] = {
            {"texts", &mTexts},
            {"lines", &mLines},
            {"columns", &columns},
            {"inputColumns", &inputColumns},
            {"textColumns", &textColumns},
            {"counters", &counters},
            {"inputSourceNames", &mInputSourceNames},
            {"counts", &counts},
            {"splits", &splits},
            {"inputs", &inputs},
            {"rows", &rows},
            {"histories", &histories},
            {"release", &releaseData}};
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
