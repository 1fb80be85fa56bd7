// The shared memory behind native handles, mapped once and kept across
// calls: mapping a 4K frame anew costs more than converting it. Mappings are
// keyed by the file (device and inode; a mapping holds its file, so no other
// file can take that inode number while it is kept), checked against the
// file's current size on every use, and the least recently used go once
// there are more than kCapacity. A kept mapping also keeps its memory alive after the
// client frees the buffer, until it is evicted or the cache goes.
#pragma once

#include <cutils/native_handle.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

class MappingCache {
public:
    static constexpr size_t kCapacity = 16;

    class Mapping {
    public:
        Mapping(uint8_t* data, uint64_t size, bool writable)
            : mData(data), mSize(size), mWritable(writable) {}
        ~Mapping();
        Mapping(const Mapping&) = delete;
        Mapping& operator=(const Mapping&) = delete;

        uint8_t* data() const { return mData; }
        uint64_t size() const { return mSize; }
        bool writable() const { return mWritable; }

    private:
        uint8_t* mData;
        uint64_t mSize;
        bool mWritable;
    };

    // The memory of the handle's first descriptor, writable if asked; null
    // when the handle has none or it cannot be mapped so. Callers keep the
    // result for the length of their use: eviction never unmaps it under
    // them.
    std::shared_ptr<const Mapping> map(const native_handle* handle, bool writable);

private:
    struct Entry {
        dev_t device;
        ino_t inode;
        uint64_t lastUse;
        std::shared_ptr<const Mapping> mapping;
    };

    std::mutex mLock;
    std::vector<Entry> mEntries;
    uint64_t mUses = 0;
};
