// c2info-triage: the owner verdict of the c2info service from the dumps in
// TV bugreports, without the TV. See usage() and the README.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "HtmlPage.h"
#include "Inputs.h"
#include "Pool.h"
#include "Rows.h"

namespace {

constexpr int kUsageError = 2;

void usage() {
    printf(R"(usage: c2info-triage [--json | --csv | --html FILE] [--jobs N] INPUT...

Reads the c2info service's lshal debug output from each INPUT and prints,
per input, what `lshal debug --owner` would have printed on that TV: the
module to look at first for each stream's stuck or unsmooth playback.

INPUT is a bugreport zip (only the service's entry,
%s, is read),
a text file of the service's output (the default dump, --dump output or
text pasted from a terminal), a directory (every .zip and .txt below it, in
sorted order) or - for standard input. At most 64 MB of each is read.

The records judged are those --owner would have read: the newest
generation of the newest complete pass (a pass cut by dumpstate's time
limit gives the streams it printed whole; the cut block is said dropped).
The C2BWM counts are not in the dump: where a check needs them, the report
says so with what the dump does show, names every owner still possible,
and marks that stream's verdict incomplete.

  --json       one JSON array, an object per stream per input
  --csv        the same as a table with a header row
  --html FILE  write one page that opens offline in a browser: the split by
               owner, component and input source, the table of streams with
               each one's analysis and counters and, for a text recorded as
               a dump a second, each stream's history over time
  --jobs N     inputs read at once (default: the machine's cores)

Exit status: 0 when every input held the service's dump, 1 when some did
not (each named on standard error with the reason) or the page could not
be written, 2 on a usage error.
)",
           triage::kServiceEntry);
}

enum class Format { kText, kJson, kCsv, kHtml };

struct Options {
    Format format = Format::kText;
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    std::string htmlPath;
    std::vector<std::string> inputs;
};

std::optional<Options> parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        if (argument == "--json") {
            options.format = Format::kJson;
        } else if (argument == "--csv") {
            options.format = Format::kCsv;
        } else if (argument == "--html" && i + 1 < argc) {
            options.format = Format::kHtml;
            options.htmlPath = argv[++i];
        } else if (argument == "--jobs" && i + 1 < argc) {
            char* end = nullptr;
            long jobs = strtol(argv[++i], &end, 10);
            if (*end != '\0' || jobs < 1 || jobs > 256) {
                fprintf(stderr, "c2info-triage: --jobs takes a number from 1 to 256\n");
                return std::nullopt;
            }
            options.jobs = static_cast<unsigned>(jobs);
        } else if (argument.size() > 1 && argument[0] == '-' && argument != "-") {
            fprintf(stderr, "c2info-triage: unexpected option \"%s\" (see --help)\n", argv[i]);
            return std::nullopt;
        } else {
            options.inputs.push_back(argument);
        }
    }
    if (options.inputs.empty()) {
        fprintf(stderr, "c2info-triage: no input (see --help)\n");
        return std::nullopt;
    }
    return options;
}

// Prints outcomes in input order as they come.
class Printer {
public:
    explicit Printer(Format format) : mFormat(format) {
        if (mFormat == Format::kJson) printf("[");
        if (mFormat == Format::kCsv) fputs(triage::csvHeader().c_str(), stdout);
    }
    ~Printer() {
        if (mFormat == Format::kJson) printf("%s]\n", mRows == 0 ? "" : "\n");
    }

    // False when the input held no dump.
    bool print(const triage::Outcome& outcome) {
        if (!outcome.error.empty()) {
            fprintf(stderr, "c2info-triage: %s%s: %s\n", outcome.path.c_str(),
                    outcome.entry.empty() ? "" : (": " + outcome.entry).c_str(),
                    outcome.error.c_str());
            return false;
        }
        if (mFormat == Format::kHtml) return true;
        if (mFormat == Format::kText) {
            fputs(outcome.report.c_str(), stdout);
            return true;
        }
        for (const triage::StreamResult& stream : outcome.streams) printRow(outcome, stream);
        return true;
    }

private:
    void printRow(const triage::Outcome& outcome, const triage::StreamResult& stream) {
        if (mFormat == Format::kJson) {
            printf("%s\n  %s", mRows == 0 ? "" : ",",
                   triage::jsonRow(outcome, stream)
                           .dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
                           .c_str());
        } else {
            fputs(triage::csvRow(outcome, stream).c_str(), stdout);
        }
        ++mRows;
    }

    const Format mFormat;
    size_t mRows = 0;
};

// False, with the reason on standard error, when the page could not be written.
bool writePage(const std::string& path, const triage::HtmlPage& page) {
    FILE* out = fopen(path.c_str(), "w");
    bool written = out != nullptr && page.write(out);
    if (out != nullptr && fclose(out) != 0) written = false;
    if (!written) fprintf(stderr, "c2info-triage: %s: %s\n", path.c_str(), strerror(errno));
    return written;
}

int run(const Options& options) {
    int status = 0;
    const bool html = options.format == Format::kHtml;
    triage::HtmlPage page;
    {
        Printer printer(options.format);
        triage::triageInputs(triage::expandInputs(options.inputs), options.jobs, html,
                             [&](triage::Outcome&& outcome) {
                                 if (!printer.print(outcome)) status = 1;
                                 if (html) page.add(outcome);
                             });
    }
    if (html && !writePage(options.htmlPath, page)) status = 1;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
        usage();
        return 0;
    }
    std::optional<Options> options = parseOptions(argc, argv);
    if (!options) return kUsageError;
    return run(*options);
}
