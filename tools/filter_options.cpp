#include "tools/filter_options.h"

#include "tools/choice_option.h"

void AddFilterOptions(CLI::App& sub, ScanFilters& filters) {
    sub.add_option("--sharpen", filters.sharpening,
                   "0 to 4: the higher, the sharper; 5 switches sharpening off")
        ->check(CLI::Range(0, 5))
        ->default_str("2");
    TakesWordOf<LONG>(sub.add_option("--smooth", filters.smoothing,
                                     "off, light (only noise) or strong (fine detail too)")
                          ->default_str("light"),
                      {{"off", 0}, {"light", 1}, {"strong", 2}});
    CLI::Option* streaks =
        sub.add_option("--streaks", filters.streaks,
                       "Against streaks from the feeder, sharpens along the line: off, 1, or 2 by "
                       "coarser detail or more")
            ->default_str("off");
    TakesWordOf<LONG>(streaks, {{"off", 0}, {"1", 1}, {"2", 2}});
    TakesWordOf<LONG>(sub.add_option("--streak-detail", filters.streakDetail,
                                     "With --streaks: red, green or blue, from which the other two "
                                     "are rebuilt without their streaks"),
                      {{"red", 1}, {"green", 2}, {"blue", 3}})
        ->needs(streaks);
}

bool CheckFilters(const ScanFilters& filters, std::string* error) {
    const bool isIdle = filters.streakDetail && filters.streaks == 0;
    if (isIdle)
        *error =
            "--streak-detail belongs to the removal of streaks, which --streaks off leaves out";
    return !isIdle;
}
