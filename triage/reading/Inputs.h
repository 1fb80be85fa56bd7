// Where dumps come from: bugreport zips (the service's entry and the header
// of the main entry), text files, standard input, and directories of them.
#pragma once

#include <DumpLayout.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "BugreportHeader.h"

namespace triage {

using ::vendor::larkspan::hardware::c2::info::implementation::kServiceEntry;

// The most of one input that is read.
constexpr size_t kReadLimit = size_t{64} << 20;

// The inputs the arguments name, in order: a directory stands for every
// .zip and .txt file below it, in sorted order; "-" for standard input.
// A path that does not exist is kept, to be reported when it is read.
std::vector<std::string> expandInputs(const std::vector<std::string>& arguments);

struct LoadedInput {
    std::string entry;  // the zip entry read; empty for text
    std::string text;
    std::vector<std::string> notes;
    // Empty for text.
    BugreportHeader header;
    // What makes two inputs one report, whatever they are named: a digest
    // of what was read, the main entry's header with the service's entry.
    std::string identity;
};

// Why an input holds no dump: "not a zip", "unreadable: ...".
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads a zip's service entry, at most kReadLimit bytes, and its main
// entry's header, or a text input.
LoadedInput loadInput(const std::string& path);

}  // namespace triage
