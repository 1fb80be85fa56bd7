// What c2info-triage prints as outcomes arrive in input order: each input's
// report, or one --json or --csv row per stream; refused inputs are named
// on standard error in every format.
#pragma once

#include <cstddef>
#include <cstdio>

#include "Triage.h"

namespace triage {

enum class ListingFormat { kText, kJson, kCsv, kRefusalsOnly };

class Listing {
public:
    Listing(ListingFormat format, FILE* out, FILE* err);
    // Closes the --json array.
    ~Listing();
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;

    // False when the input held no dump.
    bool print(const Outcome& outcome);

private:
    void printRow(const Outcome& outcome, const StreamResult& stream);

    const ListingFormat mFormat;
    FILE* const mOut;
    FILE* const mErr;
    size_t mRows = 0;
};

}  // namespace triage
