// A bugreport as dumpstate writes it, for a simulated TV: the service's
// default dump under the entry lshal-debug gives it, the main text and one
// other HAL's entry.
#pragma once

#include <cstddef>
#include <string>

namespace sim {

// Writes FILE.zip; false with *error set when it cannot. The main text
// holds about mainTextBytes of log lines.
bool writeBugreport(const std::string& path, const std::string& serviceDump,
                    const std::string& scenarioName, size_t mainTextBytes, std::string* error);

}  // namespace sim
