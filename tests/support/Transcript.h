// A transcript that tests write and compare: notes, log lines (once
// logInto() is the logger) and what listeners hear.
#pragma once

#include <functional>
#include <string>

#include "ServiceTestSupport.h"

namespace c2info_test {

// Appends a line; safe from any thread.
void note(const std::string& line);
std::string transcript();
// How many lines of the transcript read exactly so.
size_t transcribed(const std::string& line);
// From now on every log line, DEBUG too, is noted as "  P/tag: text", with
// "System Time" values masked.
void logIntoTranscript();

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
