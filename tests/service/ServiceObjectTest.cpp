// The singleton and its event-name table.
#include <iterator>
#include <sstream>
#include <thread>

#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

TEST(ServiceObjectTest, ConcurrentFirstCallsShareOneInstance) {
    constexpr int kThreads = 8;
    std::vector<Codec2InfoService*> seen(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&seen, i] { seen[i] = Codec2InfoService::getInstance().get(); });
    }
    for (std::thread& t : threads) t.join();
    for (Codec2InfoService* service : seen) EXPECT_EQ(service, seen[0]);
    EXPECT_NE(seen[0], nullptr);
}

TEST(ServiceObjectTest, EventNamesMapBothWays) {
    sp<Codec2InfoService> service = Codec2InfoService::getInstance();
    // Values 7 to 28, in order.
    std::istringstream table(
            "signal_change resolution_change hdr_change vrr_change wininfo_change spd_change "
            "display_connect display_disconnect first_frame_captured no_frame_captured "
            "stream_configuration_change connect_status_change format_change wss_change "
            "afd_change color_system_change color_matrix_change color_format_change "
            "color_range_change color_allm_change bitrate_change bitdepth_change");
    std::vector<std::string> names{std::istream_iterator<std::string>(table), {}};
    ASSERT_EQ(names.size(), 22u);
    for (uint64_t value = 0; value <= 30; ++value) {
        SCOPED_TRACE(value);
        auto event = static_cast<NotifyEvent>(value);
        std::string expected = value >= 7 && value <= 28 ? names[value - 7] : "";
        EXPECT_EQ(service->eventToString(event), expected);
        if (!expected.empty()) {
            EXPECT_EQ(service->stringToEvent(expected), event);
        }
    }
    for (const char* unknown :
         {"Resolution_change", "", "resolution_change ", "RESOLUTION_CHANGE"}) {
        EXPECT_EQ(service->stringToEvent(unknown), NotifyEvent::NONE) << unknown;
    }
}

}  // namespace
}  // namespace c2info_test
