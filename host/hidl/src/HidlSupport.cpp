#include <hidl/HidlSupport.h>
#include <log/log.h>

#include <cstring>
#include <ostream>

namespace android {
namespace hardware {

namespace {
const char kEmptyString[] = "";
}  // namespace

hidl_string::hidl_string() : mBuffer(kEmptyString), mSize(0), mOwnsBuffer(false) {}

hidl_string::~hidl_string() {
    clear();
}

hidl_string::hidl_string(const hidl_string& other) : hidl_string() {
    copyFrom(other.c_str(), other.size());
}

hidl_string::hidl_string(hidl_string&& other) noexcept : hidl_string() {
    moveFrom(std::move(other));
}

hidl_string::hidl_string(const char* s) : hidl_string() {
    if (s != nullptr) copyFrom(s, strlen(s));
}

hidl_string::hidl_string(const char* s, size_t length) : hidl_string() {
    copyFrom(s, length);
}

hidl_string::hidl_string(const std::string& s) : hidl_string() {
    copyFrom(s.data(), s.size());
}

hidl_string& hidl_string::operator=(const hidl_string& other) {
    if (this != &other) copyFrom(other.c_str(), other.size());
    return *this;
}

hidl_string& hidl_string::operator=(hidl_string&& other) noexcept {
    if (this != &other) moveFrom(std::move(other));
    return *this;
}

hidl_string& hidl_string::operator=(const char* s) {
    if (s == nullptr) {
        clear();
    } else {
        copyFrom(s, strlen(s));
    }
    return *this;
}

hidl_string& hidl_string::operator=(const std::string& s) {
    copyFrom(s.data(), s.size());
    return *this;
}

void hidl_string::setToExternal(const char* data, size_t size) {
    clear();
    mBuffer = data;
    mSize = static_cast<uint32_t>(size);
    mOwnsBuffer = false;
}

void hidl_string::clear() {
    if (mOwnsBuffer) delete[] mBuffer.get();
    mBuffer = kEmptyString;
    mSize = 0;
    mOwnsBuffer = false;
}

void hidl_string::copyFrom(const char* data, size_t size) {
    char* buffer = new char[size + 1];
    memcpy(buffer, data, size);
    buffer[size] = '\0';
    clear();
    mBuffer = buffer;
    mSize = static_cast<uint32_t>(size);
    mOwnsBuffer = true;
}

void hidl_string::moveFrom(hidl_string&& other) {
    clear();
    mBuffer = other.mBuffer.get();
    mSize = other.mSize;
    mOwnsBuffer = other.mOwnsBuffer;
    other.mOwnsBuffer = false;
    other.clear();
}

bool operator==(const hidl_string& lhs, const hidl_string& rhs) {
    return lhs.size() == rhs.size() && memcmp(lhs.c_str(), rhs.c_str(), lhs.size()) == 0;
}
bool operator!=(const hidl_string& lhs, const hidl_string& rhs) {
    return !(lhs == rhs);
}
bool operator<(const hidl_string& lhs, const hidl_string& rhs) {
    return std::string(lhs) < std::string(rhs);
}
bool operator==(const hidl_string& lhs, const char* rhs) {
    return rhs != nullptr && lhs == hidl_string(rhs);
}
bool operator!=(const hidl_string& lhs, const char* rhs) {
    return !(lhs == rhs);
}
bool operator==(const char* lhs, const hidl_string& rhs) {
    return rhs == lhs;
}
bool operator!=(const char* lhs, const hidl_string& rhs) {
    return !(rhs == lhs);
}
std::ostream& operator<<(std::ostream& os, const hidl_string& s) {
    return os << std::string(s);
}

hidl_handle::hidl_handle() : mHandle(nullptr), mOwnsHandle(false) {}

hidl_handle::~hidl_handle() {
    freeHandle();
}

hidl_handle::hidl_handle(const native_handle_t* handle) : mHandle(handle), mOwnsHandle(false) {}

hidl_handle::hidl_handle(const hidl_handle& other) : hidl_handle() {
    *this = other;
}

hidl_handle::hidl_handle(hidl_handle&& other) noexcept : hidl_handle() {
    *this = std::move(other);
}

hidl_handle& hidl_handle::operator=(const hidl_handle& other) {
    if (this == &other) return *this;
    freeHandle();
    if (other.mHandle != nullptr) {
        mHandle = native_handle_clone(other.mHandle);
        if (mHandle == nullptr) LOG_ALWAYS_FATAL("Failed to clone native_handle in hidl_handle");
        mOwnsHandle = true;
    }
    return *this;
}

hidl_handle& hidl_handle::operator=(const native_handle_t* handle) {
    freeHandle();
    mHandle = handle;
    mOwnsHandle = false;
    return *this;
}

hidl_handle& hidl_handle::operator=(hidl_handle&& other) noexcept {
    if (this == &other) return *this;
    freeHandle();
    mHandle = other.mHandle.get();
    mOwnsHandle = other.mOwnsHandle;
    other.mHandle = nullptr;
    other.mOwnsHandle = false;
    return *this;
}

void hidl_handle::setTo(native_handle_t* handle, bool shouldOwn) {
    freeHandle();
    mHandle = handle;
    mOwnsHandle = shouldOwn;
}

void hidl_handle::freeHandle() {
    if (mOwnsHandle && mHandle != nullptr) {
        auto* handle = const_cast<native_handle_t*>(mHandle.get());
        native_handle_close(handle);
        native_handle_delete(handle);
    }
    mHandle = nullptr;
    mOwnsHandle = false;
}

std::string toString(bool value) {
    return value ? "true" : "false";
}
std::string toString(int8_t value) {
    return std::to_string(value);
}
std::string toString(uint8_t value) {
    return std::to_string(value);
}
std::string toString(int16_t value) {
    return std::to_string(value);
}
std::string toString(uint16_t value) {
    return std::to_string(value);
}
std::string toString(int32_t value) {
    return std::to_string(value);
}
std::string toString(uint32_t value) {
    return std::to_string(value);
}
std::string toString(int64_t value) {
    return std::to_string(value);
}
std::string toString(uint64_t value) {
    return std::to_string(value);
}
std::string toString(float value) {
    return std::to_string(value);
}
std::string toString(double value) {
    return std::to_string(value);
}
std::string toString(const hidl_string& value) {
    return "\"" + std::string(value) + "\"";
}
std::string toString(const hidl_handle& value) {
    return details::toHexString(reinterpret_cast<uintptr_t>(value.getNativeHandle()));
}

}  // namespace hardware
}  // namespace android
