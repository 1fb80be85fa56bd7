#include "Listing.h"

#include "Rows.h"

namespace triage {

Listing::Listing(ListingFormat format, FILE* out, FILE* err)
    : mFormat(format), mOut(out), mErr(err) {
    if (mFormat == ListingFormat::kJson) fputs("[", mOut);
    if (mFormat == ListingFormat::kCsv) fputs(csvHeader().c_str(), mOut);
}

Listing::~Listing() {
    if (mFormat == ListingFormat::kJson) fprintf(mOut, "%s]\n", mRows == 0 ? "" : "\n");
}

bool Listing::print(const Outcome& outcome) {
    if (!outcome.error.empty()) {
        fprintf(mErr, "c2info-triage: %s%s: %s\n", outcome.path.c_str(),
                outcome.entry.empty() ? "" : (": " + outcome.entry).c_str(), outcome.error.c_str());
        return false;
    }
    switch (mFormat) {
        case ListingFormat::kRefusalsOnly:
            return true;
        case ListingFormat::kText:
            fputs(outcome.report.c_str(), mOut);
            return true;
        case ListingFormat::kJson:
        case ListingFormat::kCsv:
            for (const StreamResult& stream : outcome.streams) printRow(outcome, stream);
            return true;
    }
    return true;
}

void Listing::printRow(const Outcome& outcome, const StreamResult& stream) {
    if (mFormat == ListingFormat::kJson) {
        fprintf(mOut, "%s\n  %s", mRows == 0 ? "" : ",",
                jsonRow(outcome, stream)
                        .dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                        .c_str());
    } else {
        fputs(csvRow(outcome, stream).c_str(), mOut);
    }
    ++mRows;
}

}  // namespace triage
