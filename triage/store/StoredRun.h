// A run with a store: what it already holds is presented from it, the rest
// read, judged and added, so that the output is the same whether or not
// the store knew the inputs.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Store.h"

namespace triage {

// As triageInputs(), with every input the store knows (same path, size and
// modification time) taken from it unopened, its streams with `details`;
// every new outcome is added to the store before this returns.
void triageWithStore(Store& store, const std::vector<std::string>& inputs, unsigned jobs,
                     bool withHistory, StreamDetails details,
                     const std::function<void(Outcome&&)>& take);

}  // namespace triage
