#include "MappingCache.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>

MappingCache::Mapping::~Mapping() {
    munmap(mData, static_cast<size_t>(mSize));
}

std::shared_ptr<const MappingCache::Mapping> MappingCache::map(const native_handle* handle,
                                                               bool writable) {
    if (handle == nullptr || handle->numFds < 1) return nullptr;
    int fd = handle->data[0];
    struct stat status;
    if (fstat(fd, &status) != 0 || status.st_size <= 0) return nullptr;
    auto size = static_cast<uint64_t>(status.st_size);

    std::lock_guard<std::mutex> lock(mLock);
    auto entry = std::find_if(mEntries.begin(), mEntries.end(), [&](const Entry& e) {
        return e.device == status.st_dev && e.inode == status.st_ino;
    });
    if (entry != mEntries.end() && entry->mapping->size() == size &&
        (entry->mapping->writable() || !writable)) {
        entry->lastUse = ++mUses;
        return entry->mapping;
    }

    int protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
    void* data =
            mmap(nullptr, static_cast<size_t>(size), protection, MAP_SHARED | MAP_POPULATE, fd, 0);
    if (data == MAP_FAILED) return nullptr;
    auto mapping = std::make_shared<const Mapping>(static_cast<uint8_t*>(data), size, writable);
    if (entry != mEntries.end()) {
        *entry = {status.st_dev, status.st_ino, ++mUses, mapping};
        return mapping;
    }
    if (mEntries.size() == kCapacity) {
        auto oldest = std::min_element(
                mEntries.begin(), mEntries.end(),
                [](const Entry& a, const Entry& b) { return a.lastUse < b.lastUse; });
        mEntries.erase(oldest);
    }
    mEntries.push_back({status.st_dev, status.st_ino, ++mUses, mapping});
    return mapping;
}
