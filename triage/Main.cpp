// c2info-triage: the owner verdict of the c2info service from the dumps in
// TV bugreports, without the TV. See declareOptions() and the README.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ByBuild.h"
#include "Fleet.h"
#include "HtmlPage.h"
#include "Inputs.h"
#include "Listing.h"
#include "Pool.h"

namespace {

constexpr int kUsageError = 2;

using triage::ListingFormat;

struct Options {
    // With a page, only refused inputs are listed.
    ListingFormat listing = ListingFormat::kText;
    bool html = false;
    bool byBuild = false;
    unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
    std::string htmlPath;
    std::vector<std::string> inputs;
};

// One declaration gives the command line its rules and its usage text.
void declareOptions(CLI::App& app, Options* options) {
    app.description(R"(Reads the c2info service's lshal debug output from each INPUT and prints,
per input, what `lshal debug --owner` would have printed on that TV: the
module to look at first for each stream's stuck or unsmooth playback.
)");
    app.footer(R"(INPUT is a bugreport zip (only the service's entry,
)" + std::string(triage::kServiceEntry) +
               R"(, is read),
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
not (each named on standard error with the reason) or the page could not
be written, 2 on a usage error.)");
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
    CLI::Option* byBuild =
            app.add_flag("--by-build", options->byBuild,
                         "instead of a row per stream, the release health: per build in\n"
                         "rollout order, the share of reports per module with its 95 %\n"
                         "interval and the change a Fisher test carries; the findings'\n"
                         "first and last build (as a table with --json or --csv)");
    json->excludes(csv, html);
    csv->excludes(html);
    byBuild->excludes(html);
    app.add_option("--jobs", options->jobs, "inputs read at once (default: the machine's cores)")
            ->type_name("N")
            ->check(CLI::Range(1u, 256u));
    app.add_option("INPUT", options->inputs, "what to read, see below")->required();
}

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
    triage::HtmlPage page;
    std::vector<triage::FleetReport> fleet;
    {
        triage::Listing listing(options.byBuild ? ListingFormat::kRefusalsOnly : options.listing,
                                stdout, stderr);
        triage::triageInputs(triage::expandInputs(options.inputs), options.jobs, options.html,
                             [&](triage::Outcome&& outcome) {
                                 if (!listing.print(outcome)) status = 1;
                                 if (options.html) page.add(outcome);
                                 if (options.byBuild && outcome.error.empty())
                                     fleet.push_back(triage::fleetReportOf(outcome));
                             });
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
    return run(options);
}
