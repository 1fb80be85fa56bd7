// c2info-triage --follow: a recording judged as it is written, a dump at
// a time, its changes shown as they happen.
#pragma once

#include <string>

namespace triage {

// Until the input ends (a pipe closed) or SIGINT or SIGTERM arrives, or `q`
// on the live view. Returns the exit status.
int follow(const std::string& path, const std::string& recordPath);

}  // namespace triage
