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

}  // namespace c2info_test
