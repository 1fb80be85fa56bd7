// What the fuzz targets share: the service, quiet, and inputs cut into
// words the way a request carries them.
#pragma once

#include <Harness.h>
#include <android/log.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace c2info_fuzz {

using namespace c2info_test;

// The service with its log silenced: refusals are logged by the thousand.
inline ::android::sp<Codec2InfoService> quietService() {
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    return Codec2InfoService::getInstance();
}

// Newline-separated words, at most `limit` of them.
inline std::vector<std::string> words(const uint8_t* data, size_t size, size_t limit = 16) {
    std::vector<std::string> result;
    std::string word;
    for (size_t i = 0; i < size && result.size() < limit; ++i) {
        if (data[i] != '\n') {
            word += static_cast<char>(data[i]);
            continue;
        }
        result.push_back(word);
        word.clear();
    }
    if (!word.empty() && result.size() < limit) result.push_back(word);
    return result;
}

}  // namespace c2info_fuzz
