#include "DumpReader.h"

#include <DebugFields.h>
#include <DebugReports.h>
#include <DumpLayout.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <unordered_map>

namespace triage {
namespace {

namespace service = ::vendor::larkspan::hardware::c2::info::implementation;
using service::DebugField;
using service::findDebugField;

// The lines of the report's blocks that follow their first, in order.
// The snapshot block's run from its record time's line to its closing
// rule, its SideBand section only for SideBand streams.
const std::vector<const char*> kSnapshotBefore = {
        service::kDashRule.text,  service::kStateLine,     service::kReleaseLine,
        service::kModeLine,       service::kPictureLine,   service::kDashRule.text,
        service::kDecodeHeader,   service::kDecodeLine,    service::kDashRule.text,
        service::kInputHeader,    service::kInputLine,     service::kDashRule.text,
        service::kBufferLine,     service::kDashRule.text, service::kTunnelLine,
        service::kFirstFrameLine,
};
const std::vector<const char*> kSnapshotSideBand = {
        service::kSideBandHeader, service::kSideBandStateLine, service::kSideBandQueueLine,
        service::kClockLine,      service::kDtvDropLine,       service::kDtvDropTimeLine,
};
const std::vector<const char*> kSnapshotAfter = {
        service::kExternalInputHeader,   service::kExternalInputLine,
        service::kExternalInputModeLine, service::kExternalInputPictureLine,
        service::kEqualsRule.text,
};
// The difference block's run after the rule under its first line.
const std::vector<const char*> kDifferenceBefore = {
        service::kDecodeHeader,         service::kDecodeLine, service::kDashRule.text,
        service::kInputHeader,          service::kInputLine,  service::kDashRule.text,
        service::kDifferenceBufferLine,
};
const std::vector<const char*> kDifferenceSideBand = {
        service::kSideBandHeader,
        service::kDifferenceQueueLine,
        service::kClockLine,
};
const std::vector<const char*> kDifferenceAfter = {
        service::kC2BwmHeader,
        service::kC2BwmLine,
        service::kEqualsRule.text,
};

// What a placeholder fills, decided when its template is compiled.
enum class Slot : uint8_t {
    kIgnore,
    kField,  // a member of the record, found by its name
    kStreamId,
    kPostProcess,  // printed inverted
    kDecodeFps,
    kInputFps,
    kFrameInterval,  // printed in thousands, with one decimal
    kRecordTime,
    kExecuteCount,
    kFinishCount,
    kExecuteFlushCount,
    kC2BwmPending,
    kSnapshotCount,
    kLatestIndex,
    kGenerationIndex,
};

// The literal before a value, then the value; the last piece has no value.
struct Piece {
    std::string_view literal;
    bool hasValue;
    char kind;
    Slot slot;
    std::string_view name;
    const DebugField* field;
};
using Template = std::vector<Piece>;

bool isC2BwmDifference(Slot slot) {
    return slot == Slot::kExecuteCount || slot == Slot::kFinishCount ||
           slot == Slot::kExecuteFlushCount || slot == Slot::kC2BwmPending;
}

Slot slotOf(std::string_view name) {
    static const std::pair<std::string_view, Slot> kSlots[] = {
            {"-", Slot::kIgnore},
            {"streamId", Slot::kStreamId},
            {"postProcess", Slot::kPostProcess},
            {"decodeFps", Slot::kDecodeFps},
            {"inputFps", Slot::kInputFps},
            {"frameInterval", Slot::kFrameInterval},
            {"recordTime", Slot::kRecordTime},
            {"executeCount", Slot::kExecuteCount},
            {"finishCount", Slot::kFinishCount},
            {"executeFlushCount", Slot::kExecuteFlushCount},
            {"c2BwmPending", Slot::kC2BwmPending},
            {"snapshotCount", Slot::kSnapshotCount},
            {"latestIndex", Slot::kLatestIndex},
            {"index", Slot::kGenerationIndex},
    };
    for (const auto& [slotName, slot] : kSlots) {
        if (slotName == name) return slot;
    }
    return Slot::kField;
}

Template compile(std::string_view pattern) {
    Template pieces;
    for (;;) {
        size_t open = pattern.find('{');
        if (open == std::string_view::npos) {
            pieces.push_back({pattern, false, 'd', Slot::kIgnore, {}, nullptr});
            return pieces;
        }
        size_t close = pattern.find('}', open);
        std::string_view name = pattern.substr(open + 1, close - open - 1);
        // The conversion's last letter: d or u, x, f or s.
        size_t colon = name.find(':');
        char kind = name.back();
        name = name.substr(0, colon);
        Slot slot = slotOf(name);
        const DebugField* field = slot == Slot::kField ? findDebugField(name) : nullptr;
        if (slot == Slot::kField && field == nullptr) {
            throw std::logic_error("template names no field: " + std::string(name));
        }
        pieces.push_back({pattern.substr(0, open), true, kind, slot, name, field});
        pattern.remove_prefix(close + 1);
    }
}

std::vector<Template> compileAll(const std::vector<const char*>& patterns) {
    std::vector<Template> templates;
    for (const char* pattern : patterns) templates.push_back(compile(pattern));
    return templates;
}

struct Templates {
    Template reportHeader = compile(service::kReportHeader);
    Template generationBegin = compile(service::kGenerationBegin);
    Template generationEnd = compile(service::kGenerationEnd);
    Template snapshotFirst = compile(service::kSnapshotFirst);
    Template recordTime = compile(service::kRecordTimeLine);
    std::vector<Template> snapshotBefore = compileAll(kSnapshotBefore);
    std::vector<Template> snapshotSideBand = compileAll(kSnapshotSideBand);
    std::vector<Template> snapshotAfter = compileAll(kSnapshotAfter);
    Template differenceFirst = compile(service::kDifferenceFirst);
    std::vector<Template> differenceBefore = compileAll(kDifferenceBefore);
    std::vector<Template> differenceSideBand = compileAll(kDifferenceSideBand);
    std::vector<Template> differenceAfter = compileAll(kDifferenceAfter);
};

// Compiled on first use, once for every thread.
const Templates& templates() {
    static const Templates kTemplates;
    return kTemplates;
}

struct Value {
    const Piece* piece;
    std::string_view text;
};

// Whether the line has the template's shape; its values go to *values.
// With `rest`, the line may go on after it, and *rest is what follows.
bool match(std::string_view line, const Template& pieces, std::vector<Value>* values,
           std::string_view* rest = nullptr) {
    values->clear();
    size_t at = 0;
    for (size_t i = 0; i < pieces.size(); ++i) {
        const Piece& piece = pieces[i];
        if (line.substr(at, piece.literal.size()) != piece.literal) return false;
        at += piece.literal.size();
        if (!piece.hasValue) break;
        size_t end;
        if (piece.kind == 's') {
            // Text may hold the literal that follows it: the last one ends it.
            std::string_view next = pieces[i + 1].literal;
            end = next.empty() ? line.size() : line.rfind(next);
            if (end == std::string_view::npos || end < at) return false;
        } else {
            while (at < line.size() && line[at] == ' ') ++at;
            end = at;
            auto numeric = [&](char c) {
                if (piece.kind == 'x') return isxdigit(static_cast<unsigned char>(c)) != 0;
                if (piece.kind == 'f') return c != ' ' && c != '/' && c != ')';
                return isdigit(static_cast<unsigned char>(c)) != 0 || (c == '-' && end == at);
            };
            while (end < line.size() && numeric(line[end])) ++end;
            if (end == at) return false;
        }
        values->push_back({&piece, line.substr(at, end - at)});
        at = end;
    }
    if (rest != nullptr) *rest = line.substr(at);
    return rest != nullptr || at == line.size();
}

struct Integer {
    bool negative;
    int64_t signedValue;
    uint64_t unsignedValue;
};

bool parseInteger(std::string_view text, char kind, Integer* value) {
    const char* end = text.data() + text.size();
    value->negative = text[0] == '-';
    std::from_chars_result parsed =
            value->negative ? std::from_chars(text.data(), end, value->signedValue)
                            : std::from_chars(text.data(), end, value->unsignedValue,
                                              kind == 'x' ? 16 : 10);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

// Stores an integer in a field of type T. An unsigned field of 32 bits may
// have been printed as a signed number ("%d").
template <typename T>
bool storeInteger(T* field, const Integer& value) {
    if (!value.negative) {
        if (value.unsignedValue > std::numeric_limits<T>::max()) return false;
        *field = static_cast<T>(value.unsignedValue);
        return true;
    }
    int64_t lowest = std::is_signed_v<T> ? static_cast<int64_t>(std::numeric_limits<T>::lowest())
                     : sizeof(T) == 4    ? std::numeric_limits<int32_t>::lowest()
                                         : 0;
    if (value.signedValue < lowest) return false;
    *field = static_cast<T>(value.signedValue);
    return true;
}

// The seconds of a local time as printed ("%m-%d %H:%M:%S"). The year is
// not printed; 2000 gives every day of the calendar its date.
bool parseLocalSeconds(std::string_view text, time_t* seconds) {
    tm local{};
    int consumed = 0;
    std::string copy(text);
    if (sscanf(copy.c_str(), "%2d-%2d %2d:%2d:%2d%n", &local.tm_mon, &local.tm_mday, &local.tm_hour,
               &local.tm_min, &local.tm_sec, &consumed) != 5 ||
        consumed != static_cast<int>(copy.size())) {
        return false;
    }
    local.tm_mon -= 1;
    local.tm_year = 100;
    local.tm_isdst = -1;
    *seconds = mktime(&local);
    return *seconds != -1;
}

// The most lines a component's name is followed across.
constexpr int kMostNameLines = 16;
// The widest a long of nanoseconds divided by a million gets.
constexpr long kMostMilliseconds = std::numeric_limits<long>::max() / 1000000L;

class Reader {
public:
    explicit Reader(std::string_view text) : mText(text), mTemplates(templates()) {}

    Dump read() {
        while (nextLine()) {
            if (mLine == service::kEqualsRule.text) {
                readBlock();
            } else if (match(mLine, mTemplates.reportHeader, &mValues)) {
                mDump.passes.emplace_back().hasHeader = true;
                storeValues(nullptr, nullptr);
            } else if (match(mLine, mTemplates.generationBegin, &mValues)) {
                pass().generations.emplace_back();
                storeValues(nullptr, nullptr);
            } else if (match(mLine, mTemplates.generationEnd, &mValues)) {
                generation().ended = true;
            }
        }
        if (mDump.passes.empty() && mDump.dropped.empty()) {
            throw DumpError("no report of the service in it");
        }
        return std::move(mDump);
    }

private:
    // Where blocks go: text pasted without the report's own lines still
    // gets a pass and a generation to hold them.
    Pass& pass() {
        if (mDump.passes.empty()) mDump.passes.emplace_back();
        return mDump.passes.back();
    }

    Generation& generation() {
        Pass& current = pass();
        if (current.generations.empty() || current.generations.back().ended) {
            current.generations.emplace_back();
        }
        return current.generations.back();
    }

    // The next line without its line end and trailing blanks; false at the
    // end of the text.
    bool nextLine() {
        if (mNext >= mText.size()) return false;
        size_t end = mText.find('\n', mNext);
        mLastLineEnded = end != std::string_view::npos;
        if (!mLastLineEnded) end = mText.size();
        mLine = mText.substr(mNext, end - mNext);
        mNext = end + 1;
        ++mLineNumber;
        while (!mLine.empty() &&
               (mLine.back() == '\r' || mLine.back() == ' ' || mLine.back() == '\t')) {
            mLine.remove_suffix(1);
        }
        return true;
    }

    void readBlock() {
        if (!nextLine()) return;
        int first = mLineNumber;
        size_t start = static_cast<size_t>(mLine.data() - mText.data());
        std::string_view rest;
        if (match(mLine, mTemplates.differenceFirst, &mValues, &rest)) {
            Difference difference{0, {}};
            integer(mValues[0], &difference.streamId);
            if (!readDifferenceRest(rest, &difference)) {
                return drop("difference", difference.streamId, first);
            }
            pass().differences.push_back(difference);
            return;
        }
        // A block that starts as a snapshot's and cannot be read refuses the
        // whole text.
        if (mLine.rfind(blockStart(), 0) != 0) return;
        if (!matchFirstLine()) {
            if (mNext >= mText.size())
                return drop("snapshot", leadingId(mText.substr(start)), first);
            failAt(first, "not understood");
        }
        Snapshot snapshot{0, {}, {}};
        storeValues(&snapshot, nullptr);
        if (!readSnapshotRest(&snapshot)) return drop("snapshot", snapshot.streamId, first);
        generation().snapshots.push_back(std::move(snapshot));
    }

    // What a snapshot block's first line starts with.
    std::string_view blockStart() const { return mTemplates.snapshotFirst.front().literal; }

    // The stream id of a block cut in its first line, as far as it goes.
    uint32_t leadingId(std::string_view block) const {
        uint32_t streamId = 0;
        block.remove_prefix(blockStart().size());
        std::from_chars(block.data(), block.data() + block.size(), streamId);
        return streamId;
    }

    // A component's name is printed as it is, line breaks included: the
    // first line runs on to the "] 1/fr(" of the lines that follow.
    bool matchFirstLine() {
        if (match(mLine, mTemplates.snapshotFirst, &mValues)) return true;
        mJoined = mLine;
        for (int more = 0; more < kMostNameLines && nextLine(); ++more) {
            mJoined += '\n';
            mJoined += mLine;
            if (match(mJoined, mTemplates.snapshotFirst, &mValues)) return true;
        }
        return false;
    }

    bool readSnapshotRest(Snapshot* snapshot) {
        if (!nextLine()) return false;
        if (match(mLine, mTemplates.recordTime, &mValues)) {
            snapshot->recordTime = mValues[0].text;
            // A time of another shape is kept as printed: no check reads it.
            if (parseRecordTime(mValues[0].text, &snapshot->record.recordTime)) {
                const timespec& at = snapshot->record.recordTime;
                snapshot->record.recordTimeNs =
                        static_cast<uint64_t>(at.tv_sec) * 1000000000u + at.tv_nsec;
            }
            if (!nextLine()) return false;
        }
        if (!readLines(mTemplates.snapshotBefore, snapshot, nullptr, true)) return false;
        if (snapshot->record.sideBand != 0 &&
            !readLines(mTemplates.snapshotSideBand, snapshot, nullptr, false)) {
            return false;
        }
        return readLines(mTemplates.snapshotAfter, snapshot, nullptr, false);
    }

    // `rest` is what follows the first line's template: the record time.
    bool readDifferenceRest(std::string_view rest, Difference* difference) {
        // A time that could not be printed leaves the dash rule on this line.
        if (rest.size() < service::kRuleLength ||
            rest.substr(rest.size() - service::kRuleLength) != service::kDashRule.text) {
            if (!nextLine()) return false;
            expect(mLine == service::kDashRule.text);
        }
        if (!readLines(mTemplates.differenceBefore, nullptr, difference, false)) return false;
        if (!nextLine()) return false;
        if (mLine == service::kSideBandHeader) {
            const std::vector<Template>& sideBand = mTemplates.differenceSideBand;
            if (!readLines({sideBand.begin() + 1, sideBand.end()}, nullptr, difference, false) ||
                !nextLine()) {
                return false;
            }
        }
        return readLines(mTemplates.differenceAfter, nullptr, difference, true);
    }

    // Reads the lines of these templates into the snapshot or the
    // difference; the first one is the current line when `current` is set.
    // False when the text ends first.
    bool readLines(const std::vector<Template>& lines, Snapshot* snapshot, Difference* difference,
                   bool current) {
        for (const Template& line : lines) {
            if (!current && !nextLine()) return false;
            current = false;
            if (!match(mLine, line, &mValues)) {
                if (!mLastLineEnded) return false;  // cut in the middle of the line
                fail("not understood");
            }
            storeValues(snapshot, difference);
        }
        return true;
    }

    // The values of the line just matched, into the snapshot, the
    // difference or the report's header.
    void storeValues(Snapshot* snapshot, Difference* difference) {
        for (const Value& value : mValues) {
            // The difference block shares lines with the snapshot's; only
            // its C2BWM differences are kept.
            if (difference != nullptr && !isC2BwmDifference(value.piece->slot)) continue;
            switch (value.piece->slot) {
                case Slot::kIgnore:
                case Slot::kRecordTime:
                    break;
                case Slot::kField:
                    storeField(value, snapshot->record);
                    break;
                case Slot::kStreamId:
                    integer(value, &snapshot->streamId);
                    break;
                case Slot::kPostProcess:
                    integer(value, &snapshot->record.postProcessOff);
                    snapshot->record.postProcessOff =
                            service::invertPostProcess(snapshot->record.postProcessOff);
                    break;
                case Slot::kDecodeFps:
                    decimal(value, &snapshot->record.decodeFps);
                    break;
                case Slot::kInputFps:
                    decimal(value, &snapshot->record.inputFps);
                    break;
                case Slot::kFrameInterval:
                    storeFrameInterval(value, &snapshot->record.frameInterval);
                    break;
                case Slot::kExecuteCount:
                    integer(value, &difference->diff.executeCount);
                    break;
                case Slot::kFinishCount:
                    integer(value, &difference->diff.finishCount);
                    break;
                case Slot::kExecuteFlushCount:
                    integer(value, &difference->diff.executeFlushCount);
                    break;
                case Slot::kC2BwmPending:
                    integer(value, &difference->diff.c2BwmPending);
                    break;
                case Slot::kSnapshotCount:
                    integer(value, &pass().snapshotCount);
                    break;
                case Slot::kLatestIndex:
                    integer(value, &pass().latestIndex);
                    break;
                case Slot::kGenerationIndex:
                    integer(value, &pass().generations.back().index);
                    break;
            }
        }
    }

    // The streams of one pass share their second: mktime(), which takes a
    // lock and looks at the time zone's file, runs once per second seen.
    // The milliseconds are the nanoseconds a component stored, divided:
    // they may run to more digits than three, or be negative.
    bool parseRecordTime(std::string_view text, timespec* time) {
        size_t dot = text.rfind('.');
        if (dot == std::string_view::npos) return false;
        long milliseconds = 0;
        std::string_view fraction = text.substr(dot + 1);
        const char* end = fraction.data() + fraction.size();
        auto parsed = std::from_chars(fraction.data(), end, milliseconds);
        if (parsed.ec != std::errc() || parsed.ptr != end ||
            std::abs(milliseconds) > kMostMilliseconds) {
            return false;
        }
        std::string_view local = text.substr(0, dot);
        auto known = mSecondsOf.find(local);
        if (known == mSecondsOf.end()) {
            time_t seconds;
            if (!parseLocalSeconds(local, &seconds)) return false;
            known = mSecondsOf.emplace(local, seconds).first;
        }
        *time = {known->second, milliseconds * 1000000L};
        return true;
    }

    void storeFrameInterval(const Value& value, uint32_t* frameInterval) {
        double interval = 0;
        decimal(value, &interval);
        double thousandths = std::round(interval * 1000);
        if (!(thousandths >= 0 && thousandths <= std::numeric_limits<uint32_t>::max())) {
            fail("1/fr(" + std::string(value.text) + ") out of range");
        }
        *frameInterval = static_cast<uint32_t>(thousandths);
    }

    void storeField(const Value& value, _DebugDescription& d) {
        std::visit(
                [&](auto member) {
                    using T = std::remove_reference_t<decltype(d.*member)>;
                    if constexpr (std::is_same_v<T, std::string>) {
                        d.*member = value.text;
                    } else {
                        integer(value, &(d.*member));
                    }
                },
                value.piece->field->member);
    }

    template <typename T>
    void integer(const Value& value, T* field) {
        Integer parsed{};
        if (!parseInteger(value.text, value.piece->kind, &parsed) || !storeInteger(field, parsed)) {
            fail(std::string(value.piece->name) + "(" + std::string(value.text) + ") out of range");
        }
    }

    void decimal(const Value& value, double* field) {
        std::string text(value.text);
        char* end = nullptr;
        *field = strtod(text.c_str(), &end);
        if (end != text.c_str() + text.size()) {
            fail(std::string(value.piece->name) + " not a number");
        }
    }

    void expect(bool understood) {
        if (!understood && mLastLineEnded) fail("not understood");
    }

    void drop(const char* kind, uint32_t streamId, int line) {
        mDump.dropped.push_back("line " + std::to_string(line) + ": " + kind + " block of strId(" +
                                std::to_string(streamId) + ") cut off, dropped");
    }

    [[noreturn]] void fail(const std::string& what) { failAt(mLineNumber, what); }

    [[noreturn]] static void failAt(int line, const std::string& what) {
        throw DumpError("line " + std::to_string(line) + ": " + what);
    }

    const std::string_view mText;
    const Templates& mTemplates;
    // The values of the line last matched.
    std::vector<Value> mValues;
    std::unordered_map<std::string_view, time_t> mSecondsOf;
    size_t mNext = 0;
    std::string_view mLine;
    std::string mJoined;  // a first line whose name holds line breaks
    int mLineNumber = 0;
    bool mLastLineEnded = true;
    Dump mDump;
};

}  // namespace

const Generation* Pass::newest() const {
    if (generations.empty()) return nullptr;
    if (!hasHeader) return &generations.back();
    for (auto generation = generations.rbegin(); generation != generations.rend(); ++generation) {
        if (generation->index == static_cast<int>(latestIndex)) return &*generation;
    }
    return nullptr;
}

const Generation* Pass::older() const {
    const Generation* latest = newest();
    for (const Generation& generation : generations) {
        if (&generation != latest && generation.index != static_cast<int>(latestIndex)) {
            return &generation;
        }
    }
    return nullptr;
}

const _DiffInfo* Pass::differenceOf(uint32_t streamId) const {
    for (const Difference& difference : differences) {
        if (difference.streamId == streamId) return &difference.diff;
    }
    return nullptr;
}

Dump readDump(std::string_view text) {
    return Reader(text).read();
}

}  // namespace triage
