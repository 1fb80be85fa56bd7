// c2info-triage: the service's snapshot blocks read back exactly, and the
// program on bugreports made by c2info-sim and on hostile inputs.
#include <DebugFields.h>
#include <DebugOutput.h>
#include <DebugReports.h>
#include <Harness.h>
#include <android/log.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zip.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <sstream>

#include "ChangeLines.h"
#include "DumpReader.h"
#include "Follow.h"
#include "Inputs.h"
#include "Scenario.h"
#include "Triage.h"

namespace {

namespace service = ::vendor::larkspan::hardware::c2::info::implementation;
using service::DebugField;
using service::debugFields;
using service::OwnerLine;
using service::OwnerVerdict;
using service::printOwnerLines;
using service::printSnapshot;
using triage::_DebugDescription;

// The blocks of text printed without the report's own lines.
const std::vector<triage::Snapshot>& blocksOf(const triage::Dump& dump) {
    return dump.passes.at(0).generations.at(0).snapshots;
}

std::string printedBy(const std::function<void(int fd)>& print) {
    setenv("TZ", "UTC", 1);
    tzset();
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);  // the printer logs its time lines
    int fd = memfd_create("printed", MFD_CLOEXEC);
    print(fd);
    std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(fd);
    return text;
}

std::string printed(uint32_t streamId, const _DebugDescription& record) {
    return printedBy([&](int fd) { printSnapshot(fd, streamId, record); });
}

// Any value of any field, text with the printer's own brackets included.
_DebugDescription randomRecord(std::mt19937_64& random) {
    _DebugDescription d{};
    for (const DebugField* field : debugFields()) {
        std::visit(
                [&](auto member) {
                    using T = std::remove_reference_t<decltype(d.*member)>;
                    if constexpr (std::is_same_v<T, std::string>) {
                        const std::string alphabet = "abc.XYZ_019 ()[]x@,-";
                        for (size_t n = random() % 24; n > 0; --n) {
                            (d.*member).push_back(alphabet[random() % alphabet.size()]);
                        }
                    } else {
                        d.*member = static_cast<T>(random());
                    }
                },
                field->member);
    }
    d.frameInterval = static_cast<uint32_t>(random() % 10000000);  // as from a frame rate
    d.inputFps = static_cast<double>(random() % 2000000) / 7;
    d.decodeFps = -static_cast<double>(random() % 2000) / 3;
    d.recordTime = {static_cast<time_t>(random() % 2000000000),
                    static_cast<long>(random() % 1000) * 1000000};
    return d;
}

// Printing a record, reading the text back and printing that gives the
// same bytes: for every record a shipped scenario makes, and for random ones.
TEST(DumpReaderTest, ReadsBackEveryRecordAsThePrinterWroteIt) {
    std::vector<_DebugDescription> records;
    for (const auto& file : std::filesystem::directory_iterator(C2INFO_SCENARIOS)) {
        for (const sim::StreamScenario& stream : sim::readScenarioFile(file.path()).streams) {
            records.push_back(stream.debug);
            records.insert(records.end(), stream.snapshots.begin(), stream.snapshots.end());
        }
    }
    std::mt19937_64 random(20261123);
    for (int i = 0; i < 300; ++i) records.push_back(randomRecord(random));
    _DebugDescription lowest{};  // every number at its type's lowest, signed ones negative
    for (const DebugField* field : debugFields()) {
        std::visit(
                [&](auto member) {
                    using T = std::remove_reference_t<decltype(lowest.*member)>;
                    if constexpr (!std::is_same_v<T, std::string>) {
                        lowest.*member = std::numeric_limits<T>::lowest();
                    }
                },
                field->member);
    }
    records.push_back(lowest);

    for (size_t i = 0; i < records.size(); ++i) {
        auto streamId = static_cast<uint32_t>(i * 2654435761u);
        std::string text = printed(streamId, records[i]);
        triage::Dump dump = triage::readDump(text);
        ASSERT_EQ(blocksOf(dump).size(), 1u) << text;
        EXPECT_EQ(printed(blocksOf(dump)[0].streamId, blocksOf(dump)[0].record), text);
    }
    // As pasted from a terminal: trailing blanks and CR LF line ends.
    std::string pasted = printed(1, records.back());
    for (size_t at = 0; (at = pasted.find('\n', at)) != std::string::npos; at += 4) {
        pasted.replace(at, 1, "  \r\n");
    }
    triage::Dump dump = triage::readDump(pasted);
    ASSERT_EQ(blocksOf(dump).size(), 1u);
    EXPECT_EQ(printed(1, blocksOf(dump)[0].record), printed(1, records.back()));
}

using Blocks = std::vector<std::pair<uint32_t, _DebugDescription>>;

// One pass of the report as the service prints it, without the differences.
std::string passText(uint32_t latest, const Blocks& older, const Blocks& newest) {
    return printedBy([&](int fd) {
        dprintf(fd, "C2 LsHal Ver-1.3 - Dumping C2 info, System Time: 11-25 03:00:00.000\n");
        service::printLine<service::kReportHeader>(fd, 9ull, latest, service::kEqualsRule.text);
        for (const auto& [index, blocks] : {std::pair{1 - latest, &older}, {latest, &newest}}) {
            service::printLine<service::kGenerationBegin>(fd, static_cast<int>(index),
                                                          service::kEqualsRule.text);
            for (const auto& [streamId, record] : *blocks) printSnapshot(fd, streamId, record);
            service::printLine<service::kGenerationEnd, 2>(fd, static_cast<int>(index),
                                                           service::kEqualsRule.text);
        }
    });
}

_DebugDescription recordAt(time_t second, int input = 50) {
    _DebugDescription d{};
    d.recordTime = {second, 0};
    d.recordTimeNs = static_cast<uint64_t>(second) * 1000000000u;
    d.input = input;
    d.width = 1920;
    d.height = 1080;
    return d;
}

std::string streamsOf(const triage::Outcome& outcome) {
    std::string streams;
    for (const triage::StreamResult& result : outcome.streams) {
        streams += (streams.empty() ? "" : " ") +
                   (result.verdict.hasStream ? std::to_string(result.verdict.streamId) : "-") +
                   ":" + std::to_string(result.record ? result.record->input : -1) + ":" +
                   result.verdict.owner;
    }
    return streams;
}

// Only the records --owner would read on the TV are judged: the newest
// generation of the newest complete pass, and for a pass that dumpstate cut,
// the streams it did not print whole from the pass before.
TEST(TriageTest, JudgesWhatTheServiceWouldHaveRead) {
    _DebugDescription releasing = recordAt(100, 11);
    releasing.releasing = 1;
    _DebugDescription renamed = recordAt(101, 12);
    renamed.component = "c2.vdec\nhevc) [odd";
    std::string oddTime = printed(3, recordAt(101, 13));
    oddTime.replace(oddTime.find("00:01:41.000"), 12, "00:01:41.1234");
    std::string second = passText(0, {{1, releasing}, {2, recordAt(100)}},
                                  {{1, recordAt(101, 21)}, {2, recordAt(101, 22)}});
    std::string cut = second.substr(0, second.find("strId(2)", second.find("List[0] Begin")) + 200);
    struct Case {
        const char* what;
        std::string text;
        const char* streams;  // id:input:owner of each verdict
        const char* shown;    // in the report
    } cases[] = {
            {"a stream removed during the default dump's sleep",
             passText(1, {}, {{1, releasing}, {2, recordAt(100)}}) +
                     passText(0, {{1, releasing}, {2, recordAt(100)}}, {{2, recordAt(101, 22)}}),
             "2:22:C2BWM Owner or displink owner", "records used: strId(2) 01-01 00:01:41.000"},
            {"a stream only in the older generation",
             passText(0, {{1, releasing}}, {{2, recordAt(101, 22)}}),
             "2:22:C2BWM Owner or displink owner", "records used: strId(2)"},
            {"an empty newest generation", passText(0, {{1, releasing}}, {}), "-:-1:APK owner",
             "  No any C2 component created \n  dispatch to **APK owner** \n"},
            {"a second pass cut in its newest generation",
             passText(1, {}, {{1, releasing}, {2, recordAt(100, 2)}, {5, recordAt(100, 5)}}) + cut,
             "1:21:C2BWM Owner or displink owner 2:2:C2BWM Owner or displink owner "
             "5:5:C2BWM Owner or displink owner",
             "snapshot block of strId(2) cut off, dropped"},
            {"a record time of another shape", "===\n" + oddTime,
             "3:13:C2BWM Owner or displink owner", "records used: strId(3) 01-01 00:01:41.1234"},
            {"a component name with a line break", passText(1, {}, {{4, renamed}}),
             "4:12:C2BWM Owner or displink owner", "strId(4) - component(c2.vdec\nhevc) [odd)"},
    };
    for (const Case& c : cases) {
        triage::Outcome outcome = triage::triageText("t", "", c.text, {});
        EXPECT_EQ(outcome.error, "") << c.what;
        EXPECT_EQ(streamsOf(outcome), c.streams) << c.what;
        EXPECT_NE(outcome.report.find(c.shown), std::string::npos) << c.what << outcome.report;
    }
    std::string unreadable = printed(5, recordAt(100));
    unreadable.replace(unreadable.find(") [1920"), 7, ") {1920");
    EXPECT_EQ(triage::triageText("t", "", unreadable + "more\n", {}).error,
              "line 2: not understood");
}

// A verdict's lines as the page marks them, a letter a kind: Header,
// Passed, Finding, Note, Dispatch, Undecidable, Continue; lower case when
// the line holds only on an assumption.
std::string kindsOf(const OwnerVerdict& verdict) {
    std::string kinds;
    for (const OwnerLine& line : verdict.lines) {
        char kind = "HPFNDUC"[static_cast<int>(line.kind)];
        kinds += line.assumed ? static_cast<char>(tolower(kind)) : kind;
    }
    return kinds;
}

// Where the dump cannot decide a check, no line names one owner: the
// dispatch line names every candidate, what follows says what it assumes,
// and the verdict's modules are every candidate's.
TEST(TriageTest, AnUndecidableCheckNamesEveryCandidate) {
    _DebugDescription noOutput = recordAt(100), notConnected = recordAt(100);
    noOutput.inputSource = 5;
    notConnected.sideBand = notConnected.hwSyncId = notConnected.tpcPipelineConnected = 1;
    notConnected.firstFrameNotifiedToTpc = 1;
    const struct {
        _DebugDescription record;
        const char* ending;
        const char* kinds;
        const char* modules;
    } cases[] = {
            {recordAt(100),
             "  [If not paused by c2bwm] No abnormal case found.\n"
             "  dispatch to **C2BWM Owner** or **displink owner** \n",
             "HPPPPPPPPPPUpfDC", "C2BWM or Displink"},
            {noOutput,
             "  [If not paused by c2bwm] insufficient output data :0 \n"
             "  dispatch to **C2BWM Owner** or **C2 Owner** \n",
             "HPPPPPPPPPPUfDC", "C2BWM or C2"},
            {notConnected,
             "  [If C2BWM pending is not 0] check destroy displink id list by:\n"
             "  [If C2BWM pending is not 0] lshal debug -E "
             "vendor.larkspan.hardware.dispservice@1.0::IDispService/default --debug mediator\n"
             "  dispatch to **C2 Owner** or **Displink Owner** \n",
             "HPPPPPFUnnDC", "C2 or Displink"},
    };
    for (const auto& c : cases) {
        OwnerVerdict verdict = triage::triageText("t", "", passText(0, {}, {{1, c.record}}), {})
                                       .streams.at(0)
                                       .verdict;
        std::string analysis;
        printOwnerLines(&analysis, verdict.lines);
        std::string end = c.ending + std::string("  Continue to check next stream... \n");
        EXPECT_EQ(analysis.substr(analysis.size() - std::min(end.size(), analysis.size())), end);
        EXPECT_EQ(kindsOf(verdict), c.kinds) << analysis;
        EXPECT_EQ(verdict.module, c.modules);
        EXPECT_FALSE(verdict.complete);
    }
}

// Times from 2000-01-01 00:01:40 on (the dump prints no year).
std::string storyOf(const triage::StreamHistory& stream) {
    const int64_t start = 946684900000;
    std::string story = std::to_string(stream.streamId) + ":";
    for (const triage::HistoryPoint& point : stream.points) {
        story += " " + std::to_string(point.ms - start) + "=" + point.verdict.owner;
        if (point.change) {
            story += " (input+" + std::to_string(point.change->input) + " es+" +
                     std::to_string(point.change->pendingES) + ")";
        }
    }
    for (const triage::HistoryMark& mark : stream.marks) {
        story += " | " + mark.text + "@" + std::to_string(mark.ms - start);
    }
    return story;
}

// A loop of --dump outputs: each record once, however many dumps print it;
// its change from the point before wraps as the difference block's does;
// where a stream appears, disappears and changes size.
TEST(HistoryTest, TellsEachStreamsStory) {
    _DebugDescription first = recordAt(100, INT32_MAX - 1), second = recordAt(101, INT32_MIN + 2),
                      third = recordAt(102);
    first.pendingES = 250;
    second.pendingES = 3;
    second.width = 1280;
    second.height = 720;
    third.width = 1280;
    third.height = 720;
    third.releasing = 1;
    std::string session = passText(1, {}, {{1, first}, {2, recordAt(100)}}) +
                          passText(0, {{1, first}, {2, recordAt(100)}}, {{1, second}}) +
                          passText(1, {{1, second}}, {{1, third}, {3, recordAt(102)}});
    triage::Outcome outcome = triage::triageText("session", "", session, {}, true);
    std::vector<std::string> stories;
    for (const auto& stream : outcome.history.streams) stories.push_back(storyOf(stream));
    const std::string idle = "C2BWM Owner or displink owner";
    EXPECT_EQ(stories, (std::vector<std::string>{
                               "1: 0=" + idle + " 1000=" + idle +
                                       " (input+4 es+9) 2000=C2 Owner (input+-2147483600 es+253)"
                                       " | appears@0 | 1920x1080 -> 1280x720@1000",
                               "2: 0=" + idle + " | appears@0 | disappears@0",
                               "3: 2000=" + idle + " | appears@2000"}));
}

// A --dump's output as the service prints it, without difference blocks.
std::string dumpText(uint32_t latest, const Blocks& older, const Blocks& newest) {
    return printedBy([](int fd) {
               dprintf(fd, "%s - %s\nSystem Time: 11-25 03:00:00.000\n", service::kDebugBanner,
                       service::kDumpCommand);
           }) +
           passText(latest, older, newest) + printedBy([](int fd) {
               service::printLine<service::kDifferencesBegin>(fd, service::kEqualsRule.text);
               service::printLine<service::kDifferencesEnd>(fd, service::kEqualsRule.text);
           });
}

std::string eventsOf(const std::vector<triage::FollowEvent>& events) {
    std::string text;
    for (const triage::FollowEvent& event : events) {
        if (const auto* problem = std::get_if<triage::FollowProblem>(&event)) {
            text += "! " + problem->what + "\n";
            continue;
        }
        const auto& dump = std::get<triage::FollowedDump>(event);
        text += "@" + std::to_string(dump.firstLine) + "\n";
        for (const auto& change : dump.changes) text += triage::changeLine(change) + "\n";
    }
    return text;
}

// A recording followed as it is written: each dump judged when its last
// line arrives, not when the next begins; what is not a whole dump is named
// with its line in the input and skipped.
TEST(FollowTest, JudgesEachDumpAtItsLastLine) {
    auto playing = [](time_t second) {
        _DebugDescription d = recordAt(second);
        d.component = "c2.vdec.avc";
        return d;
    };
    _DebugDescription releasing = playing(101);
    releasing.releasing = 1;
    releasing.width = 1280;
    releasing.height = 720;
    std::string first = dumpText(1, {}, {{1, playing(100)}});
    std::string second = dumpText(0, {{1, playing(100)}}, {{1, releasing}, {2, playing(101)}});
    std::string unreadable = dumpText(1, {}, {{2, playing(102)}});
    unreadable.replace(unreadable.find(") [1920"), 7, ") {1920");
    std::string cut = second.substr(0, second.find("Diff Begin"));
    const std::string idle = "C2BWM Owner or displink owner";
    struct Case {
        const char* what;
        std::string fed;
        // {N} is the first line fed, {P} the case before's, {C} the cut dump's.
        std::string events;
    } cases[] = {
            {"the service's output before the first dump",
             "C2 LsHal Ver-1.3 - Enable\nSystem Time: 11-25 03:00:00.000\n", ""},
            {"a dump cut anywhere, not yet ended", first.substr(0, 1000), ""},
            {"its last line", first.substr(1000),
             "@3\n01-01 00:01:40.000 strId(1) c2.vdec.avc: appears (1920x1080, " + idle + ")\n"},
            {"the next", second,
             "@{N}\n01-01 00:01:41.000 strId(1) c2.vdec.avc: 1920x1080 -> 1280x720\n"
             "01-01 00:01:41.000 strId(1) c2.vdec.avc: " +
                     idle +
                     " -> C2 Owner (C2 releasing and stuck in state:0)\n"
                     "01-01 00:01:41.000 strId(2) c2.vdec.avc: appears (1920x1080, " +
                     idle + ")\n"},
            {"other text", "adb: device offline\nadb: waiting\n", ""},
            {"a dump cut short in a line the next begins in", cut,
             "! line {P}-{P+1}: not the service's output\n"},
            {"an unreadable dump", unreadable,
             "! line {C}: a dump cut short, the next began at line {N}\n! line {N+9}: not "
             "understood\n"},
            {"a dump the first stream is gone from", dumpText(0, {}, {{2, playing(103)}}),
             "@{N}\n01-01 00:01:43.000 strId(1) c2.vdec.avc: goes\n"},
            {"a dump the input ends in", "C2 LsHal Ver-1.3 - Dump\nSystem", ""},
    };
    triage::Follower follower("t");
    long line = 1, before = 0, cutAt = 0;
    for (const Case& c : cases) {
        std::string events = c.events;
        for (auto [mark, value] : {std::pair{"{N}", line},
                                   {"{N+1}", line + 1},
                                   {"{N+9}", line + 9},
                                   {"{P}", before},
                                   {"{P+1}", before + 1},
                                   {"{C}", cutAt}}) {
            for (size_t at; (at = events.find(mark)) != std::string::npos;)
                events.replace(at, strlen(mark), std::to_string(value));
        }
        EXPECT_EQ(eventsOf(follower.feed(c.fed)), events) << c.what;
        if (c.fed == cut) cutAt = line;
        before = line;
        line += std::count(c.fed.begin(), c.fed.end(), '\n');
    }
    EXPECT_EQ(eventsOf(follower.finish()), "! line " + std::to_string(line - 1) +
                                                   ": a dump cut short by the end of the input\n");
}

using c2info_test::Outcome;

void writeZip(const std::string& file,
              const std::vector<std::pair<std::string, std::string>>& entries) {
    int error = 0;
    zip_t* archive = zip_open(file.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    ASSERT_NE(archive, nullptr);
    for (const auto& [name, content] : entries) {
        zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
        ASSERT_GE(zip_file_add(archive, name.c_str(), source, 0), 0);
    }
    ASSERT_EQ(zip_close(archive), 0);
}

class TriageProgramTest : public ::testing::Test {
protected:
    std::string path(const std::string& name) const { return mScratch.path(name); }
    Outcome run(const std::string& command) const { return mScratch.run(command); }
    c2info_test::Scratch mScratch;
};

// The default scenario's four streams: what --owner says on the running
// simulator, and where the dump cannot tell C2BWM apart.
TEST_F(TriageProgramTest, ABugreportOfTheSimulatorGetsItsOwners) {
    std::string zip = path("bugreport.zip");
    const std::string build =
            "larkspan/tv_product/tv_device:12/SP2A.220305.013/42:userdebug/dev-keys";
    ASSERT_EQ(run(std::string(C2INFO_SIM) + " --bugreport " + zip + " --main-text-mb 1 --build " +
                  build + " --taken-at '2026-11-06 14:06:13'")
                      .status,
              0);

    Outcome text = run(std::string(C2INFO_TRIAGE) + " " + zip);
    std::string entry = triage::loadInput(zip).text;
    mScratch.write("entry.txt", entry);
    // Cut right after a difference block's first line: that block is
    // dropped, and the streams are judged all the same.
    mScratch.write("cut.txt",
                   entry.substr(0, entry.find('\n', entry.find("Diff of debug info")) + 1));
    Outcome cut = run(std::string(C2INFO_TRIAGE) + " cut.txt");
    EXPECT_EQ(cut.status, 0) << cut.err;
    EXPECT_NE(cut.out.find(": difference block of strId(1) cut off, dropped\n"), std::string::npos)
            << cut.out;
    Outcome fromStandardInput = run(std::string(C2INFO_TRIAGE) + " - < " + path("entry.txt"));
    const std::string firstLines = "== " + zip + ": " + triage::kServiceEntry +
                                   "\n   build: " + build + ", taken at 2026-11-06T14:06:13\n";
    EXPECT_EQ(fromStandardInput.out.substr(fromStandardInput.out.find('\n')),
              text.out.substr(firstLines.size() - 1));
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out.rfind(firstLines, 0), 0u) << text.out;
    EXPECT_NE(text.out.find("  [Undecidable from the dump] paused by c2bwm? executeCount and "
                            "finishCount are not in the dump; over the last second exe:+25 "
                            "finish:+0 pending:+0\n"),
              std::string::npos)
            << text.out;

    Outcome json = run(std::string(C2INFO_TRIAGE) + " --json " + zip);
    EXPECT_EQ(json.status, 0) << json.err;
    std::vector<std::pair<std::string, bool>> owners;
    for (const auto& row : nlohmann::json::parse(json.out)) {
        EXPECT_EQ(row["source"], zip);
        EXPECT_EQ(row["build"], build);
        EXPECT_EQ(row["takenAt"], "2026-11-06T14:06:13");
        owners.emplace_back(row["owner"], row["complete"]);
    }
    EXPECT_EQ(owners, (std::vector<std::pair<std::string, bool>>{
                              {"C2BWM Owner or displink owner", false},
                              {"APK owner", true},
                              {"C2 Owner or Displink Owner", false},
                              {"C2BWM Owner or displink owner", false}}));

    // Kept in a store, it is presented as it was read: the text, and the
    // page with each stream's detail.
    const std::string triage = std::string(C2INFO_TRIAGE) + " ";
    ASSERT_EQ(run(triage + "--db store.db " + zip).status, 0);
    EXPECT_EQ(run(triage + "--db store.db").out, text.out);
    run(triage + "--html read.html " + zip);
    run(triage + "--db store.db --html stored.html");
    EXPECT_TRUE(c2info_test::slurp(path("read.html")) == c2info_test::slurp(path("stored.html")));
}

// Pending VDEC is derived once, as the dump's printer derives it: where
// pop - skip - get wraps at 32 bits, the page shows what the text prints.
TEST_F(TriageProgramTest, ThePageShowsTheDerivedCountersTheTextPrints) {
    _DebugDescription wrapped = recordAt(100);
    wrapped.pop = INT32_MIN + 1;
    wrapped.get = 2;
    mScratch.write("wrapped.txt", passText(1, {}, {{1, wrapped}}));
    ASSERT_NE(printed(1, wrapped).find("/2147483647)"), std::string::npos);
    ASSERT_EQ(run(std::string(C2INFO_TRIAGE) + " --html page.html wrapped.txt").status, 0);
    std::string page = c2info_test::slurp(path("page.html"));
    const std::string open = "<script type=\"application/json\" id=\"data\">";
    size_t begin = page.find(open) + open.size();
    nlohmann::json data =
            nlohmann::json::parse(page.substr(begin, page.find("</script>", begin) - begin));
    // A row is [input, its stream's columns..., lines, record, change].
    size_t streamColumns = data["columns"].size() - data["inputColumns"].size();
    const nlohmann::json& record = data["rows"][0][1 + streamColumns + 1];
    std::map<std::string, nlohmann::json> counters;
    for (size_t i = 0; i < data["counters"].size(); ++i)
        counters[data["counters"][i][0]] = record[i];
    EXPECT_EQ(counters["pendingVDEC"], 2147483647) << record;
}

std::string dumpstateHeader(const std::string& time, const std::string& fingerprint) {
    return "========================================================\n== dumpstate: " + time +
           "\n========================================================\n\nBuild: SP1A.210812.016\n"
           "Build fingerprint: " +
           fingerprint + "\nBugreport format version: 2.0\n\n------ SYSTEM LOG ------\n";
}

const std::string kFingerprint =
        "larkspan/tv_product/tv_device:12/SP1A.210812.016/20261101:user/release-keys";

// A bugreport of the given layout with the service's (empty) dump.
std::vector<std::pair<std::string, std::string>> bugreport(
        std::vector<std::pair<std::string, std::string>> entries) {
    entries.emplace_back(triage::kServiceEntry,
                         "===== Total Cnt of GetDebugInfo: 1, Latest DebugDescList index: 1 ===\n");
    return entries;
}

// From the header of the main text: where main_entry.txt says, else the
// older layout's top-level bugreport*.txt; before dumpstate's first section.
TEST_F(TriageProgramTest, ReadsEachBugreportsBuildAndTime) {
    const std::string header = dumpstateHeader("2026-11-06 14:06:13", "'" + kFingerprint + "'");
    struct Case {
        const char* name;
        std::vector<std::pair<std::string, std::string>> entries;
        std::string build;
        std::string takenAt;
    };
    for (const Case& c : {
                 Case{"android12",
                      {{"version.txt", "2.0"},
                       {"main_entry.txt", "bugreport-tv-SP1A-2026-11-06-14-06-13.txt\n"},
                       {"bugreport-early.txt", dumpstateHeader("2020-01-01 00:00:00", "'x'")},
                       {"bugreport-tv-SP1A-2026-11-06-14-06-13.txt", header + "log\n"}},
                      kFingerprint,
                      "2026-11-06T14:06:13"},
                 Case{"older", {{"bugreport-x.txt", header}}, kFingerprint, "2026-11-06T14:06:13"},
                 Case{"no header", {{"bugreport-x.txt", "01-01 log line\n"}}, "", ""},
                 Case{"after the first section",
                      {{"bugreport-x.txt", "------ LOG ------\n" + header}},
                      "",
                      ""},
                 Case{"fingerprint of another shape",
                      {{"bugreport-x.txt", dumpstateHeader("2026-11-06 14:06:13", "'tv-42'")}},
                      "tv-42",
                      "2026-11-06T14:06:13"},
                 Case{"date of another shape",
                      {{"bugreport-x.txt", dumpstateHeader("Fri Nov  6 14:06:13 2026", "'x'")}},
                      "x",
                      "Fri Nov  6 14:06:13 2026"},
                 Case{"markup",
                      {{"bugreport-x.txt", dumpstateHeader("2026-11-06 14:06:13",
                                                           "'<b>larkspan</b>/p/d:12/X/1:user/k'")}},
                      "<b>larkspan</b>/p/d:12/X/1:user/k",
                      "2026-11-06T14:06:13"},
         }) {
        SCOPED_TRACE(c.name);
        writeZip(path("report.zip"), bugreport(c.entries));
        triage::Outcome outcome = triage::triageInput(path("report.zip"));
        EXPECT_EQ(outcome.error, "");
        EXPECT_EQ(outcome.build, c.build);
        EXPECT_EQ(outcome.takenAt, c.takenAt);
    }
}

// One report sent twice under two names is one report; the same service
// entry under another header is another.
TEST_F(TriageProgramTest, AReportsIdentityIsItsHeaderAndServiceEntry) {
    auto reportAt = [](const std::string& time) {
        return bugreport({{"bugreport-x.txt", dumpstateHeader(time, "'" + kFingerprint + "'")}});
    };
    writeZip(path("a.zip"), reportAt("2026-11-06 14:06:13"));
    writeZip(path("b.zip"), reportAt("2026-11-06 14:06:14"));
    std::filesystem::copy_file(path("a.zip"), path("a-again.zip"));
    std::string a = triage::triageInput(path("a.zip")).identity;
    EXPECT_EQ(triage::triageInput(path("a-again.zip")).identity, a);
    EXPECT_NE(triage::triageInput(path("b.zip")).identity, a);
}

// The committed fleet's answer: build B's TPC share falls from 40 % to 5 %
// while C2's moves by five points, build C is small, and no two reports are
// one.
TEST_F(TriageProgramTest, TheTestFleetHasItsKnownAnswer) {
    ASSERT_EQ(run(std::string("python3 ") + C2INFO_MAKE_FLEET + " --sim " + C2INFO_SIM + " " +
                  C2INFO_FLEET + " fleet")
                      .status,
              0);
    Outcome json = run(std::string(C2INFO_TRIAGE) + " --json fleet");
    ASSERT_EQ(json.status, 0) << json.err;
    std::map<std::string, std::map<std::string, int>> owners;
    std::set<std::string> times;
    for (const auto& row : nlohmann::json::parse(json.out)) {
        std::string build = row["build"];
        ++owners[build.substr(build.rfind('/', build.rfind(':')) + 1, 8)][row["owner"]];
        times.insert(row["takenAt"].get<std::string>());
    }
    EXPECT_EQ(owners,
              (std::map<std::string, std::map<std::string, int>>{
                      {"20261101", {{"TPC owner", 40}, {"C2 Owner", 30}, {"Displink owner", 30}}},
                      {"20261108",
                       {{"TPC owner", 5},
                        {"C2 Owner", 35},
                        {"Displink owner", 30},
                        {"APK owner", 30}}},
                      {"20261115", {{"TPC owner", 3}, {"C2 Owner", 7}}}}));
    EXPECT_EQ(times.size(), 210u);
}

// Each is named on standard error with its reason, the others are still
// reported, and nothing crashes, hangs or reads without bound.
TEST_F(TriageProgramTest, HostileInputsAreNamedWithTheirReason) {
    std::string snapshot = printed(7, _DebugDescription{});
    auto edited = [&](const std::string& from, const std::string& to) {
        return std::string(snapshot).replace(snapshot.find(from), from.size(), to);
    };
    mScratch.write("good.txt",
                   "===== Total Cnt of GetDebugInfo: 1, Latest DebugDescList index: 1 ===\n");
    mScratch.write("empty.txt", "");
    mScratch.write("junk.txt", std::string("\x7f\x45\x4c\x46\x00\x01\xff\n", 8));
    mScratch.write("endless.txt", std::string(5 << 20, 'x'));
    mScratch.write("range.txt", edited("( 0/ 0/", "(300/ 0/"));
    mScratch.write("negative.txt", edited("( 0/ 0/", "(-1/ 0/"));
    mScratch.write("changed.txt", edited("header(", "heater("));
    mScratch.write("fake.zip", "PK not really");
    writeZip(path("other.zip"), {{"bugreport.txt", "no lshal here\n"}});
    std::string huge;  // past the read limit, in lines long enough to read quickly under ASan
    for (std::string line(1023, 'x'); huge.size() < size_t{80} << 20;) huge += line + '\n';
    writeZip(path("huge.zip"), {{triage::kServiceEntry, huge}});
    Outcome result = run(std::string(C2INFO_TRIAGE) +
                         " good.txt empty.txt junk.txt endless.txt range.txt negative.txt "
                         "changed.txt fake.zip other.zip huge.zip missing.txt");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("== good.txt\n"), std::string::npos) << result.out;
    EXPECT_EQ(result.err, c2info_test::slurp(C2INFO_TRIAGE_GOLDEN));
    // Bad command lines are usage errors, each told on one line; a page that
    // cannot be written fails the run.
    struct Case {
        const char* arguments;
        int status;
        const char* usageError;
    };
    for (const Case& c : {
                 Case{" --xml good.txt", 2, "The following argument was not expected: --xml"},
                 Case{" good.txt --html", 2, "--html: 1 required FILE missing"},
                 Case{" --jobs 2x good.txt", 2, "--jobs: Value 2x not in range 1 to 256"},
                 Case{" --jobs 0 good.txt", 2, "--jobs: Value 0 not in range 1 to 256"},
                 Case{" --jobs 257 good.txt", 2, "--jobs: Value 257 not in range 1 to 256"},
                 Case{" --csv --html page.html good.txt", 2, "--csv excludes --html"},
                 Case{" --page-streams 5 good.txt", 2, "--page-streams requires --html"},
                 Case{" --html p.html --page-streams -1 good.txt", 2,
                      "--page-streams: Value -1 not in range 0 to 100000000"},
                 Case{" --jobs 256", 2, "INPUT is required"},
                 Case{" --jobs 256 good.txt", 0, nullptr},
                 Case{" --html page.html good.txt", 0, nullptr},
                 Case{" --html /dev/full good.txt", 1, nullptr},
                 Case{" --html missing/page.html good.txt", 1, nullptr},
         }) {
        SCOPED_TRACE(c.arguments);
        Outcome result = run(C2INFO_TRIAGE + std::string(c.arguments));
        EXPECT_EQ(result.status, c.status);
        if (c.usageError != nullptr) {
            EXPECT_EQ(result.err,
                      "c2info-triage: " + std::string(c.usageError) + " (see --help)\n");
        }
    }
    // A directory stands for its .zip and .txt files below it, in sorted order.
    std::filesystem::create_directories(path("fleet/deeper"));
    for (const char* name : {"fleet/deeper/a.txt", "fleet/b.log", "fleet/c.txt"}) {
        std::filesystem::copy_file(path("good.txt"), path(name));
    }
    const std::string header =
            "source,entry,build,takenAt,stream,component,inputSource,tunnel,finding,owner,complete,"
            "recordTime\n";
    const std::string judged = ",,,,,,0,false,No any C2 component created,APK owner,true,\n";
    EXPECT_EQ(run(std::string(C2INFO_TRIAGE) + " --csv fleet").out,
              header + "fleet/c.txt" + judged + "fleet/deeper/a.txt" + judged);
}

// Asks a store as anyone with sqlite3 would: the first column of each row,
// or SQLite's complaint.
std::string askStore(const std::string& db, const char* sql) {
    sqlite3* handle = nullptr;
    std::string answer;
    if (sqlite3_open(db.c_str(), &handle) == SQLITE_OK) {
        sqlite3_busy_timeout(handle, 10000);
        sqlite3_exec(
                handle, sql,
                [](void* text, int, char** values, char**) {
                    *static_cast<std::string*>(text) += values[0] != nullptr ? values[0] : "NULL";
                    return 0;
                },
                &answer, nullptr);
        if (answer.empty()) answer = sqlite3_errmsg(handle);
    }
    sqlite3_close(handle);
    return answer;
}

class TriageStoreTest : public TriageProgramTest {
protected:
    static constexpr int kInputs = 300;

    // Each its own report.
    void writeInputs() const {
        std::filesystem::create_directories(path("in"));
        for (int i = 0; i < kInputs; ++i) {
            mScratch.write("in/" + std::to_string(1000 + i) + ".txt",
                           passText(1, {}, {{1, recordAt(100 + i, i)}}));
        }
    }
    static std::string triage(const std::string& arguments) {
        return std::string(C2INFO_TRIAGE) + " " + arguments;
    }
};

// Killed at any moment, or written by two runs at once, a store opens whole
// and the next run completes it with every report once; a file that is not
// a store of this schema is refused and left as it was.
TEST_F(TriageStoreTest, NeverLosesNorDoublesAReportAndTouchesNoOtherFile) {
    writeInputs();
    const std::string fresh = run(triage("--json in")).out;
    struct Case {
        std::string name;
        std::string during;  // "DB" stands for the store's path
        const char* sql;     // then run on the store
        const char* out;
        const char* refusal;
    };
    std::vector<Case> cases;
    for (const char* seconds : {"0.005", "0.02", "0.05", "0.1", "0.2"}) {
        cases.push_back(
                {std::string("killed after ") + seconds + " s",
                 std::string("timeout -s KILL ") + seconds + " " + triage("--db DB in >/dev/null"),
                 nullptr, nullptr, nullptr});
    }
    const std::string write = triage("--db DB in >/dev/null");
    cases.push_back({"two writers", write + " & " + write + "; echo $?; wait $!; echo $?", nullptr,
                     "0\n0\n", nullptr});
    cases.push_back({"text", "echo text > DB", nullptr, "", "not a c2info-triage store"});
    cases.push_back({"another program's database", "true", "CREATE TABLE t (x)", "",
                     "not a c2info-triage store"});
    cases.push_back({"a newer store", triage("--db DB in/1000.txt >/dev/null"),
                     "PRAGMA user_version = 3", "",
                     "a store of a newer c2info-triage (schema 3, this one reads up to 2)"});
    // Version 1 kept the streams without rowids; a run brings it up to date.
    cases.push_back({"a store of version 1", triage("--db DB in >/dev/null"),
                     "ALTER TABLE streams RENAME TO newer; CREATE TABLE streams (report, ordinal, "
                     "stream, component, inputSource, tunnel, finding, owner, complete, "
                     "recordTime, module, lines, counters, change, PRIMARY KEY (report, ordinal)) "
                     "WITHOUT ROWID; INSERT INTO streams SELECT * FROM newer; DROP TABLE newer; "
                     "PRAGMA user_version = 1",
                     nullptr, nullptr});
    for (size_t i = 0; i < cases.size(); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        const std::string db = "store" + std::to_string(i) + ".db";
        std::string during = c.during;
        for (size_t at; (at = during.find("DB")) != std::string::npos;) during.replace(at, 2, db);
        Outcome result = run(during);
        if (c.out != nullptr) {
            EXPECT_EQ(result.out, c.out);
        }
        if (c.sql != nullptr) askStore(path(db), c.sql);
        if (c.refusal != nullptr) {
            const std::string before = c2info_test::slurp(path(db));
            auto modified = std::filesystem::last_write_time(path(db));
            Outcome refused = run(triage("--db " + db + " in"));
            EXPECT_EQ(refused.status, 1);
            EXPECT_EQ(refused.out, "");
            EXPECT_EQ(refused.err, "c2info-triage: " + db + ": " + c.refusal + "\n");
            EXPECT_EQ(c2info_test::slurp(path(db)), before);
            EXPECT_EQ(std::filesystem::last_write_time(path(db)), modified);
            continue;
        }
        // Killed before it made the file, a run leaves none.
        if (std::filesystem::exists(path(db))) {
            EXPECT_EQ(askStore(path(db), "PRAGMA integrity_check"), "ok");
        }
        EXPECT_EQ(run(triage("--db " + db + " in >/dev/null")).status, 0);
        EXPECT_EQ(askStore(path(db), "SELECT count(*) FROM reports"), std::to_string(kInputs));
        std::string stored = run(triage("--json --db " + db)).out;
        EXPECT_TRUE(stored == fresh) << stored.substr(0, 1000);
    }
}

// A second run opens none of the inputs it read before: here, each was
// given other bytes of the same size and time. What it prints is what the
// first run printed, and a report under a second name is kept once.
TEST_F(TriageStoreTest, ARunReadsOnlyWhatItsStoreLacks) {
    writeInputs();
    std::filesystem::copy_file(path("in/1000.txt"), path("again.txt"));
    const std::string fresh = run(triage("--json in again.txt")).out;
    const std::string once = run(triage("--json in")).out;
    Outcome first = run(triage("--json --db store.db in again.txt"));
    EXPECT_EQ(first.status, 0);
    EXPECT_TRUE(first.out == fresh) << first.out.substr(0, 1000);
    for (const auto& file : std::filesystem::directory_iterator(path("in"))) {
        auto modified = file.last_write_time();
        mScratch.write("in/" + file.path().filename().string(), std::string(file.file_size(), 'x'));
        std::filesystem::last_write_time(file.path(), modified);
    }
    Outcome second = run(triage("--json --db store.db in again.txt"));
    EXPECT_EQ(second.status, 0);
    EXPECT_EQ(second.err, "");
    EXPECT_TRUE(second.out == fresh) << second.out.substr(0, 1000);
    EXPECT_EQ(askStore(path("store.db"), "SELECT count(*) FROM reports"), std::to_string(kInputs));
    const std::string stored = run(triage("--json --db store.db")).out;
    EXPECT_TRUE(stored == once) << stored.substr(0, 1000);
}

}  // namespace
