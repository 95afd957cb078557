#include "tools/job_options.h"

#include "tools/page_name.h"

void AddJobOptions(CLI::App& sub, JobOptions& options) {
    constexpr int kMostPages = 10000;
    constexpr int kMostStart = 1'000'000;
    constexpr double kMostSeconds = 86400;

    sub.add_option("--pages", options.m_pages,
                   "Pages from the feeder, each side is one, or of a batch; 0 for all")
        ->check(CLI::Range(0, kMostPages))
        ->default_str("0");
    sub.add_option("--start", options.m_start,
                   "Number of the first page's file, where the name has %d")
        ->check(CLI::Range(0, kMostStart))
        ->default_str("1");
    sub.add_flag("--force", options.m_mayReplace,
                 "Replace numbered files that are there, as single files always are");
    // A value stands behind '=' alone, so that the scanner's name may follow.
    sub.add_flag("--batch{0}")
        ->description(
            "One page after the other: asks for the next on the terminal, or with =SECONDS scans "
            "by the clock, until --pages or Ctrl-C")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, kMostSeconds))
        ->each([&options](const std::string& seconds) { options.m_batch = std::stod(seconds); });
    CLI::Option* quiet = sub.add_flag("-q,--quiet", options.m_isQuiet, "Tell only failures");
    sub.add_flag("--json", options.m_isJson,
                 "Print JSON, for programs: for each page an object on a line, with file, page, "
                 "pixels, resolution, source, mode and result")
        ->excludes(quiet);
}

bool CheckJob(const JobOptions& options, const std::string& output, std::string* error) {
    if (options.m_start == 1 || CPageName(output).IsNumbered())
        return true;
    *error = "--start numbers files: the name has no %d for it";
    return false;
}
