#include "tools/job_options.h"

#include "tools/page_name.h"

void AddJobOptions(CLI::App& sub, JobOptions& options) {
    constexpr int kMostPages = 10000;
    constexpr int kMostStart = 1'000'000;
    constexpr double kMostSeconds = 86400;

    sub.add_option("--pages", options.m_pages,
                   "Pages from the feeder, a side each, or of a batch; 0: all that are there (0)")
        ->check(CLI::Range(0, kMostPages));
    sub.add_option("--start", options.m_start,
                   "Number of the first page's file, where the name has %d (1)")
        ->check(CLI::Range(0, kMostStart));
    sub.add_flag("--force", options.m_mayReplace,
                 "Numbered files that are there may be replaced, as single files always are");
    // A value stands behind '=' alone, so that the scanner's name may follow.
    sub.add_flag("--batch{0}")
        ->description(
            "One page after the other: asks for the next on the terminal; --batch=SECONDS scans by "
            "the clock instead, until --pages or Ctrl-C")
        ->check(CLI::Range(0.0, kMostSeconds))
        ->each([&options](const std::string& seconds) { options.m_batch = std::stod(seconds); });
    CLI::Option* quiet = sub.add_flag("-q,--quiet", options.m_isQuiet, "Only failures are told");
    sub.add_flag("--json", options.m_isJson,
                 "For programs: an object on a line for each page, with file, page, pixels, "
                 "resolution, source, mode and result")
        ->excludes(quiet);
}

bool CheckJob(const JobOptions& options, const std::string& output, std::string* error) {
    if (options.m_start == 1 || CPageName(output).IsNumbered())
        return true;
    *error = "--start numbers files: the name has no %d for it";
    return false;
}
