// Component callback sets and the key/value information interface that
// reaches them.
#include <android/log.h>

#include "support/LogCapture.h"
#include "support/ServiceTestSupport.h"

namespace c2info_test {
namespace {

class ComponentCallbackTest : public ServiceTest {
protected:
    std::pair<CmtReturn, std::vector<CmtInfoStruct>> getInfo(uint64_t id,
                                                             std::vector<std::string> keys) {
        std::pair<CmtReturn, std::vector<CmtInfoStruct>> answer;
        int calls = 0;
        mService->getInfo(id, hidl_vec<hidl_string>(keys.begin(), keys.end()),
                          [&](CmtReturn ret, const hidl_vec<CmtInfoStruct>& items) {
                              ++calls;
                              answer = {ret, items};
                          });
        EXPECT_EQ(calls, 1);
        return answer;
    }
};

std::shared_ptr<Callbacks> answering(const std::string& tag, std::vector<uint32_t>* askedIds) {
    auto callbacks = std::make_shared<Callbacks>();
    callbacks->getInfoCb = [tag, askedIds](std::vector<std::string> keys, uint32_t id) {
        askedIds->push_back(id);
        std::vector<CmtInfoStruct> items;
        for (const std::string& key : keys)
            items.push_back({static_cast<int32_t>(key.size()), tag + key});
        return items;
    };
    return callbacks;
}

TEST_F(ComponentCallbackTest, QueriesReachTheComponentByTheLowerBitsOfTheId) {
    std::vector<uint32_t> asked;
    Codec2InfoInternal::setCodec2InfoServiceCallback(answering("c:", &asked), 5);
    auto [ret, items] = getInfo(0x700000005ull, {"width", "hdr"});
    EXPECT_EQ(ret, CmtReturn::SUCCESS);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].strValue, "c:width");
    EXPECT_EQ(items[1].intValue, 3);
    EXPECT_EQ(asked, std::vector<uint32_t>{5});
}

TEST_F(ComponentCallbackTest, QueriesWithoutAnAnsweringComponentFailAndAddNothing) {
    auto silent = std::make_shared<Callbacks>();
    silent->captureBufferCb = [] {};
    Codec2InfoInternal::setCodec2InfoServiceCallback(silent, 2);
    for (uint64_t id : {uint64_t{1}, uint64_t{2}}) {
        SCOPED_TRACE(id);
        auto [ret, items] = getInfo(id, {"width"});
        EXPECT_EQ(ret, CmtReturn::FAILURE);
        EXPECT_TRUE(items.empty());
    }
    // No entry was made for id 1 along the way.
    std::vector<uint32_t> asked;
    EXPECT_EQ(mService->enableCapture(1, true, 0), InfoReturn::FAILURE);
    Codec2InfoInternal::setCodec2InfoServiceCallback(answering("", &asked), 2);
    EXPECT_EQ(getInfo(2, {}).first, CmtReturn::SUCCESS);
}

TEST_F(ComponentCallbackTest, ReRegistrationReplacesEveryCallableOfTheSameStoredSet) {
    std::vector<uint32_t> asked;
    std::shared_ptr<Callbacks> first = answering("old:", &asked);
    bool released = false;
    first->releaseBufferCb = [&] { released = true; };
    Codec2InfoInternal::setCodec2InfoServiceCallback(first, 9);
    // Changing the component's object afterwards changes nothing.
    first->getInfoCb = nullptr;
    EXPECT_EQ(getInfo(9, {"k"}).second[0].strValue, "old:k");

    std::shared_ptr<Callbacks> second = answering("new:", &asked);
    Codec2InfoInternal::setCodec2InfoServiceCallback(second, 9);
    EXPECT_EQ(getInfo(9, {"k"}).second[0].strValue, "new:k");
    EXPECT_EQ(mService->releaseVDECBuffer(9), InfoReturn::FAILURE);  // emptied by the second set
    EXPECT_FALSE(released);
}

TEST_F(ComponentCallbackTest, AnEmptyRegistrationIsRefusedWithItsLine) {
    LogCapture log;
    Codec2InfoInternal::setCodec2InfoServiceCallback(nullptr, 3);
    EXPECT_EQ(log.texts(ANDROID_LOG_ERROR),
              std::vector<std::string>{"[L 165][setCodec2InfoServiceCallback] Callback NULL!"});
    EXPECT_EQ(getInfo(3, {}).first, CmtReturn::FAILURE);
}

TEST_F(ComponentCallbackTest, RemovingAStreamDropsItsCallbackSet) {
    std::vector<uint32_t> asked;
    Codec2InfoInternal::setCodec2InfoServiceCallback(answering("", &asked), 4);
    turnLogSwitchOn();
    LogCapture log;
    Codec2InfoInternal::removeStreamInfoByUniqueId(4);
    EXPECT_EQ(log.texts(ANDROID_LOG_DEBUG),
              (std::vector<std::string>{
                      "[L 421][removeStreamInfoByUniqueId] removed uniqueId(4) Callback form "
                      "Codec2InfoInternalCallbacks",
                      "[L 445][removeStreamInfoByUniqueId] unlock"}));
    EXPECT_EQ(getInfo(4, {}).first, CmtReturn::FAILURE);
}

TEST_F(ComponentCallbackTest, IdListFollowsTheRegistryInOrder) {
    auto idList = [&] {
        std::vector<uint64_t> ids;
        mService->getIdList([&](CmtReturn ret, auto type, const hidl_vec<uint64_t>& list) {
            EXPECT_EQ(ret, CmtReturn::SUCCESS);
            EXPECT_EQ(static_cast<uint32_t>(type), 1u);
            ids = list;
        });
        return ids;
    };
    EXPECT_TRUE(idList().empty());
    Codec2InfoInternal::addStreamInfo(makeStream(0xFFFFFFF0));
    Codec2InfoInternal::addStreamInfo(makeStream(3));
    EXPECT_EQ(idList(), (std::vector<uint64_t>{0xFFFFFFF0ull, 3}));
}

}  // namespace
}  // namespace c2info_test
