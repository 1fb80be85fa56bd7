// The row of one stream of one input, as --json prints it and the page
// shows it.
#pragma once

#include <nlohmann/json.hpp>

#include "Triage.h"

namespace triage {

nlohmann::ordered_json streamRow(const Outcome& outcome, const StreamResult& stream);

}  // namespace triage
