#include "Output.h"

#include <android-base/stringprintf.h>
#include <unistd.h>

#include <cstdarg>
#include <string>

namespace sim {
namespace {

void writeLine(int fd, const char* format, va_list args) {
    std::string line;
    android::base::StringAppendV(&line, format, args);
    line += '\n';
    for (size_t done = 0; done < line.size();) {
        ssize_t written = write(fd, line.data() + done, line.size() - done);
        if (written <= 0) return;
        done += static_cast<size_t>(written);
    }
}

}  // namespace

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
