// c2info-triage --by-build: the release health of the reports read, a row
// per build per module and a row per finding, as text, --json or --csv.
#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>

#include "Fleet.h"
#include "Listing.h"

namespace triage {

// {"builds": [...], "findings": [...]}, each row an object of the columns
// --csv has; the page's release table is this.
nlohmann::ordered_json byBuildJson(const FleetHealth& fleet);
// {"builds": [...], "findings": [...]}: the names of each table's columns,
// in order.
nlohmann::json byBuildColumns();

void printByBuild(const FleetHealth& fleet, ListingFormat format, FILE* out);

}  // namespace triage
