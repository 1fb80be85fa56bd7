// The memory behind a native handle's first file descriptor, mapped for the
// length of one call.
#pragma once

#include <cutils/native_handle.h>

#include <cstddef>
#include <cstdint>

class SharedMemory {
public:
    SharedMemory(const native_handle* handle, int protection);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    // False when the handle has no descriptor or it cannot be mapped.
    bool valid() const { return mData != nullptr; }
    uint8_t* data() const { return mData; }
    uint64_t size() const { return mSize; }

private:
    uint8_t* mData = nullptr;
    uint64_t mSize = 0;
};
