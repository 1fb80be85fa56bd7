// c2info-triage: the service's snapshot blocks read back exactly, and the
// program on bugreports made by c2info-sim and on hostile inputs.
#include <DebugFields.h>
#include <DebugReports.h>
#include <Harness.h>
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zip.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>

#include "DumpReader.h"
#include "Inputs.h"
#include "Scenario.h"

namespace {

using triage::_DebugDescription;
using ::vendor::larkspan::hardware::c2::info::implementation::DebugField;
using ::vendor::larkspan::hardware::c2::info::implementation::debugFields;
using ::vendor::larkspan::hardware::c2::info::implementation::printSnapshot;

std::string printed(uint32_t streamId, const _DebugDescription& record) {
    int fd = memfd_create("printed", MFD_CLOEXEC);
    printSnapshot(fd, streamId, record);
    std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(fd);
    return text;
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
    setenv("TZ", "UTC", 1);
    tzset();
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);  // the printer logs its time lines
    std::vector<_DebugDescription> records;
    for (const auto& file : std::filesystem::directory_iterator(C2INFO_SCENARIOS)) {
        for (const sim::StreamScenario& stream : sim::readScenarioFile(file.path()).streams) {
            records.push_back(stream.debug);
            records.insert(records.end(), stream.snapshots.begin(), stream.snapshots.end());
        }
    }
    std::mt19937_64 random(20261123);
    for (int i = 0; i < 300; ++i) records.push_back(randomRecord(random));

    for (size_t i = 0; i < records.size(); ++i) {
        auto streamId = static_cast<uint32_t>(i * 2654435761u);
        std::string text = printed(streamId, records[i]);
        triage::Dump dump = triage::readDump(text);
        ASSERT_EQ(dump.snapshots.size(), 1u) << text;
        EXPECT_EQ(printed(dump.snapshots[0].streamId, dump.snapshots[0].record), text);
    }
    // As pasted from a terminal: trailing blanks and CR LF line ends.
    std::string pasted = printed(1, records.back());
    for (size_t at = 0; (at = pasted.find('\n', at)) != std::string::npos; at += 4) {
        pasted.replace(at, 1, "  \r\n");
    }
    triage::Dump dump = triage::readDump(pasted);
    ASSERT_EQ(dump.snapshots.size(), 1u);
    EXPECT_EQ(printed(1, dump.snapshots[0].record), printed(1, records.back()));
}

// dumpstate gave up in the middle of the second pass: the first pass's
// record is the one analysed, and the cut block is said to be dropped.
TEST(DumpReaderTest, ABlockCutOffIsDroppedAndTheOlderRecordKept) {
    _DebugDescription older{}, newer{};
    older.input = 11;
    newer.input = 99;
    std::string second = printed(5, newer);
    std::string text = printed(5, older) + second.substr(0, second.size() / 2);
    triage::Dump dump = triage::readDump(text);
    ASSERT_EQ(dump.snapshots.size(), 1u);
    EXPECT_EQ(dump.snapshots[0].record.input, 11);
    EXPECT_EQ(dump.dropped,
              std::vector<std::string>{"line 26: snapshot block of strId(5) cut off, dropped"});
}

using c2info_test::Outcome;

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
    ASSERT_EQ(run(std::string(C2INFO_SIM) + " --bugreport " + zip + " --main-text-mb 1").status, 0);

    Outcome text = run(std::string(C2INFO_TRIAGE) + " " + zip);
    mScratch.write("entry.txt", triage::loadInput(zip).text);
    Outcome fromStandardInput = run(std::string(C2INFO_TRIAGE) + " - < " + path("entry.txt"));
    EXPECT_EQ(fromStandardInput.out.substr(fromStandardInput.out.find('\n')),
              text.out.substr(text.out.find('\n')));
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out.rfind("== " + zip + ": " + triage::kServiceEntry + "\n", 0), 0u) << text.out;
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
        owners.emplace_back(row["owner"], row["complete"]);
    }
    EXPECT_EQ(owners, (std::vector<std::pair<std::string, bool>>{
                              {"C2BWM Owner or displink owner", false},
                              {"APK owner", true},
                              {"C2 Owner or Displink Owner", false},
                              {"C2BWM Owner or displink owner", false}}));
}

void writeZip(const std::string& file, const char* entry, const std::string& content) {
    int error = 0;
    zip_t* archive = zip_open(file.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    ASSERT_NE(archive, nullptr);
    zip_source_t* source = zip_source_buffer(archive, content.data(), content.size(), 0);
    ASSERT_GE(zip_file_add(archive, entry, source, 0), 0);
    ASSERT_EQ(zip_close(archive), 0);
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
    writeZip(path("other.zip"), "bugreport.txt", "no lshal here\n");
    writeZip(path("huge.zip"), triage::kServiceEntry, std::string(size_t{80} << 20, '\n'));
    Outcome result = run(std::string(C2INFO_TRIAGE) +
                         " good.txt empty.txt junk.txt endless.txt range.txt negative.txt "
                         "changed.txt fake.zip other.zip huge.zip missing.txt");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("== good.txt\n"), std::string::npos) << result.out;
    EXPECT_EQ(result.err, c2info_test::slurp(C2INFO_TRIAGE_GOLDEN));
    EXPECT_EQ(run(std::string(C2INFO_TRIAGE) + " --xml good.txt").status, 2);
}

}  // namespace
