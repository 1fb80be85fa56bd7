// What the simulated process prints. Lines to standard output go out in one
// write each, so that the application's threads and the debug output of
// the service, which writes to the same descriptor, never split a line.
#pragma once

namespace sim {

// One line (the newline is added) on standard output.
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));
// One line on standard error: the phases of the show, the console's errors.
void announce(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace sim
