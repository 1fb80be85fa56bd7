#include "Harness.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace c2info_test {

ST_STREAM_LIST makeStream(uint32_t id, const std::string& info) {
    return {static_cast<int32_t>(id % 7),
            1920,
            1080,
            id + 3,
            id + 4,
            id + 5,
            id + 6,
            id + 7,
            60,
            id,
            -static_cast<int32_t>(id),
            0x100000000ull + id,
            id + 12,
            0,
            1,
            0x200000000ull + id,
            0x300000000ull + id,
            info};
}

native_handle_t* handleOf(const std::vector<int>& fds) {
    native_handle_t* handle = native_handle_create(static_cast<int>(fds.size()), 0);
    for (size_t i = 0; i < fds.size(); ++i) handle->data[i] = fds[i];
    return handle;
}

ClientMemory::ClientMemory(uint64_t size, bool sealed) {
    int fd = memfd_create("c2info-client", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) abort();
    if (sealed && fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK) != 0) abort();
    mHandle = handleOf({fd});
}

ClientMemory::ClientMemory(const ClientMemory& other, int flags) {
    std::string path = "/proc/self/fd/" + std::to_string(other.fd());
    int fd = open(path.c_str(), flags | O_CLOEXEC);
    if (fd < 0) abort();
    mHandle = handleOf({fd});
}

ClientMemory::~ClientMemory() {
    native_handle_close(mHandle);
    native_handle_delete(mHandle);
}

std::set<std::string> openFileDescriptors() {
    std::set<std::string> open;
    DIR* dir = opendir("/proc/self/fd");
    int own = dirfd(dir);
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.' || atoi(entry->d_name) == own) continue;
        char target[256] = {};
        std::string link = std::string("/proc/self/fd/") + entry->d_name;
        (void)!readlink(link.c_str(), target, sizeof(target) - 1);
        open.insert(std::string(entry->d_name) + " -> " + target);
    }
    closedir(dir);
    return open;
}

std::string slurp(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

Scratch::Scratch() {
    char pattern[] = "/tmp/c2info-test.XXXXXX";
    if (mkdtemp(pattern) == nullptr) abort();
    mDirectory = pattern;
}

Scratch::~Scratch() {
    (void)!system(("rm -rf " + mDirectory).c_str());
}

void Scratch::write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
}

Outcome Scratch::run(const std::string& command, const std::string& input) const {
    write(".stdin", input);
    int status =
            system(("cd " + mDirectory + " && { " + command + "; } < .stdin > .stdout 2> .stderr")
                           .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(path(".stdout")),
            slurp(path(".stderr"))};
}

}  // namespace c2info_test
