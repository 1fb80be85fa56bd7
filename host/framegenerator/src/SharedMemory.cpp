#include "SharedMemory.h"

#include <sys/mman.h>
#include <sys/stat.h>

SharedMemory::SharedMemory(const native_handle* handle, int protection) {
    if (handle == nullptr || handle->numFds < 1) return;
    struct stat status;
    if (fstat(handle->data[0], &status) != 0 || status.st_size <= 0) return;
    void* data = mmap(nullptr, static_cast<size_t>(status.st_size), protection, MAP_SHARED,
                      handle->data[0], 0);
    if (data == MAP_FAILED) return;
    mData = static_cast<uint8_t*>(data);
    mSize = static_cast<uint64_t>(status.st_size);
}

SharedMemory::~SharedMemory() {
    if (mData != nullptr) munmap(mData, static_cast<size_t>(mSize));
}
