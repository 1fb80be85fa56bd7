// Pieces shared by every text the lshal debug interface writes.
#pragma once

#include <DumpLayout.h>
#include <android/log.h>
#include <stdio.h>
#include <time.h>

#include <array>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

// A rule line of the dump's layout and a newline.
void printEqualsLine(int fd);
void printDashLine(int fd);

// "<banner> - <label>, System Time: <time>" to fd and, at INFO, to the log;
// without a label only "System Time: <time>" to fd. Nothing at all when the
// clock cannot be read or formatted.
void printSystemTime(int fd, const char* label);

// "[-]<local calendar time>.<milliseconds>", a difference formatted as a
// calendar time too; false when it cannot be formatted.
using TimeText = char[300];
bool formatTime(timespec time, bool negative, TimeText& text);

// The printf format of a pattern of DumpLayout.h, each placeholder replaced
// by its conversion, then lineEnds line ends.
template <size_t N, int LineEnds>
struct LineFormat {
    char text[N + LineEnds];
};

template <int LineEnds, size_t N>
constexpr LineFormat<N, LineEnds> lineFormat(const char (&pattern)[N]) {
    LineFormat<N, LineEnds> format{};
    size_t out = 0;
    for (size_t in = 0; in + 1 < N; ++in) {
        if (pattern[in] == '{') {
            while (pattern[in + 1] != '%') ++in;
        } else if (pattern[in] != '}') {
            format.text[out++] = pattern[in];
        }
    }
    for (int i = 0; i < LineEnds; ++i) format.text[out++] = '\n';
    return format;
}

// What printf reads for a conversion, or is given for a value once varargs
// have promoted it: 'i' an integer, 'f' a floating number, 's' text, and
// its size. The sign is not told apart: "%u" prints a uint8_t as well.
struct VarArg {
    char kind;
    size_t size;
};

template <typename T>
constexpr VarArg varArgOf() {
    if constexpr (std::is_same_v<T, const char*>) {
        return {'s', sizeof(T)};
    } else {
        using Promoted = decltype(+std::declval<T>());
        static_assert(std::is_arithmetic_v<Promoted>, "printf takes no such value");
        return {std::is_integral_v<Promoted> ? 'i' : 'f', sizeof(Promoted)};
    }
}

// Whether the pattern's conversions read these values, in order.
template <size_t N, size_t M>
constexpr bool readsValues(const char (&pattern)[N], const std::array<VarArg, M>& values) {
    size_t next = 0;
    for (size_t in = 0; in + 1 < N; ++in) {
        if (pattern[in] != '%') continue;
        int longs = 0;
        do {
            ++in;
        } while (pattern[in] < 'a' || pattern[in] > 'z');
        for (; pattern[in] == 'l'; ++in) ++longs;
        VarArg read{'i', longs == 0 ? sizeof(int) : longs == 1 ? sizeof(long) : sizeof(long long)};
        if (pattern[in] == 'f') read = {'f', sizeof(double)};
        if (pattern[in] == 's') read = {'s', sizeof(const char*)};
        if (next == M || values[next].kind != read.kind || values[next].size != read.size) {
            return false;
        }
        ++next;
    }
    return next == M;
}

// One line of the dump's layout with its values, which are checked against
// the pattern's conversions as it compiles.
template <const auto& Pattern, int LineEnds = 1, typename... Values>
void printLine(int fd, Values... values) {
    static_assert(
            readsValues(Pattern, std::array<VarArg, sizeof...(Values)>{varArgOf<Values>()...}),
            "the values do not match the pattern's conversions");
    static constexpr auto kFormat = lineFormat<LineEnds>(Pattern);
    if constexpr (sizeof...(Values) == 0) {
        dprintf(fd, "%s", kFormat.text);
    } else {
        dprintf(fd, kFormat.text, values...);
    }
}

// A line of the dump's layout whose one value is a time, to fd and, at
// INFO, to the log; nothing when the time cannot be formatted.
template <const auto& Pattern>
void printTimeLine(int fd, timespec time, bool negative) {
    TimeText text;
    if (!formatTime(time, negative, text)) return;
    static constexpr auto kLogFormat = lineFormat<0>(Pattern);
    __android_log_print(ANDROID_LOG_INFO, nullptr, kLogFormat.text, text);
    printLine<Pattern>(fd, static_cast<const char*>(text));
}

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
