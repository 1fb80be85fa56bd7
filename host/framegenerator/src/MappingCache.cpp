#include "MappingCache.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

MappingCache::Mapping::~Mapping() {
    munmap(mData, mLength);
}

bool MappingCache::Key::operator==(const Key& other) const {
    return device == other.device && inode == other.inode && writable == other.writable &&
           offset == other.offset && length == other.length;
}

std::shared_ptr<const MappingCache::Mapping> MappingCache::map(const native_handle* handle,
                                                               uint64_t begin, uint64_t end,
                                                               Access access, int* status) {
    *status = -EBADF;
    if (handle == nullptr || handle->numFds < 1 || begin >= end) {
        if (begin >= end) *status = -EINVAL;
        return nullptr;
    }
    int fd = handle->data[0];
    int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || (flags & O_ACCMODE) == O_WRONLY) return nullptr;
    bool writable = (flags & O_ACCMODE) == O_RDWR;
    if (access == Access::kWrite && !writable) return nullptr;

    int seals = fcntl(fd, F_GET_SEALS);
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) {
        *status = -EPERM;
        return nullptr;
    }
    struct stat file;
    if (fstat(fd, &file) != 0) return nullptr;
    if (end > static_cast<uint64_t>(file.st_size)) {
        *status = -EINVAL;
        return nullptr;
    }

    auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    uint64_t offset = begin / page * page;
    uint64_t length = end - offset;
    if (length > std::numeric_limits<size_t>::max() ||
        offset > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) {
        *status = -ENOMEM;
        return nullptr;
    }
    Key key{file.st_dev, file.st_ino, writable, offset, length};
    std::lock_guard<std::mutex> lock(mLock);
    auto entry = std::find_if(mEntries.begin(), mEntries.end(),
                              [&](const Entry& e) { return e.key == key; });
    if (entry != mEntries.end()) {
        entry->lastUse = ++mUses;
        *status = 0;
        return entry->mapping;
    }

    int protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
    void* data = mmap(nullptr, static_cast<size_t>(length), protection, MAP_SHARED, fd,
                      static_cast<off_t>(offset));
    if (data == MAP_FAILED) {
        *status = -ENOMEM;
        return nullptr;
    }
    auto mapping = std::make_shared<const Mapping>(static_cast<uint8_t*>(data),
                                                   static_cast<size_t>(length), offset);
    *status = 0;
    if (length > kByteBudget) return mapping;
    makeRoom_l(length);
    mEntries.push_back({key, ++mUses, mapping});
    mMappedBytes += length;
    return mapping;
}

void MappingCache::makeRoom_l(uint64_t length) {
    while (mEntries.size() == kCapacity || mMappedBytes + length > kByteBudget) {
        auto oldest = std::min_element(
                mEntries.begin(), mEntries.end(),
                [](const Entry& a, const Entry& b) { return a.lastUse < b.lastUse; });
        mMappedBytes -= oldest->key.length;
        mEntries.erase(oldest);
    }
}
