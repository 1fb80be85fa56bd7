// c2info-sim end to end: the binary as a user runs it.
#include <Harness.h>
#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace {

using c2info_test::Outcome;

class SimTest : public ::testing::Test {
protected:
    // Runs the binary in the scratch directory with `input` on its stdin.
    Outcome sim(const std::string& arguments, const std::string& input = "") const {
        return mScratch.run(std::string(C2INFO_SIM) + " " + arguments, input);
    }
    c2info_test::Scratch mScratch;
};

struct Rgb {
    int r, g, b;
};

// Reads an RGB PNG; empty when it does not decode.
std::vector<Rgb> readPng(const std::string& file, uint32_t* width, uint32_t* height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, file.c_str())) return {};
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr)) return {};
    *width = image.width;
    *height = image.height;
    std::vector<Rgb> pixels;
    for (size_t i = 0; i + 2 < bytes.size(); i += 3) {
        pixels.push_back({bytes[i], bytes[i + 1], bytes[i + 2]});
    }
    return pixels;
}

TEST_F(SimTest, TheShowNamesEachStreamsOwnerAndSavesAColourBarFrame) {
    Outcome run = sim("");
    ASSERT_EQ(run.status, 0) << run.err;
    // The engineer's owner analysis ends with the stream paused by C2BWM.
    EXPECT_NE(run.out.find("  dispatch to **C2BWM Owner** \n  Continue to check next stream... "
                           "\n  [Finish]"),
              std::string::npos)
            << run.out;
    // The broadcast stream went to 3840x2160 at 1.5 s; its frame shows the
    // eight bars, white to black, with the moving box on at most one of
    // the four rows probed.
    uint32_t width = 0, height = 0;
    std::vector<Rgb> pixels = readPng(mScratch.path("capture.png"), &width, &height);
    ASSERT_EQ(width, 3840u);
    ASSERT_EQ(height, 2160u);
    const Rgb kBars[] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                         {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    for (int bar = 0; bar < 8; ++bar) {
        int matching = 0;
        for (uint32_t row = height / 8; row < height; row += height / 4) {
            const Rgb& pixel = pixels[row * width + (2 * bar + 1) * width / 16];
            matching += std::abs(pixel.r - kBars[bar].r) < 40 &&
                        std::abs(pixel.g - kBars[bar].g) < 40 &&
                        std::abs(pixel.b - kBars[bar].b) < 40;
        }
        EXPECT_GE(matching, 3) << "bar " << bar;
    }
}

// At the console, each shipped scenario reaches the verdict it is named
// for: the owner analysis of every file, in name order, against a golden.
TEST_F(SimTest, EachShippedScenarioReachesItsVerdict) {
    std::set<std::filesystem::path> files(std::filesystem::directory_iterator(C2INFO_SCENARIOS),
                                          {});
    std::string analyses;
    for (const std::filesystem::path& file : files) {
        Outcome run =
                sim("--console --scenario " + file.string(), "--enable\nsleep 0.3\n--owner\n");
        EXPECT_EQ(run.status, 0) << run.err;
        size_t begin = run.out.find('\n', run.out.find("- owner\t")) + 1;
        std::string analysis = run.out.substr(begin, run.out.find("[Finish]") - begin);
        analyses += "== " + file.filename().string() + "\n" + analysis;
    }
    EXPECT_EQ(analyses, c2info_test::slurp(C2INFO_SIM_GOLDEN_DIR "/shipped-scenarios.txt"));
}

// What each says on standard error, on one line, is all it does: nothing
// runs.
TEST_F(SimTest, AMalformedScenarioOrCommandLineIsRefusedOnOneLineAndRunsNothing) {
    const std::string kStream = R"({"stream": {"streamid": 1}, "component": "a")";
    std::string refusals;
    for (const std::string& streams : {
                 R"({"stream": {"streamid": 1, "width": 7}, "component": "a"})" + std::string(),
                 kStream + R"(, "debug": {"pendingES": 256}})",
                 kStream + R"(, "debug": {"input": "many"}})",
                 kStream + "}, " + kStream + "}",
                 kStream + R"(, "events": [{"atMs": 5, "event": "Resolution_change"}]})",
                 kStream + R"(, "colour": 1})",
                 kStream + "}, ]",
                 kStream + R"(, "debug": {"input": 1e400}})",
                 kStream + R"(, "perSecond": {"pendingES": 256}})",
         }) {
        mScratch.write("bad.json",
                       R"({"name": "bad", "seconds": 1, "streams": [)" + streams + "]}");
        Outcome run = sim("--scenario bad.json");
        EXPECT_EQ(run.status, 2) << streams;
        refusals += run.err;
    }
    for (const char* arguments :
         {"--scenario", "--enable", "--bugreport out.zip --main-text-mb 1025", "--main-text-mb 1",
          "--bugreport out.zip --taken-at 2026-11-06T14:06:13", "--build x", "--console -- --owner",
          "owner -- --dump"}) {
        Outcome run = sim(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        refusals += run.err;
    }
    EXPECT_EQ(refusals, c2info_test::slurp(C2INFO_SIM_GOLDEN_DIR "/malformed-scenarios.txt"));
}

TEST_F(SimTest, AfterTheApplicationDiesItsListenersHearNothing) {
    mScratch.write("events.json", R"({"name": "events", "seconds": 10, "streams": [
        {"stream": {"streamid": 5}, "component": "c2.vdec.avc",
         "events": [{"atMs": 200, "event": "hdr_change"}, {"atMs": 1500, "event": "vrr_change"}]}]})");
    Outcome run =
            sim("--verbose --console --scenario events.json", "sleep 0.8\nkill-app\nsleep 1.2\n");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("app: event hdr_change of stream 5"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("vrr_change"), std::string::npos) << run.out;
    EXPECT_NE(run.err.find("eventListener died"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("streamListener died"), std::string::npos) << run.err;
}

}  // namespace
