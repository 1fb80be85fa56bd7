#include "DebugTestSupport.h"

#include <sys/mman.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <sstream>

namespace c2info_test {

std::string runDebug(Codec2InfoService& service, const std::vector<std::string>& args) {
    int fd = memfd_create("lshal-debug", MFD_CLOEXEC);
    native_handle_t* handle = native_handle_create(1, 0);
    handle->data[0] = fd;
    hidl_vec<hidl_string> words(args.begin(), args.end());
    EXPECT_TRUE(service.debug(hidl_handle(handle), words).isOk());

    std::string output;
    char buffer[4096];
    lseek(fd, 0, SEEK_SET);
    for (ssize_t n; (n = read(fd, buffer, sizeof(buffer))) > 0;) output.append(buffer, n);
    native_handle_close(handle);
    native_handle_delete(handle);
    return output;
}

std::string withoutSystemTimes(const std::string& output) {
    static const std::regex kTime("System Time: \\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}");
    return std::regex_replace(output, kTime, "System Time: <now>");
}

std::string golden(const std::string& name) {
    std::ifstream file(std::string(C2INFO_GOLDEN_DIR) + "/" + name);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

_DebugDescription snapshotAt(time_t seconds, long nanoseconds) {
    _DebugDescription d{};
    d.recordTime.tv_sec = seconds;
    d.recordTime.tv_nsec = nanoseconds;
    d.recordTimeNs = static_cast<uint64_t>(seconds) * 1000000000 + nanoseconds;
    return d;
}

}  // namespace c2info_test
