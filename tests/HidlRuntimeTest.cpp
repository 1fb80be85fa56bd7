// The host HIDL runtime's semantics that the service relies on.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <hidl/HidlSupport.h>
#include <hidl/RemotePeer.h>
#include <hidl/Status.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vendor/larkspan/hardware/c2/info/1.0/ICodec2InfoServiceStreamListener.h>
#include <vendor/larkspan/hardware/c2/info/1.0/types.h>

#include <thread>

namespace {

using ::android::sp;
using ::android::wp;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::RemotePeer;
using ::android::hardware::Return;
using ::android::hardware::Status;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceStreamListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_STREAM_LIST;

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

native_handle_t* makeHandleWithOneFd() {
    native_handle_t* handle = native_handle_create(1, 1);
    handle->data[0] = memfd_create("hidl-runtime-test", MFD_CLOEXEC);
    handle->data[1] = 42;
    return handle;
}

void deleteHandle(native_handle_t* handle) {
    native_handle_close(handle);
    native_handle_delete(handle);
}

TEST(HidlRuntimeTest, StringsAndVectorsCopyDeeply) {
    hidl_string original("stream");
    hidl_string copy = original;
    original = "changed";
    EXPECT_EQ(copy, "stream");

    hidl_vec<hidl_string> names{"a", "b"};
    hidl_vec<hidl_string> namesCopy = names;
    names[0] = "z";
    EXPECT_EQ(namesCopy[0], "a");

    ST_STREAM_LIST record{};
    record.streamid = 7;
    record.info = "text";
    ST_STREAM_LIST recordCopy = record;
    record.info = "other";
    EXPECT_EQ(recordCopy.info, "text");
    EXPECT_EQ(recordCopy.streamid, 7u);
}

TEST(HidlRuntimeTest, HandleFromPointerIsBorrowedAndCopyIsOwnedClone) {
    native_handle_t* raw = makeHandleWithOneFd();
    int cloneFd;
    {
        hidl_handle borrowed(raw);
        EXPECT_EQ(borrowed.getNativeHandle(), raw);
        {
            hidl_handle owned = borrowed;
            ASSERT_NE(owned.getNativeHandle(), nullptr);
            EXPECT_NE(owned.getNativeHandle(), raw);
            cloneFd = owned->data[0];
            EXPECT_NE(cloneFd, raw->data[0]);
            EXPECT_EQ(owned->data[1], 42);
            EXPECT_TRUE(isOpen(cloneFd));
        }
        EXPECT_FALSE(isOpen(cloneFd));  // the clone was closed with its owner
    }
    EXPECT_TRUE(isOpen(raw->data[0]));  // the borrowed one was not
    deleteHandle(raw);

    EXPECT_EQ(hidl_handle().getNativeHandle(), nullptr);
    hidl_handle emptyCopy = hidl_handle();
    EXPECT_EQ(emptyCopy.getNativeHandle(), nullptr);
}

TEST(HidlRuntimeTest, StatusDescriptionsReadAsThePlatformsDo) {
    struct Case {
        const char* name;
        Status status;
        const char* description;
    } cases[] = {
            {"ok", Status::ok(), "No error"},
            {"dead peer", Status::fromStatusT(android::DEAD_OBJECT),
             "Status(EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '"},
            {"transaction failed", Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED),
             "Status(EX_TRANSACTION_FAILED): 'FAILED_TRANSACTION: '"},
            {"with message", Status::fromExceptionCode(Status::EX_ILLEGAL_ARGUMENT, "bad id"),
             "Status(EX_ILLEGAL_ARGUMENT): 'bad id'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.status.description(), c.description);
    }
}

TEST(HidlRuntimeDeathTest, UncheckedFailedReturnAborts) {
    EXPECT_DEATH({ Return<void> ret(Status::fromStatusT(android::DEAD_OBJECT)); },
                 "Failed HIDL return status not checked: Status\\(EX_TRANSACTION_FAILED\\): "
                 "'DEAD_OBJECT: '");
}

TEST(HidlRuntimeDeathTest, ReadingValueOfFailedReturnAborts) {
    EXPECT_DEATH(
            {
                Return<bool> ret(Status::fromStatusT(android::FAILED_TRANSACTION));
                bool value = ret;
                (void)value;
            },
            "Attempted to retrieve value from failed HIDL call");
}

class StreamListener : public RemotePeer<ICodec2InfoServiceStreamListener> {
public:
    Return<void> onNotify(uint32_t type, uint64_t, const hidl_string&) override {
        if (Status status = transportStatus(); !status.isOk()) return status;
        lastType = type;
        return Void();
    }
    uint32_t lastType = ~0u;
};

class Recipient : public hidl_death_recipient {
public:
    void serviceDied(uint64_t cookie, const wp<IBase>& who) override {
        std::lock_guard<std::mutex> lock(mutex);
        cookies.push_back(cookie);
        threads.push_back(std::this_thread::get_id());
        lastWho = who;
    }
    std::mutex mutex;
    std::vector<uint64_t> cookies;
    std::vector<std::thread::id> threads;
    wp<IBase> lastWho;
};

TEST(HidlRuntimeTest, PeerDeathReachesEveryLinkedRecipientWithItsCookieOnAnotherThread) {
    sp<StreamListener> peer = new StreamListener();
    sp<Recipient> first = new Recipient();
    sp<Recipient> second = new Recipient();
    sp<Recipient> unlinked = new Recipient();
    EXPECT_TRUE(peer->isRemote());
    EXPECT_TRUE(peer->linkToDeath(first, 11));
    EXPECT_TRUE(peer->linkToDeath(first, 12));
    EXPECT_TRUE(peer->linkToDeath(second, 21));
    EXPECT_TRUE(peer->linkToDeath(unlinked, 31));
    EXPECT_TRUE(peer->unlinkToDeath(unlinked));
    EXPECT_FALSE(peer->linkToDeath(nullptr, 1));

    peer->die();

    EXPECT_EQ(first->cookies, (std::vector<uint64_t>{11, 12}));
    EXPECT_EQ(second->cookies, (std::vector<uint64_t>{21}));
    EXPECT_TRUE(unlinked->cookies.empty());
    ASSERT_EQ(first->threads.size(), 2u);
    EXPECT_NE(first->threads[0], std::this_thread::get_id());
    EXPECT_EQ(first->lastWho.promote().get(), static_cast<IBase*>(peer.get()));

    EXPECT_FALSE(peer->linkToDeath(first, 13));  // linking to a dead peer fails
    Return<void> ret = peer->onNotify(0, 1, "");
    EXPECT_FALSE(ret.isOk());
    EXPECT_EQ(ret.description(), "Status(EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '");
}

TEST(HidlRuntimeTest, TransportFailureFailsCallsWhileThePeerLives) {
    sp<StreamListener> peer = new StreamListener();
    peer->setTransportFailing(true);
    Return<void> failed = peer->onNotify(1, 1, "");
    EXPECT_FALSE(failed.isOk());
    EXPECT_EQ(failed.description(), "Status(EX_TRANSACTION_FAILED): 'FAILED_TRANSACTION: '");
    EXPECT_EQ(peer->lastType, ~0u);

    peer->setTransportFailing(false);
    EXPECT_TRUE(peer->onNotify(1, 1, "").isOk());
    EXPECT_EQ(peer->lastType, 1u);
}

TEST(HidlRuntimeTest, LocalObjectsAnswerTheBaseMethods) {
    sp<StreamListener> peer = new StreamListener();
    std::vector<std::string> chain;
    EXPECT_TRUE(peer->interfaceChain([&](const hidl_vec<hidl_string>& c) {
                        chain.assign(c.begin(), c.end());
                    }).isOk());
    EXPECT_EQ(chain,
              (std::vector<std::string>{
                      "vendor.larkspan.hardware.c2.info@1.0::ICodec2InfoServiceStreamListener",
                      "android.hidl.base@1.0::IBase"}));
    std::string descriptor;
    EXPECT_TRUE(peer->interfaceDescriptor([&](const hidl_string& d) { descriptor = d; }).isOk());
    EXPECT_EQ(descriptor, ICodec2InfoServiceStreamListener::descriptor);

    sp<IBase> base = peer;
    sp<ICodec2InfoServiceStreamListener> cast = ICodec2InfoServiceStreamListener::castFrom(base);
    EXPECT_EQ(cast.get(), peer.get());
}

}  // namespace
