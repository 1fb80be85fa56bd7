#include "BugreportHeader.h"

#include <algorithm>
#include <cctype>

namespace triage {
namespace {

constexpr std::string_view kDumpstateLine = "== dumpstate: ";
constexpr std::string_view kFingerprintLine = "Build fingerprint: ";
constexpr std::string_view kSectionLine = "------";

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    while (!text.empty() && isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    return text;
}

// "YYYY-MM-DD HH:MM:SS", as dumpstate prints its start.
bool isDumpstateTime(std::string_view time) {
    constexpr std::string_view kShape = "dddd-dd-dd dd:dd:dd";
    if (time.size() != kShape.size()) return false;
    for (size_t i = 0; i < kShape.size(); ++i) {
        bool digit = isdigit(static_cast<unsigned char>(time[i])) != 0;
        if (kShape[i] == 'd' ? !digit : time[i] != kShape[i]) return false;
    }
    return true;
}

}  // namespace

std::string_view headerOf(std::string_view top) {
    for (size_t begin = 0; begin < top.size();) {
        if (top.substr(begin, kSectionLine.size()) == kSectionLine) return top.substr(0, begin);
        size_t end = top.find('\n', begin);
        if (end == std::string_view::npos) break;
        begin = end + 1;
    }
    return top;
}

BugreportHeader readHeader(std::string_view header) {
    BugreportHeader read;
    for (size_t begin = 0; begin < header.size();) {
        size_t end = std::min(header.find('\n', begin), header.size());
        std::string_view line = header.substr(begin, end - begin);
        begin = end + 1;
        if (read.takenAt.empty() && line.substr(0, kDumpstateLine.size()) == kDumpstateLine) {
            std::string time(trimmed(line.substr(kDumpstateLine.size())));
            if (isDumpstateTime(time)) time[10] = 'T';
            read.takenAt = time;
        } else if (read.build.empty() &&
                   line.substr(0, kFingerprintLine.size()) == kFingerprintLine) {
            std::string_view fingerprint = trimmed(line.substr(kFingerprintLine.size()));
            if (fingerprint.size() >= 2 && fingerprint.front() == '\'' &&
                fingerprint.back() == '\'') {
                fingerprint = fingerprint.substr(1, fingerprint.size() - 2);
            }
            read.build = fingerprint;
        }
    }
    return read;
}

}  // namespace triage
