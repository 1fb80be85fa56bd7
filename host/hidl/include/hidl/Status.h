// Host stand-in for the platform's HIDL transport status and Return<T>: a
// failed Return that nobody checked is fatal, as on the platform.
#pragma once

#include <utils/Errors.h>

#include <cstdint>
#include <string>
#include <utility>

namespace android {
namespace hardware {

class Status final {
public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_BAD_PARCELABLE = -2,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_NETWORK_MAIN_THREAD = -6,
        EX_UNSUPPORTED_OPERATION = -7,
        EX_HAS_REPLY_HEADER = -128,
        EX_TRANSACTION_FAILED = -129,
    };

    static Status ok() { return Status(); }
    static Status fromExceptionCode(int32_t exceptionCode, const char* message = nullptr);
    // A transport error: OK gives a good status, anything else
    // EX_TRANSACTION_FAILED carrying the error.
    static Status fromStatusT(status_t status);

    Status() = default;

    bool isOk() const { return mException == EX_NONE; }
    int32_t exceptionCode() const { return mException; }
    status_t transactionError() const { return mErrorCode; }
    const std::string& exceptionMessage() const { return mMessage; }

    // "No error", or e.g. "Status(EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '".
    std::string description() const;

private:
    int32_t mException = EX_NONE;
    status_t mErrorCode = OK;
    std::string mMessage;
};

// The name of a status_t, e.g. "DEAD_OBJECT" (Debian's libutils does not
// export the platform's statusToString).
std::string statusName(status_t status);

namespace details {

class return_status {
public:
    return_status() = default;
    return_status(Status status) : mStatus(std::move(status)) {}  // NOLINT
    return_status(const return_status&) = delete;
    return_status& operator=(const return_status&) = delete;
    return_status(return_status&& other) noexcept { *this = std::move(other); }
    return_status& operator=(return_status&& other) noexcept;
    ~return_status();

    // Asking marks the status as checked.
    bool isOk() const {
        mCheckedStatus = true;
        return mStatus.isOk();
    }
    bool isOkUnchecked() const { return mStatus.isOk(); }
    bool isDeadObject() const {
        return mStatus.exceptionCode() == Status::EX_TRANSACTION_FAILED &&
               mStatus.transactionError() == DEAD_OBJECT;
    }
    std::string description() const { return mStatus.description(); }

protected:
    // Reading the value of a failed call is fatal.
    void assertOk() const;

private:
    Status mStatus;
    mutable bool mCheckedStatus = false;
};

}  // namespace details

template <typename T>
class Return : public details::return_status {
public:
    Return(T value) : details::return_status(), mVal{std::move(value)} {}  // NOLINT
    Return(Status status) : details::return_status(std::move(status)) {}   // NOLINT
    Return(Return&& other) = default;
    Return& operator=(Return&& other) = default;

    operator T() const {
        assertOk();
        return mVal;
    }
    T withDefault(T defaultValue) { return isOk() ? mVal : defaultValue; }

private:
    T mVal{};
};

template <>
class Return<void> : public details::return_status {
public:
    Return() : details::return_status() {}
    Return(Status status) : details::return_status(std::move(status)) {}  // NOLINT
    Return(Return&& other) = default;
    Return& operator=(Return&& other) = default;
};

inline Return<void> Void() {
    return Return<void>();
}

}  // namespace hardware
}  // namespace android
