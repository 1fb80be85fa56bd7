// One scripted session of components and clients on a fresh service: each
// call with its answer, every line logged with its priority, and all that
// listeners, components and debug targets are told, in order, against
// golden/session.txt. Calls made from inside a callback show between the
// outer call and its answer. The script's comments say what each part pins.
#include <cutils/properties.h>
#include <sys/mman.h>

#include <map>

#include "support/DebugTestSupport.h"
#include "support/Transcript.h"

namespace c2info_test {
namespace {

using ::android::hardware::toString;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoDebugTarget;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtIdType;
using Items = std::vector<StreamInfoItem>;
using Words = hidl_vec<hidl_string>;

std::map<const native_handle_t*, std::string> gHandleNames;

std::string shown(bool value) {
    return value ? "true" : "false";
}
std::string shown(const std::string& value) {
    return value;
}
template <typename T>
auto shown(const T& value) -> decltype(toString(value)) {
    return toString(value);
}
template <typename T>
std::string shown(const Return<T>& value) {
    return shown(static_cast<T>(value));
}
std::string shown(const CAPTURE_BUFFER_DESCRIPTION& d) {
    std::string text = toString(d);
    size_t handle = text.rfind(".buffer = ") + 10;
    return text.replace(handle, text.size() - handle - 1,
                        gHandleNames.at(d.buffer.getNativeHandle()));
}

// The reply of a method that replies through a callback, and how often it
// replied when that is not once.
template <typename... Answer, typename Method>
std::string answered(Method&& method) {
    auto [calls, answer] = answerOf<Answer...>(method);
    std::string text;
    std::apply([&](const auto&... value) { ((text += " " + shown(value)), ...); }, answer);
    return text.substr(1) + (calls == 1 ? "" : " (replied " + std::to_string(calls) + " times)");
}

#define CALL(expr)                        \
    do {                                  \
        note("> " #expr);                 \
        std::string answer = shown(expr); \
        note("  = " + answer);            \
    } while (false)
#define DO(statement)          \
    do {                       \
        note("> " #statement); \
        statement;             \
    } while (false)

class Target : public Codec2InfoDebugTarget {
public:
    explicit Target(std::string name) : mName(std::move(name)) {}
    const std::string& targetName() override { return mName; }
    void printUsage(int fd, int indent) override {
        dprintf(fd, "%*s%s usage\n", indent, "", mName.c_str());
    }
    void dump(int fd, const std::vector<std::string_view>& args) override {
        std::string words;
        for (std::string_view arg : args) words += " " + std::string(arg);
        note("  target " + mName + " runs with" + words);
        dprintf(fd, "%s ran\n", mName.c_str());
    }

private:
    std::string mName;
};

class SessionTest : public ServiceTest {
protected:
    Return<InfoReturn> add(const ST_STREAM_LIST& stream) {
        return Codec2InfoInternal::addStreamInfo(stream);
    }
    Return<InfoReturn> remove(uint32_t id) {
        return Codec2InfoInternal::removeStreamInfoByUniqueId(id);
    }
    Return<InfoReturn> update(uint32_t id, const Items& items) {
        return Codec2InfoInternal::updateStreamInfo(id, items);
    }
    bool post(uint32_t id, NotifyEvent event, const CmtInfoStruct& payload = {}) {
        return Codec2InfoInternal::postCodec2EventToAPK(id, event, payload);
    }
    void setComponent(uint32_t id, std::shared_ptr<Callbacks> callbacks) {
        Codec2InfoInternal::setCodec2InfoServiceCallback(std::move(callbacks), id);
    }
    std::string streams() {
        return answered<InfoReturn, hidl_vec<ST_STREAM_LIST>>(
                [&](auto cb) { mService->getStreamList(cb); });
    }
    std::string idList() {
        return answered<CmtReturn, CmtIdType, hidl_vec<uint64_t>>(
                [&](auto cb) { mService->getIdList(cb); });
    }
    std::string hwSync(uint64_t hwSyncId) {
        return answered<InfoReturn, uint32_t>(
                [&](auto cb) { mService->convertHwSyncIdToStreamId(hwSyncId, cb); });
    }
    std::string info(uint64_t id, const Words& keys) {
        return answered<CmtReturn, hidl_vec<CmtInfoStruct>>(
                [&](auto cb) { mService->getInfo(id, keys, cb); });
    }
    // The service's lock is free again while the client is answered; the
    // handle is named while it is the service's.
    std::string capture(uint32_t id) {
        return answered<InfoReturn, std::string>([&](auto cb) {
            mService->getCurrentVDECBuffer(id, [&](InfoReturn ret, const auto& d) {
                mService->getStreamList([](InfoReturn, const auto&) {});
                cb(ret, shown(d));
            });
        });
    }
    // The id answered is kept in mLastId.
    template <typename Method>
    std::string registered(Method&& method) {
        auto [calls, answer] = answerOf<InfoReturn, uint64_t>(method);
        mLastId = std::get<1>(answer);
        return shown(std::get<0>(answer)) + " " + std::to_string(mLastId);
    }
    std::string listen(const sp<StreamEar>& ear) {
        return registered([&](auto cb) { mService->registerStreamListener(ear, cb); });
    }
    std::string listen(uint64_t id, const Words& names, const sp<EventEar>& ear) {
        return registered([&](auto cb) { mService->registerEventListener(id, names, ear, cb); });
    }
    Return<CmtReturn> listen(uint64_t id, const sp<InfoEar>& ear, hidl_vec<uint64_t> events) {
        return mService->registerListener(id, ear, events);
    }
    // Words separated by '|'; what the command printed follows them.
    std::string debug(const std::string& line) {
        std::vector<std::string> words(1);
        for (char c : line) {
            if (c == '|') words.emplace_back();
            if (c != '|') words.back() += c;
        }
        std::string output = line;
        for (const std::string& printed : linesOf(withoutSystemTimes(runDebug(*mService, words))))
            output += "\n  | " + printed;
        return output;
    }
    std::string dropMode() {
        return std::to_string(Codec2InfoInternal::getDropMode()) + " " +
               std::to_string(Codec2InfoInternal::getBootCompleteTime());
    }
    // The switch is read again when a stream is added or removed.
    void logSwitch(const char* value) {
        property_set("vendor.qrv.c2infoservice.log", value);
        add(makeStream(0xFFFF0000));
        remove(0xFFFF0000);
    }

    // Every entry point, called from inside a callback of stream 5: refused
    // with its failure result where the thread holds the lock it needs,
    // answered as on any other thread elsewhere.
    void callEverything(const sp<InfoEar>& app) {
        uint32_t width = 1920;
        sp<StreamEar> nestedStreams = new StreamEar("nestedStreams");
        sp<EventEar> nestedEvents = new EventEar("nestedEvents");
        CALL(add(makeStream(6)));
        CALL(remove(6));
        CALL(update(5, {{1, &width, 4}}));
        CALL(mService->unregisterListener(5));
        CALL(listen(5, app, {}));
        CALL(listen(nestedStreams));
        CALL(mService->unregisterStreamListener(mLastId));
        CALL(listen(5, {"hdr_change"}, nestedEvents));
        CALL(mService->updateListenEvents(mLastId, {}));
        CALL(mService->unregisterEventListener(mLastId));
        CALL(idList());
        CALL(streams());
        CALL(info(5, {"codec"}));
        CALL(hwSync(makeStream(5).hwSyncId));
        CALL(capture(5));
        CALL(mService->releaseVDECBuffer(5));
        CALL(mService->enableCapture(5, true, 0));
        CALL(debug("--reset"));
        CALL(post(5, NotifyEvent::HDR_CHANGE));
    }

    uint64_t mLastId = 0;
};

TEST_F(SessionTest, EverythingSaidMatchesTheGolden) {
    logIntoTranscript();
    note("# The registry: what components add, update and remove; what clients read.");
    sp<StreamEar> first = new StreamEar("first");
    CALL(listen(first));
    CALL(idList());
    CALL(hwSync(5));
    CALL(add(makeStream(8)));
    CALL(streams());
    CALL(add(makeStream(1, "one")));
    CALL(add(makeStream(2)));
    note("# Added again: replaced at the end, and nobody is told.");
    ST_STREAM_LIST again = makeStream(1, "again");
    again.width = 640;
    CALL(add(again));
    CALL(streams());
    note("# Re-keying is the one way to two records of an id; removal drops both.");
    uint32_t one = 1;
    CALL(update(2, {{9, &one, 4}}));
    CALL(remove(1));
    CALL(remove(99));
    CALL(streams());
    note("# Each attribute is written with its width: 64 bits for 11, 15 and 16.");
    uint64_t values[17] = {static_cast<uint64_t>(-3),
                           3840,
                           2160,
                           13,
                           14,
                           15,
                           16,
                           17,
                           50,
                           0,
                           static_cast<uint64_t>(-9),
                           0xABCDEF0123,
                           8,
                           1,
                           4,
                           0x1122334455,
                           0x5566778899};
    Items everything;
    for (int32_t attr = 0; attr < 17; ++attr) {
        if (attr != 9)
            everything.push_back({attr, &values[attr], attr == 11 || attr >= 15 ? 8 : 4});
    }
    CALL(update(8, everything));
    CALL(streams());
    note("# A failing update keeps what it applied before.");
    uint32_t width = 720;
    CALL(update(7, {}));
    CALL(update(8, {{1, &width, 4}, {17, &width, 4}}));
    CALL(update(8, {{-1, &width, 4}}));
    CALL(update(8, {{2, nullptr, 4}}));
    CALL(update(8, {}));
    CALL(streams());
    CALL(remove(8));
    note("# The oldest stream of a sync id answers; all 64 bits count.");
    ST_STREAM_LIST older = makeStream(4), newer = makeStream(3);
    older.hwSyncId = newer.hwSyncId = 0x700000001ull;
    CALL(add(older));
    CALL(add(newer));
    CALL(hwSync(0x700000001ull));
    CALL(hwSync(1));
    CALL(add(makeStream(0xFFFFFFF0)));
    CALL(idList());
    for (uint32_t id : {2u, 3u, 4u, 0xFFFFFFF0u}) remove(id);

    note("# Stream listeners: ids from 0, told in id order; the same object twice is two.");
    sp<StreamEar> second = new StreamEar("second");
    CALL(listen(second));
    CALL(listen(first));
    CALL(add(makeStream(7, "text")));
    CALL(remove(7));
    CALL(mService->unregisterStreamListener(2));
    CALL(mService->unregisterStreamListener(2));
    note("# A listener whose transport fails is logged and kept.");
    DO(first->setTransportFailing(true));
    CALL(add(makeStream(3)));
    DO(first->setTransportFailing(false));
    CALL(remove(3));
    note("# A dead listener is dropped without a call; dead after leaving, it is not found.");
    logSwitch("1");
    DO(second->die());
    CALL(add(makeStream(4)));
    CALL(mService->unregisterStreamListener(0));
    DO(first->die());
    logSwitch("0");
    note("# One that cannot be linked is said so and kept; a null one takes no id.");
    sp<StreamEar> dead = new StreamEar("dead"), last = new StreamEar("last");
    DO(dead->die());
    CALL(listen(dead));
    CALL(listen(nullptr));
    CALL(listen(last));
    CALL(remove(4));
    CALL(mService->unregisterStreamListener(3));
    note("# One that dies in the middle of its notification is dropped once it is over.");
    DO(last->then = [&](auto&) { last->dieDuringCall(); });
    CALL(add(makeStream(4)));
    DO(last->awaitObituaries());
    CALL(mService->unregisterStreamListener(4));
    remove(4);

    note("# Event listeners: the stream's and the event's, in id order, once each.");
    sp<EventEar> resolution = new EventEar("resolution"), both = new EventEar("both"),
                 otherStream = new EventEar("otherStream"), hdr = new EventEar("hdr");
    CALL(listen(5, {"resolution_change"}, resolution));
    CALL(listen(5, {"hdr_change", "resolution_change", "resolution_change"}, both));
    CALL(listen(6, {"resolution_change"}, otherStream));
    CALL(listen(5, {"hdr_change"}, hdr));
    CALL(post(5, NotifyEvent::RESOLUTION_CHANGE, {42, "1920x1080"}));
    note("# Names resolve exactly; unknown ones are skipped with a warning.");
    sp<EventEar> vrr = new EventEar("vrr");
    CALL(listen(1, {"HDR_CHANGE", "vrr_change", ""}, vrr));
    CALL(post(1, NotifyEvent::HDR_CHANGE));
    CALL(post(1, NotifyEvent::VRR_CHANGE));
    note("# Updating the events replaces the subscription.");
    sp<EventEar> signal = new EventEar("signal");
    CALL(listen(1, {}, signal));
    CALL(post(1, NotifyEvent::SIGNAL_CHANGE));
    CALL(mService->updateListenEvents(mLastId, {"signal_change", "nonsense"}));
    CALL(post(1, NotifyEvent::SIGNAL_CHANGE));
    CALL(mService->updateListenEvents(99, {"signal_change"}));
    note("# Unregistered, failing and dead listeners are handled apart.");
    sp<EventEar> leaving = new EventEar("leaving"), failing = new EventEar("failing"),
                 dying = new EventEar("dying"), staying = new EventEar("staying");
    for (const sp<EventEar>& ear : {leaving, failing, dying, staying}) {
        listen(2, {"afd_change"}, ear);
    }
    CALL(mService->unregisterEventListener(6));
    DO(failing->setTransportFailing(true));
    DO(dying->die());
    CALL(post(2, NotifyEvent::AFD_CHANGE));
    CALL(mService->unregisterEventListener(6));
    CALL(listen(2, {"hdr_change"}, nullptr));

    note("# Information listeners: one per stream, and only for a stream that is there.");
    sp<InfoEar> app = new InfoEar("app");
    CALL(mService->unregisterListener(3));
    CALL(add(makeStream(3)));
    CALL(listen(0x100000003ull, app, {}));
    CALL(listen(4, app, {}));
    CALL(listen(3, nullptr, {}));
    CALL(listen(3, app, {}));
    CALL(mService->unregisterListener(7));
    CALL(mService->unregisterListener(0x500000003ull));
    CALL(post(3, NotifyEvent::HDR_CHANGE));
    note("# It hears the value with an empty payload, after the event listeners.");
    sp<EventEar> events = new EventEar("events");
    CALL(listen(3, {"hdr_change"}, events));
    CALL(listen(3, app, {}));
    CALL(post(3, NotifyEvent::HDR_CHANGE, {42, "1920x1080"}));
    CALL(post(3, NotifyEvent::NONE, {42, "1920x1080"}));
    note("# Its filter decides; registering again replaces listener and filter.");
    CALL(listen(3, app, {8, 27}));
    CALL(post(3, NotifyEvent::BITRATE_CHANGE));
    CALL(post(3, NotifyEvent::HDR_CHANGE));
    CALL(post(4, NotifyEvent::BITRATE_CHANGE));
    sp<InfoEar> replacement = new InfoEar("replacement");
    CALL(listen(3, replacement, {0x100000009ull}));
    note("# Event values keep their high bits.");
    CALL(post(3, static_cast<NotifyEvent>(0x100000009ull)));
    CALL(post(3, NotifyEvent::HDR_CHANGE));
    note("# It outlives its stream.");
    CALL(listen(3, replacement, {}));
    CALL(remove(3));
    CALL(post(3, NotifyEvent::HDR_CHANGE));
    CALL(listen(3, app, {}));
    CALL(mService->unregisterListener(3));

    note("# Event names, both ways.");
    for (uint64_t value = 0; value <= 30; ++value) {
        std::string name = mService->eventToString(static_cast<NotifyEvent>(value));
        note("  " + std::to_string(value) + " " + name + " " +
             std::to_string(static_cast<uint64_t>(mService->stringToEvent(name))));
    }
    CALL(mService->stringToEvent("Resolution_change"));
    CALL(mService->stringToEvent("resolution_change "));

    note("# Component callables: reached by the id's lower bits, replaced whole.");
    DO(setComponent(5, component("c#5")));
    CALL(info(0x700000005ull, {"width", "hdr"}));
    auto silent = std::make_shared<Callbacks>();
    silent->captureBufferCb = [] {};
    DO(setComponent(2, silent));
    CALL(info(1, {"width"}));
    CALL(info(2, {"width"}));
    CALL(mService->enableCapture(1, true, 0));
    std::shared_ptr<Callbacks> old = component("old#9");
    DO(setComponent(9, old));
    DO(old->getInfoCb = nullptr);
    CALL(info(9, {"k"}));
    auto answering = std::make_shared<Callbacks>();
    answering->getInfoCb = component("new#9")->getInfoCb;
    DO(setComponent(9, answering));
    CALL(info(9, {"k"}));
    CALL(mService->releaseVDECBuffer(9));
    DO(setComponent(3, nullptr));
    CALL(info(3, {}));
    note("# Removing a stream drops its callables.");
    logSwitch("1");
    CALL(remove(5));
    CALL(info(5, {}));
    logSwitch("0");

    note("# Capture: the bound buffer with its stream's geometry; formats 3 and up halve it.");
    native_handle_t* bound = nullptr;
    native_handle_t* buffers[] = {native_handle_create(1, 0), native_handle_create(1, 0)};
    for (native_handle_t* buffer : buffers) {
        buffer->data[0] = memfd_create("capture", MFD_CLOEXEC);
        gHandleNames[buffer] = "buffer" + std::to_string(gHandleNames.size());
    }
    gHandleNames[nullptr] = "none";
    CALL(capture(1));
    CALL(mService->releaseVDECBuffer(1));
    DO(setComponent(1, component("capturer#1", &bound)));
    DO(bound = buffers[0]);
    for (int32_t format : {2, 3, 0x7fffffff, -1}) {
        ST_STREAM_LIST stream = makeStream(1);
        stream.colorformat = format;
        stream.interlace = 1;
        CALL(add(stream));
        CALL(capture(1));
    }
    note("# A component that binds nothing: the earlier buffer until it is released.");
    DO(bound = nullptr);
    CALL(capture(1));
    CALL(mService->releaseVDECBuffer(1));
    CALL(capture(1));
    CALL(mService->releaseVDECBuffer(1));
    CALL(mService->enableCapture(1, true, 0xFFFFFFFFFFull));
    CALL(mService->enableCapture(1, false, 0));
    note("# An empty bind keeps the earlier buffer; one slot serves every stream.");
    CALL(Codec2InfoInternal::bindCaptured(5, hidl_handle()));
    CALL(Codec2InfoInternal::bindCaptured(9, hidl_handle(buffers[1])));
    CALL(capture(1));
    remove(1);
    note("# A stream missing from the registry still gets its buffer.");
    DO(setComponent(6, component("capturer#6", &bound)));
    DO(bound = buffers[0]);
    CALL(capture(6));
    remove(6);
    note("# The buffer of a stream that goes goes with it, whoever captured it since.");
    DO(setComponent(11, component("taker#11", &bound)));
    DO(setComponent(12, component("idle#12")));
    CALL(add(makeStream(11)));
    CALL(add(makeStream(12)));
    CALL(capture(11));
    CALL(capture(12));
    CALL(remove(12));
    DO(setComponent(12, component("idle#12")));
    CALL(capture(12));
    CALL(remove(11));
    CALL(capture(12));
    remove(12);

    note("# Nested calls: stream and information listeners, components.");
    sp<StreamEar> asking = new StreamEar("asking");
    CALL(listen(asking));
    DO(asking->then = [&](auto&) { CALL(listen(5, app, {})); });
    CALL(add(makeStream(5)));
    CALL(remove(5));
    CALL(mService->unregisterListener(5));
    DO(asking->then = [&](auto&) { CALL(streams()); });
    CALL(add(makeStream(5)));
    CALL(mService->unregisterStreamListener(mLastId));
    auto nesting = component("nesting#5", &bound);
    nesting->enableCaptureCb = [&](bool, uint64_t) {
        CALL(post(5, NotifyEvent::HDR_CHANGE));
        CALL(debug("--help"));
    };
    nesting->getInfoCb = [&](std::vector<std::string>, uint32_t) {
        CALL(update(5, {{1, &width, 4}}));
        return std::vector<CmtInfoStruct>{{7, "codec"}};
    };
    DO(setComponent(5, nesting));
    DO(bound = buffers[1]);
    CALL(mService->enableCapture(5, true, 0));
    CALL(info(5, {"codec"}));
    note("# A capture's client, answered with no lock held, hands the buffer back inside.");
    DO(mService->getCurrentVDECBuffer(5, [&](InfoReturn ret, const auto& d) {
        note("  answered " + shown(ret) + " " + shown(d));
        CALL(mService->releaseVDECBuffer(5));
        CALL(post(5, NotifyEvent::HDR_CHANGE));
        CALL(debug("--reset"));
    }));
    note("# Event listeners are told under the main lock; the information listener is not.");
    sp<EventEar> nester = new EventEar("nester");
    CALL(listen(5, {"hdr_change"}, nester));
    CALL(listen(5, app, {}));
    DO(nester->then = [&](auto&) { callEverything(app); });
    CALL(post(5, NotifyEvent::HDR_CHANGE));
    DO(nester->then = nullptr);
    DO(app->then = [&](auto&) { callEverything(app); });
    CALL(post(5, NotifyEvent::HDR_CHANGE));
    DO(app->then = nullptr);
    CALL(post(5, NotifyEvent::HDR_CHANGE));
    CALL(streams());
    CALL(mService->unregisterListener(5));
    remove(5);

    note("# Drop modes: the timed bit stays while the plain one follows the switch.");
    CALL(dropMode());
    DO(mService->setDropMode(true));
    CALL(dropMode());
    DO(mService->setDropMode(false));
    DO(mService->setTimedDropMode(5));
    DO(mService->setDropMode(true));
    CALL(dropMode());
    DO(mService->setDropMode(false));
    DO(mService->setTimedDropMode(-42));
    CALL(dropMode());

    note("# lshal debug: words, parameters, targets and the monitor's switch.");
    DO(mService->addDebugTarget(std::make_shared<Target>("Scaler")));
    DO(mService->addDebugTarget(std::make_shared<Target>("scaler")));
    DO(mService->addDebugTarget(nullptr));
    DO(mService->addDebugTarget(std::make_shared<Target>("")));
    DO(setComponent(7, component("dumper#7")));
    for (const char* words :
         {"--HeLp", "help", "-help", "--nonsense|1", "--", "--RESET|ignored", "--SCALER",
          "--scaler|stats|-v", "--c2dump|7", "--C2Dump||1", "--c2dump|7|", "--c2dump|seven|1",
          "--c2dump|99999999999|1", "--c2dump|7|0", "--c2dump| 7|2x", "--c2dump|8|1",
          "--c2dump|-2147483648|1"}) {
        CALL(debug(words));
    }
    native_handle_t* noFds = native_handle_create(0, 0);
    CALL(mService->debug(hidl_handle(noFds), {"--help"}).isOk());
    CALL(mService->debug(hidl_handle(), {"--help"}).isOk());
    native_handle_delete(noFds);
    DO(setComponent(8, component("other#8")));
    property_set("vendor.qrv.c2infoservice.log", "1");
    CALL(debug("--reloadprop"));
    CALL(Codec2InfoInternal::getDropMode());
    logSwitch("0");
    for (const char* word :
         {"--dump", "--owner", "--disable", "--enable", "--ENABLE", "--disable", "--disable"}) {
        CALL(debug(word));
    }
    remove(7);
    remove(8);

    for (native_handle_t* buffer : buffers) {
        native_handle_close(buffer);
        native_handle_delete(buffer);
    }
    EXPECT_EQ(transcript(), golden("session.txt"));
}

}  // namespace
}  // namespace c2info_test
