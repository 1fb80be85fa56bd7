#include "ServiceTestSupport.h"

namespace c2info_test {

namespace {
int gTestsInThisProcess = 0;
}  // namespace

void ServiceTest::SetUp() {
    ASSERT_EQ(gTestsInThisProcess++, 0)
            << "each test needs a service of its own: run the tests through ctest, or one at "
               "a time with --gtest_filter";
    mService = Codec2InfoService::getInstance();
}

void ServiceTest::TearDown() {
    for (auto& [keepAlive, mock] : mMocks) ::testing::Mock::VerifyAndClearExpectations(mock);
}

std::pair<InfoReturn, uint64_t> ServiceTest::registerEventListener(
        uint64_t streamId, std::vector<std::string> names, const sp<MockEventListener>& listener) {
    hidl_vec<hidl_string> events(names.begin(), names.end());
    auto [calls, answer] = answerOf<InfoReturn, uint64_t>(
            [&](auto cb) { mService->registerEventListener(streamId, events, listener, cb); });
    EXPECT_EQ(calls, 1);
    return {std::get<0>(answer), std::get<1>(answer)};
}

}  // namespace c2info_test
