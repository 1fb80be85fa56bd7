// The lines dumpstate writes at the top of a bugreport's main entry, before
// its first section: which build the TV ran and when the report was taken.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace triage {

// More than any header dumpstate writes; only this much of the main entry
// is read, however large its log.
constexpr size_t kHeaderLimit = size_t{16} << 10;

struct BugreportHeader {
    // The build fingerprint as printed between its quotes.
    std::string build;
    // "== dumpstate: YYYY-MM-DD HH:MM:SS" as ISO 8601 without a zone (the
    // TV's local time); a time of another shape as printed.
    std::string takenAt;
};

// The header of a main entry's first bytes: up to its first "------"
// section line, or all of them.
std::string_view headerOf(std::string_view top);

// What a header says; members it lacks stay empty.
BugreportHeader readHeader(std::string_view header);

}  // namespace triage
