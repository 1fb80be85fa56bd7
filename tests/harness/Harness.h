// What the service's tests, the stress program and the fuzz targets share,
// without GoogleTest: the names, stream records, client memory, the
// descriptors open, and the answer of a method that replies through a
// callback.
#pragma once

#include <Codec2InfoInternal.h>
#include <Codec2InfoService.h>
#include <hidl/RemotePeer.h>

#include <cstdint>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace c2info_test {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::RemotePeer;
using ::android::hardware::Return;
using ::android::hardware::Status;
using ::android::hardware::Void;
using ::vendor::larkspan::hardware::c2::info::implementation::_DebugDescription;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoInternal;
using ::vendor::larkspan::hardware::c2::info::implementation::Codec2InfoService;
using ::vendor::larkspan::hardware::c2::info::implementation::StreamInfoItem;
using ::vendor::larkspan::hardware::c2::info::V1_0::CAPTURE_BUFFER_DESCRIPTION;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceEventListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::ICodec2InfoServiceStreamListener;
using ::vendor::larkspan::hardware::c2::info::V1_0::InfoReturn;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEvent;
using ::vendor::larkspan::hardware::c2::info::V1_0::NotifyEventInfo;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_BUFFER_DESCRIPTION;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_Frame_MetaData;
using ::vendor::larkspan::hardware::c2::info::V1_0::ST_STREAM_LIST;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtInfoStruct;
using ::vendor::larkspan::hardware::cmt::V1_0::CmtReturn;
using ::vendor::larkspan::hardware::cmt::V1_0::ICmtInfoServiceListener;
using Callbacks = Codec2InfoInternal::Codec2InfoServiceCallback;

// A stream record whose every field derives from its id, so that records
// are told apart.
ST_STREAM_LIST makeStream(uint32_t streamId, const std::string& info = "stream");

// A handle that carries these descriptors, each left open when it goes.
native_handle_t* handleOf(const std::vector<int>& fds);

// Memory a client hands over: a memfd of any size (holes cost nothing),
// sealed against shrinking or not, or the same memory through a descriptor
// opened again with other flags. Aborts when the memory cannot be made.
class ClientMemory {
public:
    ClientMemory(uint64_t size, bool sealed);
    ClientMemory(const ClientMemory& other, int flags);
    ~ClientMemory();
    ClientMemory& operator=(const ClientMemory&) = delete;
    const native_handle_t* handle() const { return mHandle; }
    int fd() const { return mHandle->data[0]; }

private:
    native_handle_t* mHandle;
};

// The open file descriptors, each with what it refers to.
std::set<std::string> openFileDescriptors();

// A file's whole content; empty when it cannot be read.
std::string slurp(const std::string& path);

// How a program run ended and what it wrote.
struct Outcome {
    int status;  // the exit status, -1 when a signal ended it
    std::string out;
    std::string err;
};

// A scratch directory, removed with its content, where programs run.
class Scratch {
public:
    Scratch();
    ~Scratch();
    Scratch& operator=(const Scratch&) = delete;
    std::string path(const std::string& name) const { return mDirectory + "/" + name; }
    void write(const std::string& name, const std::string& text) const;
    // Runs a shell command in the directory, with `input` on its standard input.
    Outcome run(const std::string& command, const std::string& input = "") const;

private:
    std::string mDirectory;
};

// Calls a method that replies through a callback: how often it replied
// (once is the contract) and the last reply.
template <typename... Answer, typename Method>
std::pair<int, std::tuple<Answer...>> answerOf(Method&& method) {
    std::pair<int, std::tuple<Answer...>> answer{};
    method([&answer](const Answer&... values) {
        ++answer.first;
        answer.second = std::tuple<Answer...>(values...);
    });
    return answer;
}

}  // namespace c2info_test
