#include <hidl/Status.h>
#include <log/log.h>

#include <cstring>

namespace android {
namespace hardware {

namespace {

const char* exceptionName(int32_t exception) {
    switch (exception) {
        case Status::EX_NONE:
            return "EX_NONE";
        case Status::EX_SECURITY:
            return "EX_SECURITY";
        case Status::EX_BAD_PARCELABLE:
            return "EX_BAD_PARCELABLE";
        case Status::EX_ILLEGAL_ARGUMENT:
            return "EX_ILLEGAL_ARGUMENT";
        case Status::EX_NULL_POINTER:
            return "EX_NULL_POINTER";
        case Status::EX_ILLEGAL_STATE:
            return "EX_ILLEGAL_STATE";
        case Status::EX_NETWORK_MAIN_THREAD:
            return "EX_NETWORK_MAIN_THREAD";
        case Status::EX_UNSUPPORTED_OPERATION:
            return "EX_UNSUPPORTED_OPERATION";
        case Status::EX_HAS_REPLY_HEADER:
            return "EX_HAS_REPLY_HEADER";
        case Status::EX_TRANSACTION_FAILED:
            return "EX_TRANSACTION_FAILED";
    }
    return "UNKNOWN_EXCEPTION";
}

}  // namespace

std::string statusName(status_t status) {
#define STATUS_CASE(name) \
    case name:            \
        return #name
    switch (status) {
        STATUS_CASE(OK);
        STATUS_CASE(UNKNOWN_ERROR);
        STATUS_CASE(NO_MEMORY);
        STATUS_CASE(INVALID_OPERATION);
        STATUS_CASE(BAD_VALUE);
        STATUS_CASE(BAD_TYPE);
        STATUS_CASE(NAME_NOT_FOUND);
        STATUS_CASE(PERMISSION_DENIED);
        STATUS_CASE(NO_INIT);
        STATUS_CASE(ALREADY_EXISTS);
        STATUS_CASE(DEAD_OBJECT);
        STATUS_CASE(FAILED_TRANSACTION);
        STATUS_CASE(BAD_INDEX);
        STATUS_CASE(NOT_ENOUGH_DATA);
        STATUS_CASE(WOULD_BLOCK);
        STATUS_CASE(TIMED_OUT);
        STATUS_CASE(UNKNOWN_TRANSACTION);
        STATUS_CASE(FDS_NOT_ALLOWED);
        STATUS_CASE(UNEXPECTED_NULL);
    }
#undef STATUS_CASE
    return std::to_string(status) + " (" + strerror(-status) + ")";
}

Status Status::fromExceptionCode(int32_t exceptionCode, const char* message) {
    Status status;
    status.mException = exceptionCode;
    status.mErrorCode = exceptionCode == EX_TRANSACTION_FAILED ? FAILED_TRANSACTION : OK;
    status.mMessage = message != nullptr ? message : "";
    return status;
}

Status Status::fromStatusT(status_t error) {
    Status status;
    status.mException = error == OK ? EX_NONE : EX_TRANSACTION_FAILED;
    status.mErrorCode = error;
    return status;
}

std::string Status::description() const {
    if (mException == EX_NONE) return "No error";
    std::string text = std::string("Status(") + exceptionName(mException) + "): '";
    if (mException == EX_TRANSACTION_FAILED) text += statusName(mErrorCode) + ": ";
    return text + mMessage + "'";
}

namespace details {

return_status& return_status::operator=(return_status&& other) noexcept {
    if (!mCheckedStatus && !isOkUnchecked()) {
        LOG_ALWAYS_FATAL("Failed HIDL return status not checked: %s", description().c_str());
    }
    mStatus = std::move(other.mStatus);
    mCheckedStatus = other.mCheckedStatus;
    other.mCheckedStatus = true;
    return *this;
}

return_status::~return_status() {
    if (!mCheckedStatus && !isOkUnchecked()) {
        LOG_ALWAYS_FATAL("Failed HIDL return status not checked: %s", description().c_str());
    }
}

void return_status::assertOk() const {
    if (!isOk()) {
        LOG_ALWAYS_FATAL("Attempted to retrieve value from failed HIDL call: %s",
                         description().c_str());
    }
}

}  // namespace details
}  // namespace hardware
}  // namespace android
