#include "Output.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

namespace sim {
namespace {

std::string formatLine(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    int length = vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length < 0) return std::string();
    std::string line(static_cast<size_t>(length) + 1, '\0');
    vsnprintf(line.data(), line.size(), format, args);
    line.pop_back();
    return line;
}

void writeLine(int fd, const char* format, va_list args) {
    std::string line = formatLine(format, args) + '\n';
    for (size_t done = 0; done < line.size();) {
        ssize_t written = write(fd, line.data() + done, line.size() - done);
        if (written <= 0) return;
        done += static_cast<size_t>(written);
    }
}

}  // namespace

std::string format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string line = formatLine(format, args);
    va_end(args);
    return line;
}

void say(const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(STDOUT_FILENO, format, args);
    va_end(args);
}

void announce(const char* format, ...) {
    va_list args;
    va_start(args, format);
    writeLine(STDERR_FILENO, format, args);
    va_end(args);
}

}  // namespace sim
