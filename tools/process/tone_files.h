// Plots of the tones of one image, beside its file.
#pragma once

#include <functional>
#include <string>

#include "tools/plot/tone_counts.h"
#include "tools/process/page_source.h"

class CQLEngine;

// Plots to draw beside a result; empty for none.
struct CToneFiles {
    std::string m_histogram;
    std::string m_curves;

    // False with one line in `error` for a name that can't be one of a plot.
    bool Check(std::string* error) const;
};

// Counts a page as it enters the engine. False with a line in `error` to stand behind the file's
// name; a count that `stopped` has cut is none.
bool CountPicture(const CPageSource& source, const std::function<bool()>& stopped,
                  CToneCounts* counts, std::string* error);

// What the engine has published of the last whole pass with QL_ATTR_HISTOGRAM_ON: the tones ahead
// of sharpening, one channel for gray results. Empty when its chain counts none, or makes something
// else of what was counted: single bits, or indices of a palette.
CToneCounts PublishedCounts(CQLEngine& engine);

// Draws them both. False with one line in `error`.
bool DrawHistograms(const std::string& path, bool isEncoded, const CToneCounts& input,
                    const CToneCounts& result, std::string* error);
