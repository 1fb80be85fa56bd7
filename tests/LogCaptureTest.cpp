#include <android/log.h>
#include <gtest/gtest.h>

#include "support/LogCapture.h"

namespace {

using c2info_test::LogCapture;

TEST(LogCaptureTest, CapturesEveryPriorityWithTheDefaultTag) {
    LogCapture capture;
    __android_log_print(ANDROID_LOG_DEBUG, nullptr, "[L%4d][%s] %s", 42, "fn", "debug");
    __android_log_print(ANDROID_LOG_ERROR, nullptr, "error %d", 1);

    std::vector<c2info_test::LogLine> lines = capture.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].priority, ANDROID_LOG_DEBUG);
    EXPECT_EQ(lines[0].text, "[L  42][fn] debug");
    EXPECT_FALSE(lines[0].tag.empty());  // the program's name stands in
    EXPECT_EQ(capture.count(ANDROID_LOG_ERROR, "error 1"), 1u);
    EXPECT_EQ(capture.texts(ANDROID_LOG_ERROR), std::vector<std::string>{"error 1"});
}

}  // namespace
