// Triage of many inputs on a few threads, handed out in input order.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Triage.h"

namespace triage {

// Reads and analyses each input on up to `jobs` threads, never more than a
// few per thread ahead of the consumer, so that memory stays bounded however
// many inputs there are; calls take() with each outcome in input order,
// with its history when asked for.
void triageInputs(const std::vector<std::string>& inputs, unsigned jobs, bool withHistory,
                  const std::function<void(Outcome&&)>& take);

}  // namespace triage
