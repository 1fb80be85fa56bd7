// The shared memory behind native handles, mapped once and kept across
// calls: mapping a 4K frame anew costs more than converting it.
//
// A client hands us its own descriptors, so nothing about them is taken on
// trust. Only memory sealed against shrinking (F_SEAL_SHRINK) is mapped: a
// client that truncates the file under a mapping would make every read of
// it fault. Each descriptor is mapped with the access it was opened with,
// and mappings are kept per access, so a read-only descriptor never writes
// through a mapping made for a writable one. Only the range an operation
// needs is mapped, once the file has been found long enough for it.
//
// Mappings are keyed by the file (device and inode; a mapping holds its
// file, so no other file can take that inode number while it is kept), the
// access and the range; the least recently used go once there are more
// than kCapacity or together they span more than kByteBudget (on 32-bit
// ARM, a few large frames would otherwise pin the address space); a range
// larger than the budget is mapped for its call only. A kept mapping also keeps its memory alive
// after the client frees the buffer, until it is evicted or the cache goes.
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
    static constexpr uint64_t kByteBudget = uint64_t{256} << 20;

    enum class Access { kRead, kWrite };

    class Mapping {
    public:
        Mapping(uint8_t* data, size_t length, uint64_t offset)
            : mData(data), mLength(length), mOffset(offset) {}
        ~Mapping();
        Mapping(const Mapping&) = delete;
        Mapping& operator=(const Mapping&) = delete;

        // The byte at `offset` in the file, which must lie in the range
        // the mapping was asked for.
        uint8_t* at(uint64_t offset) const { return mData + (offset - mOffset); }

    private:
        uint8_t* mData;
        size_t mLength;
        uint64_t mOffset;
    };

    // Bytes [begin, end) of the memory behind the handle's first
    // descriptor. Null with *status a negative errno value when it cannot
    // be had: -EBADF without a usable descriptor or, for kWrite, one not
    // open for writing; -EPERM for memory not sealed against shrinking;
    // -EINVAL for a range outside the memory; -ENOMEM when the range cannot
    // be mapped in this process. Callers keep the result for the length of
    // their use: eviction never unmaps it under them.
    std::shared_ptr<const Mapping> map(const native_handle* handle, uint64_t begin, uint64_t end,
                                       Access access, int* status);

private:
    struct Key {
        dev_t device;
        ino_t inode;
        bool writable;
        uint64_t offset;
        uint64_t length;
        bool operator==(const Key& other) const;
    };
    struct Entry {
        Key key;
        uint64_t lastUse;
        std::shared_ptr<const Mapping> mapping;
    };

    // Evicts the least recently used until a mapping of `length` bytes fits.
    void makeRoom_l(uint64_t length);

    std::mutex mLock;
    std::vector<Entry> mEntries;
    uint64_t mUses = 0;
    uint64_t mMappedBytes = 0;
};
