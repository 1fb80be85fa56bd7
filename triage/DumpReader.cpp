#include "DumpReader.h"

#include <ScenarioFields.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <type_traits>

namespace triage {
namespace {

// The lines of the report's blocks, as the service prints them: literal
// text with {field} (an integer), {field:x} (hexadecimal), {field:f} (a
// decimal number) and {field:s} (text) in place of the values. "-" stands
// for a value that is derived from others or not read back.
constexpr const char* kEquals =
        "===================================================================================="
        "===============";
constexpr const char* kDashes =
        "------------------------------------------------------------------------------------"
        "---------------";
constexpr const char* kDecodeHeader =
        "  decode /  fps / late  |  workIn / workOut / diff /  busy  | fb late |  gap / back / "
        "timestamp";
constexpr const char* kInputHeader =
        "   input /  fps / late  |   push |    pop | skip |  queue |    get | drop | "
        "pending(ES/FB/VDEC)";
constexpr const char* kSideBandHeader =
        "-----------------------------------------------SideBand-----------------------------------"
        "---------";
constexpr const char* kExternalInputHeader =
        "---------------------------------------HDMI/ATV/CVBS/YPBPR state-------------------------"
        "----------";
constexpr const char* kReportHeader =
        "===== Total Cnt of GetDebugInfo: {snapshotCount}, Latest DebugDescList index: "
        "{latestIndex} {-:s}";

constexpr const char* kSnapshotFirst =
        "  strId({streamId}) - component({component:s}) [{width} x {height} @ {frameRate}, "
        "i/p({interlaced})] 1/fr({frameInterval:f})";
constexpr const char* kRecordTime = "  RecordTime: {recordTime:s}";
// From the record time's line to the closing rule; the SideBand section is
// there only for SideBand streams.
const std::vector<const char*> kSnapshotBefore = {
        kDashes,
        "  init({init}) header({header}) eosIn({eosIn}) eosOut({eosOut}) flushing({flushing}) "
        "stopping({stopping})",
        "  releasing({releasing}) released({released}) releaseProgress({releaseProgress})",
        "  sideBand({sideBand}) bufferQueue({bufferQueue}) renderMode({renderMode}) "
        "secureMode({secureMode}) inputSource({inputSource}) hdrType({hdrType})",
        "  inputPassthrough({inputPassthrough}) postProcess({postProcess}) pqType({pqType}) "
        "aiVision({aiVision})",
        kDashes,
        kDecodeHeader,
        "{decode} /{decodeFps:f} /{decodeLate}  |{workIn} /{workOut} /{-} /{busy}  |{fbLate} "
        "|{gap} /{back} / {timestamp}",
        kDashes,
        kInputHeader,
        "{input} /{inputFps:f} /{inputLate}  |{push} |{pop} |{skip} |{queue} |{get} |{drop} |"
        "        ({pendingES}/{pendingFB}/{-})",
        kDashes,
        "  singleBuffer({singleBuffer}) requestBufCnt({requestBufCnt}) "
        "allocatedBufCnt({allocatedBufCnt}) inputPortDelay({inputPortDelay}) "
        "outputPortDelay({outputPortDelay})",
        kDashes,
        "  hwSyncId({hwSyncId}) tpcPipelineConnected({tpcPipelineConnected}) "
        "tpcPipelineDisconnected({tpcPipelineDisconnected})",
        "  firstPts({firstPts}) firstFrameNotifiedToTpc({firstFrameNotifiedToTpc}) "
        "pauseState({pauseState}) connectedDispLinkId({connectedDispLinkId})",
};
const std::vector<const char*> kSnapshotSideBand = {
        kSideBandHeader,
        "  state({state}) c2BwmReady({c2BwmReady}) bypassMode({bypassMode}) "
        "preloadDone({preloadDone}) toPts({toPts}) | DispLink - opened({dispLinkOpened}) "
        "configured({dispLinkConfigured}) disconnect({dispLinkDisconnect})",
        "  1stFrameRdy({firstFrameRdy}) queueCnt({queueCnt}) flipCnt({flipCnt}) "
        "pendingFlip({pendingFlip}) pendingRender({pendingRender}) pendingSBB({pendingSBB}) "
        "pendingSBW({pendingSBW})",
        "  usingClock({usingClock:s}) clockTime_using({clockTime_using}) "
        "clockTime_internal({clockTime_internal}) clockTime_videoSync({clockTime_videoSync})",
        "  autoDrop({autoDrop}) isDtv({isDtv}) dtvInitialDropBegin({dtvInitialDropBegin}) "
        "dtvInitialDropFinish({dtvInitialDropFinish})",
        "  dtvInitialDropStartTime({dtvInitialDropStartTime}) "
        "dtvInitialDropDueTime({dtvInitialDropDueTime}) sysTimeUs({sysTimeUs}) "
        "dtvInitialDropTargetPts({dtvInitialDropTargetPts}) lastGetPts({lastGetPts})",
};
const std::vector<const char*> kSnapshotAfter = {
        kExternalInputHeader,
        "  DecHandle(0x{decHandle:x}) Pause({pause}) FirstFrame({firstFrame}) "
        "StreamOn({streamOn}) Signal({signal}) MuteAction({muteAction}) MuteFactor({muteFactor})",
        "  ALLM({allm}) DV_GAME({dvGame}) HDR10pALLM({hdr10pAllm}) FMM_Mode({fmmMode}) "
        "SBTM_mode({sbtmMode}) ContentType({contentType}) ColorDepth({colorDepth}) "
        "ColorFormat({colorFormat})",
        "  SSTM({sstm}) VRR({vrr}) DisplayMode({displayMode}) AFD({afd}) PIC_AR({picAr}), "
        "IMAX({imax}), MatrixCoeff({matrixCoeff}), Colorimetry({colorimetry})",
        kEquals,
};

constexpr const char* kDiffFirst = "  strId({streamId}) Diff of debug info{-:s}";
const std::vector<const char*> kDiffBefore = {
        kDecodeHeader,
        "{-} /{-:f} /{-}  |{-} /{-} /{-} /{-}  |{-} |{-} /{-} / {-}",
        kDashes,
        kInputHeader,
        "{-} /{-:f} /{-}  |{-} |{-} |{-} |{-} |{-} |{-} |        ({-}/{-}/{-})",
        kDashes,
        "  requestBufCnt({-}) allocatedBufCnt({-}) inputPortDelay({-}) outputPortDelay({-})",
};
const std::vector<const char*> kDiffSideBand = {
        kSideBandHeader,
        "  queueCnt({-}) flipCnt({-}) pendingFlip({-}) pendingRender({-}) pendingSBB({-}) "
        "pendingSBW({-})",
        "  usingClock({-:s}) clockTime_using({-}) clockTime_internal({-}) "
        "clockTime_videoSync({-})",
};
const std::vector<const char*> kDiffAfter = {
        "-------------------------------------------C2BWM STATE :({-})------------------------"
        "---------------",
        "  executeCount({executeCount}) finishCount({finishCount}) "
        "executeFlushCount({executeFlushCount}) pending({c2BwmPending})",
        kEquals,
};

struct Value {
    std::string_view name;
    char kind;
    std::string_view text;
};

// The values of a line that has the template's shape, or nothing.
std::optional<std::vector<Value>> match(std::string_view line, std::string_view pattern) {
    std::vector<Value> values;
    size_t at = 0;
    while (!pattern.empty()) {
        size_t open = pattern.find('{');
        std::string_view literal = pattern.substr(0, open);
        if (line.substr(at, literal.size()) != literal) return std::nullopt;
        at += literal.size();
        if (open == std::string_view::npos) break;
        size_t close = pattern.find('}', open);
        std::string_view field = pattern.substr(open + 1, close - open - 1);
        pattern.remove_prefix(close + 1);
        char kind = 'd';
        if (size_t colon = field.find(':'); colon != std::string_view::npos) {
            kind = field[colon + 1];
            field = field.substr(0, colon);
        }
        std::string_view next = pattern.substr(0, pattern.find('{'));
        size_t end;
        if (kind == 's') {
            // Text may hold the literal that follows it: the last one ends it.
            end = next.empty() ? line.size() : line.rfind(next);
            if (end == std::string_view::npos || end < at) return std::nullopt;
        } else {
            while (at < line.size() && line[at] == ' ') ++at;
            end = at;
            auto numeric = [&](char c) {
                if (kind == 'x') return isxdigit(static_cast<unsigned char>(c)) != 0;
                if (kind == 'f') return c != ' ' && c != '/' && c != ')';
                return isdigit(static_cast<unsigned char>(c)) != 0 || (c == '-' && end == at);
            };
            while (end < line.size() && numeric(line[end])) ++end;
            if (end == at) return std::nullopt;
        }
        values.push_back({field, kind, line.substr(at, end - at)});
        at = end;
    }
    if (at != line.size()) return std::nullopt;
    return values;
}

struct Integer {
    bool negative;
    int64_t signedValue;
    uint64_t unsignedValue;
};

bool parseInteger(std::string_view text, char kind, Integer* value) {
    std::string digits(text);
    char* end = nullptr;
    errno = 0;
    value->negative = digits[0] == '-';
    if (value->negative) {
        value->signedValue = strtoll(digits.c_str(), &end, 10);
    } else {
        value->unsignedValue = strtoull(digits.c_str(), &end, kind == 'x' ? 16 : 10);
    }
    return errno == 0 && end == digits.c_str() + digits.size();
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

// The record time as printed ("%m-%d %H:%M:%S.mmm", local time). The year
// is not printed; 2000 gives every day of the calendar its date.
bool parseRecordTime(std::string_view text, timespec* time) {
    tm local{};
    int milliseconds = 0;
    int consumed = 0;
    std::string copy(text);
    if (sscanf(copy.c_str(), "%2d-%2d %2d:%2d:%2d.%3d%n", &local.tm_mon, &local.tm_mday,
               &local.tm_hour, &local.tm_min, &local.tm_sec, &milliseconds, &consumed) != 6 ||
        consumed != static_cast<int>(copy.size())) {
        return false;
    }
    local.tm_mon -= 1;
    local.tm_year = 100;
    local.tm_isdst = -1;
    time_t seconds = mktime(&local);
    if (seconds == -1) return false;
    *time = {seconds, milliseconds * 1000000L};
    return true;
}

class Reader {
public:
    explicit Reader(std::string_view text) : mText(text) {}

    Dump read() {
        while (nextLine()) {
            if (mLine == kEquals) {
                readBlock();
            } else if (auto header = match(mLine, kReportHeader)) {
                mDump.hasReport = true;
                for (const Value& value : *header) {
                    if (value.name == "snapshotCount") integer(value, &mDump.snapshotCount);
                    if (value.name == "latestIndex") integer(value, &mDump.latestIndex);
                }
            }
        }
        if (!mDump.hasReport && mDump.snapshots.empty() && mDump.differences.empty() &&
            mDump.dropped.empty()) {
            throw DumpError("no report of the service in it");
        }
        return std::move(mDump);
    }

private:
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
        if (auto values = match(mLine, kSnapshotFirst)) {
            Snapshot snapshot{0, {}, {}, first};
            store(*values, &snapshot);
            if (!readSnapshotRest(&snapshot)) return drop("snapshot", snapshot.streamId, first);
            mDump.snapshots.push_back(std::move(snapshot));
        } else if (auto diffValues = match(mLine, kDiffFirst)) {
            Difference difference{0, {}, first};
            integer((*diffValues)[0], &difference.streamId);
            if (!readDifferenceRest(*diffValues, &difference)) {
                return drop("difference", difference.streamId, first);
            }
            mDump.differences.push_back(difference);
        }
    }

    bool readSnapshotRest(Snapshot* snapshot) {
        if (!nextLine()) return false;
        if (auto time = match(mLine, kRecordTime)) {
            snapshot->recordTime = (*time)[0].text;
            if (!parseRecordTime(snapshot->recordTime, &snapshot->record.recordTime)) {
                fail("record time not understood");
            }
            const timespec& at = snapshot->record.recordTime;
            snapshot->record.recordTimeNs =
                    static_cast<uint64_t>(at.tv_sec) * 1000000000u + at.tv_nsec;
            if (!nextLine()) return false;
        }
        if (!readLines(kSnapshotBefore, snapshot, true)) return false;
        if (snapshot->record.sideBand != 0 && !readLines(kSnapshotSideBand, snapshot, false)) {
            return false;
        }
        return readLines(kSnapshotAfter, snapshot, false);
    }

    bool readDifferenceRest(const std::vector<Value>& first, Difference* difference) {
        // A time that could not be printed leaves the dash line on this one.
        std::string_view rest = first.back().text;
        if (rest.size() < 99 || rest.substr(rest.size() - 99) != kDashes) {
            if (!nextLine()) return false;
            expect(mLine == kDashes);
        }
        if (!readLines(kDiffBefore, difference, false)) return false;
        if (!nextLine()) return false;
        if (mLine == kSideBandHeader) {
            for (size_t i = 1; i < kDiffSideBand.size(); ++i) {
                if (!nextLine()) return false;
                expect(match(mLine, kDiffSideBand[i]).has_value());
            }
            if (!nextLine()) return false;
        }
        auto state = match(mLine, kDiffAfter[0]);
        expect(state.has_value());
        if (!nextLine()) return false;
        return readLines({kDiffAfter.begin() + 1, kDiffAfter.end()}, difference, true);
    }

    // Reads the lines of these templates; the first one is the current
    // line when `current` is set. False when the text ends first.
    template <typename Block>
    bool readLines(const std::vector<const char*>& templates, Block* block, bool current) {
        for (const char* pattern : templates) {
            if (!current && !nextLine()) return false;
            current = false;
            auto values = match(mLine, pattern);
            if (!values) {
                if (!mLastLineEnded) return false;  // cut in the middle of the line
                fail("not understood");
            }
            store(*values, block);
        }
        return true;
    }

    void store(const std::vector<Value>& values, Snapshot* snapshot) {
        _DebugDescription& d = snapshot->record;
        for (const Value& value : values) {
            if (value.name == "-" || value.name == "recordTime") continue;
            if (value.name == "streamId") {
                integer(value, &snapshot->streamId);
            } else if (value.name == "postProcess") {
                integer(value, &d.postProcessOff);
                d.postProcessOff ^= 1;
            } else if (value.name == "decodeFps") {
                decimal(value, &d.decodeFps);
            } else if (value.name == "inputFps") {
                decimal(value, &d.inputFps);
            } else if (value.name == "frameInterval") {
                double interval = 0;
                decimal(value, &interval);
                double thousandths = std::round(interval * 1000);
                if (!(thousandths >= 0 && thousandths <= std::numeric_limits<uint32_t>::max())) {
                    fail("1/fr(" + std::string(value.text) + ") out of range");
                }
                d.frameInterval = static_cast<uint32_t>(thousandths);
            } else {
                storeField(value, d);
            }
        }
    }

    void store(const std::vector<Value>& values, Difference* difference) {
        _DiffInfo& diff = difference->diff;
        for (const Value& value : values) {
            if (value.name == "executeCount") integer(value, &diff.executeCount);
            if (value.name == "finishCount") integer(value, &diff.finishCount);
            if (value.name == "executeFlushCount") integer(value, &diff.executeFlushCount);
            if (value.name == "c2BwmPending") integer(value, &diff.c2BwmPending);
        }
    }

    void storeField(const Value& value, _DebugDescription& d) {
        const sim::DebugField* field = sim::findDebugField(value.name);
        if (field == nullptr) fail("no field " + std::string(value.name));
        std::visit(
                [&](auto member) {
                    using T = std::remove_reference_t<decltype(d.*member)>;
                    if constexpr (std::is_same_v<T, std::string>) {
                        d.*member = value.text;
                    } else {
                        integer(value, &(d.*member));
                    }
                },
                field->member);
    }

    template <typename T>
    void integer(const Value& value, T* field) {
        Integer parsed{};
        if (!parseInteger(value.text, value.kind, &parsed) || !storeInteger(field, parsed)) {
            fail(std::string(value.name) + "(" + std::string(value.text) + ") out of range");
        }
    }

    void decimal(const Value& value, double* field) {
        std::string text(value.text);
        char* end = nullptr;
        *field = strtod(text.c_str(), &end);
        if (end != text.c_str() + text.size()) fail(std::string(value.name) + " not a number");
    }

    void expect(bool understood) {
        if (!understood && mLastLineEnded) fail("not understood");
    }

    void drop(const char* kind, uint32_t streamId, int line) {
        mDump.dropped.push_back("line " + std::to_string(line) + ": " + kind + " block of strId(" +
                                std::to_string(streamId) + ") cut off, dropped");
    }

    [[noreturn]] void fail(const std::string& what) {
        throw DumpError("line " + std::to_string(mLineNumber) + ": " + what);
    }

    const std::string_view mText;
    size_t mNext = 0;
    std::string_view mLine;
    int mLineNumber = 0;
    bool mLastLineEnded = true;
    Dump mDump;
};

}  // namespace

Dump readDump(std::string_view text) {
    return Reader(text).read();
}

}  // namespace triage
