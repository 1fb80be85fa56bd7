// Drop modes that clients set and components read.

#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

class DropModeTest : public ServiceTest {};

TEST_F(DropModeTest, TimedBitStaysWhileThePlainBitFollowsTheSwitch) {
    struct Step {
        const char* name;
        std::function<void(Codec2InfoService&)> request;
        uint32_t mode;
        int64_t time;
    } steps[] = {
            {"nothing asked", [](Codec2InfoService&) {}, 0, 0},
            {"drop on", [](Codec2InfoService& s) { s.setDropMode(true); }, 2, 0},
            {"drop off", [](Codec2InfoService& s) { s.setDropMode(false); }, 0, 0},
            {"timed", [](Codec2InfoService& s) { s.setTimedDropMode(5); }, 1, 5},
            {"timed, drop on", [](Codec2InfoService& s) { s.setDropMode(true); }, 3, 5},
            {"drop off keeps timed", [](Codec2InfoService& s) { s.setDropMode(false); }, 1, 5},
            {"negative time", [](Codec2InfoService& s) { s.setTimedDropMode(-42); }, 1, -42},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        step.request(*mService);
        EXPECT_EQ(Codec2InfoInternal::getDropMode(), step.mode);
        EXPECT_EQ(Codec2InfoInternal::getBootCompleteTime(), step.time);
    }
}

TEST(DropModeBeforeServiceTest, ReadersBeforeTheServiceExistsAnswerZero) {
    EXPECT_EQ(Codec2InfoInternal::getDropMode(), 0u);
    EXPECT_EQ(Codec2InfoInternal::getBootCompleteTime(), 0);
}

}  // namespace
}  // namespace c2info_test
