// What drives a simulation: an engineer's requests read line by line, the
// built-in show, or one lshal debug request. Each returns the exit status.
#pragma once

#include <string>
#include <vector>

#include "Simulation.h"

namespace sim {

// One request per line from standard input until "quit" or its end; with a
// prompt and line editing on a terminal. 1 when a request failed.
int runConsole(Simulation& simulation);
// About ten seconds of the service at work, each phase announced on
// standard error. 1 when a step failed.
int runShow(Simulation& simulation);

}  // namespace sim
