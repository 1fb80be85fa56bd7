// A transcript that tests write and compare: notes, log lines (after
// logIntoTranscript()) and what listeners and components are told.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ServiceTestSupport.h"

namespace c2info_test {

// Appends a line; safe from any thread.
void note(const std::string& line);
std::string transcript();
// How many lines of the transcript read exactly so.
size_t transcribed(const std::string& line);
// The rest of each line that starts with `prefix`, in order.
std::vector<std::string> transcribedAfter(const std::string& prefix);
// From now on every log line, DEBUG too, is noted as "  P/tag: text", with
// "System Time" values masked.
void logIntoTranscript();

// Waits until the transcript holds `count` lines that read so; false after 10 s.
bool awaitTranscribed(const std::string& line, size_t count);

// The callables of component NAME#ID, each noting what it is asked; a
// capture binds what `bind` points to, if anything. With records, it
// notes its debug switch and each snapshot it answers: the n-th record
// (from 0), the last repeated.
std::shared_ptr<Callbacks> component(const std::string& name, native_handle_t** bind = nullptr,
                                     std::vector<_DebugDescription> records = {});

// A listener that notes "  NAME hears WHAT", then does what the test asks.
template <typename Interface>
class Ear : public RemotePeer<Interface> {
public:
    explicit Ear(std::string name) : mName(std::move(name)) {}
    std::function<void(const std::string& what)> then;

protected:
    Return<void> hear(const std::string& what) {
        if (Status status = this->transportStatus(); !status.isOk()) return status;
        note("  " + mName + " hears " + what);
        if (then) then(what);
        return Void();
    }

private:
    const std::string mName;
};

struct StreamEar : Ear<ICodec2InfoServiceStreamListener> {
    using Ear::Ear;
    Return<void> onNotify(uint32_t type, uint64_t id, const hidl_string& info) override;
};

struct EventEar : Ear<ICodec2InfoServiceEventListener> {
    using Ear::Ear;
    Return<void> onNotify(const NotifyEventInfo& info) override;
};

struct InfoEar : Ear<ICmtInfoServiceListener> {
    using Ear::Ear;
    Return<void> onNotify(uint64_t id, uint64_t event, const CmtInfoStruct& info) override;
};

}  // namespace c2info_test
