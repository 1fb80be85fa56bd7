// c2info-triage: the owner verdict of the c2info service from the dumps in
// TV bugreports, without the TV. See declareOptions() and the README.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ByBuild.h"
#include "Fleet.h"
#include "Following.h"
#include "HtmlPage.h"
#include "Inputs.h"
#include "Listing.h"
#include "Pool.h"
#include "Progress.h"
#include "StoredRun.h"

namespace {

constexpr int kUsageError = 2;

using triage::ListingFormat;

struct Options {
    // With a page, only refused inputs are listed.
    ListingFormat listing = ListingFormat::kText;
    bool html = false;
    bool byBuild = false;
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    size_t pageStreams = triage::kPageStreams;
    std::string htmlPath;
    std::string storePath;
    std::vector<std::string> inputs;
    std::string followed;
    std::string recordPath;
};

// One declaration gives the command line its rules and its usage text.
void declareOptions(CLI::App& app, Options* options) {
    app.description(R"(Reads the c2info service's lshal debug output from each INPUT and prints,
per input, what `lshal debug --owner` would have printed on that TV: the
module to look at first for each stream's stuck or unsmooth playback.
)");
    app.footer(R"(INPUT is a bugreport zip (the service's entry,
)" + std::string(triage::kServiceEntry) +
               R"(, and the build and time at the top of the main text are read),
a text file of the service's output (the default dump, --dump output or
text pasted from a terminal), a directory (every .zip and .txt below it, in
sorted order) or - for standard input. At most 64 MB of each is read.

The records judged are those --owner would have read: the newest
generation of the newest complete pass (a pass cut by dumpstate's time
limit gives the streams it printed whole; the cut block is said dropped).
The C2BWM counts are not in the dump: where a check needs them, the report
says so with what the dump does show, names every owner still possible,
and marks that stream's verdict incomplete.

Exit status: 0 when every input held the service's dump, 1 when some did
not (each named on standard error with the reason), the page could not
be written or the store could not be opened or written, 2 on a usage error.)");
    app.get_formatter()->column_width(15);
    // A repeated option counts as given last, so that a command line can
    // override what a script or an alias put before it.
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    CLI::Option* json = app.add_flag_callback(
            "--json", [options] { options->listing = ListingFormat::kJson; },
            "one JSON array, an object per stream per input");
    CLI::Option* csv = app.add_flag_callback(
            "--csv", [options] { options->listing = ListingFormat::kCsv; },
            "the same as a table with a header row");
    CLI::Option* html =
            app.add_option("--html", options->htmlPath,
                           "write one page that opens offline in a browser: the split by\n"
                           "owner, component and input source, the table of streams with\n"
                           "each one's analysis and counters and, for a text recorded as\n"
                           "a dump a second, each stream's history over time")
                    ->type_name("FILE")
                    ->each([options](const std::string&) {
                        options->listing = ListingFormat::kRefusalsOnly;
                        options->html = true;
                    });
    app.add_option("--page-streams", options->pageStreams,
                   "how many streams the page's table holds, of the newest\n"
                   "inputs (default " +
                           std::to_string(triage::kPageStreams) +
                           ", 0 for every one); its charts and\n"
                           "counts cover every input")
            ->type_name("N")
            ->check(CLI::Range(size_t{0}, size_t{100000000}))
            ->needs(html);
    CLI::Option* follow =
            app.add_option("--follow", options->followed,
                           "judge a recording as it is written (- for a pipe, or a file\n"
                           "an adb loop writes into, read from its start): each dump as\n"
                           "soon as it ends, a line per change of a stream on a pipe, a\n"
                           "live view of the streams on a terminal (q quits)")
                    ->type_name("INPUT");
    app.add_option("--record", options->recordPath,
                   "with --follow, write every byte read to FILE as it arrives")
            ->type_name("FILE")
            ->needs(follow);
    CLI::Option* byBuild =
            app.add_flag("--by-build", options->byBuild,
                         "instead of a row per stream, the release health: per build in\n"
                         "rollout order, the share of reports per module with its 95 %\n"
                         "interval and the change a Fisher test carries; the findings'\n"
                         "first and last build (as a table with --json or --csv)");
    json->excludes(csv, html, follow);
    csv->excludes(html, follow);
    html->excludes(follow);
    byBuild->excludes(html, follow);
    app.add_option("--jobs", options->jobs, "inputs read at once (default: the machine's cores)")
            ->type_name("N")
            ->check(CLI::Range(1u, 256u));
    CLI::Option* db = app.add_option("--db", options->storePath,
                                     "keep every report judged in FILE, a SQLite store (see the\n"
                                     "README): inputs it holds are not read again, and with no\n"
                                     "INPUT every report it holds is presented")
                              ->type_name("FILE");
    db->excludes(follow);
    CLI::Option* inputs = app.add_option("INPUT", options->inputs, "what to read, see below");
    inputs->excludes(follow);
    app.final_callback([options] {
        if (options->inputs.empty() && options->followed.empty() && options->storePath.empty()) {
            throw CLI::RequiredError("INPUT");
        }
    });
}

// False, with the reason on standard error, when the page could not be written.
bool writePage(const std::string& path, triage::HtmlPage& page) {
    FILE* out = fopen(path.c_str(), "w");
    bool written = out != nullptr && page.write(out);
    if (out != nullptr && fclose(out) != 0) written = false;
    if (!written) fprintf(stderr, "c2info-triage: %s: %s\n", path.c_str(), strerror(errno));
    return written;
}

int run(const Options& options) {
    std::unique_ptr<triage::Store> store;
    try {
        if (!options.storePath.empty()) store = std::make_unique<triage::Store>(options.storePath);
    } catch (const triage::StoreError& error) {
        fprintf(stderr, "c2info-triage: %s: %s\n", options.storePath.c_str(), error.what());
        return 1;
    }
    int status = 0;
    triage::HtmlPage page(options.pageStreams);
    // With --by-build, the inputs' rows give way to the release health.
    const ListingFormat listed = options.byBuild ? ListingFormat::kRefusalsOnly : options.listing;
    // The progress line steps aside for whatever the listing writes to the
    // terminal: a refusal always, the rest when standard output is one too.
    const bool listingOnTerminal =
            listed != ListingFormat::kRefusalsOnly && isatty(fileno(stdout)) != 0;
    std::vector<triage::FleetReport> fleet;
    {
        std::vector<std::string> inputs = triage::expandInputs(options.inputs);
        triage::Listing listing(listed, stdout, stderr);
        triage::Progress progress(stderr, inputs.size());
        auto present = [&](triage::Outcome&& outcome) {
            if (listingOnTerminal || !outcome.error.empty()) progress.clear();
            if (!listing.print(outcome)) status = 1;
            if (options.html) page.add(outcome);
            if (options.byBuild && outcome.error.empty()) {
                fleet.push_back(triage::fleetReportOf(outcome));
            }
            progress.advance();
        };
        try {
            if (!store) {
                triage::triageInputs(inputs, options.jobs, options.html, present);
            } else if (inputs.empty() && options.byBuild) {
                fleet = store->fleetReports();
            } else if (inputs.empty()) {
                // The details of a stream are read only for the page's rows.
                store->forEachReport(present, triage::StreamDetails::kRow);
                page.forEachHeld([&](triage::Outcome& held) { store->readDetails(held); });
            } else {
                triage::triageWithStore(
                        *store, inputs, options.jobs, options.html,
                        options.html ? triage::StreamDetails::kWhole : triage::StreamDetails::kRow,
                        present);
            }
        } catch (const triage::StoreError& error) {
            fprintf(stderr, "c2info-triage: %s: %s\n", options.storePath.c_str(), error.what());
            status = 1;
        }
    }
    if (options.byBuild) triage::printByBuild(triage::judgeFleet(fleet), options.listing, stdout);
    if (options.html && !writePage(options.htmlPath, page)) status = 1;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("", "c2info-triage");
    declareOptions(app, &options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        fputs(app.help().c_str(), stdout);
        return 0;
    } catch (const CLI::ParseError& error) {
        fprintf(stderr, "c2info-triage: %s (see --help)\n", error.what());
        return kUsageError;
    }
    if (!options.followed.empty()) return triage::follow(options.followed, options.recordPath);
    return run(options);
}
