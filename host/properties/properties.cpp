// property_get/property_set on the host, over libbase's in-process table,
// with the platform's contract: the value, or the default when the property
// is unset or empty, truncated to PROPERTY_VALUE_MAX - 1 characters.
#include <android-base/properties.h>
#include <cutils/properties.h>

#include <algorithm>
#include <cstring>
#include <string>

extern "C" int property_get(const char* key, char* value, const char* default_value) {
    std::string found = android::base::GetProperty(key, "");
    if (found.empty() && default_value != nullptr) found = default_value;
    size_t length = std::min(found.size(), static_cast<size_t>(PROPERTY_VALUE_MAX - 1));
    memcpy(value, found.data(), length);
    value[length] = '\0';
    return static_cast<int>(length);
}

extern "C" int property_set(const char* key, const char* value) {
    return android::base::SetProperty(key, value != nullptr ? value : "") ? 0 : -1;
}
