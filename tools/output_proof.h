// That the files of a job can be written, found out before any paper moves.
#pragma once

#include <string>

#include "tools/page_name.h"

// The pages of a job, as far as their count is known.
struct OutputPages {
    int first = 1;
    int count = 0;            // 0: nobody knows
    bool mayReplace = false;  // also files of a numbered series that are there
};

// Tries each file's name and makes a passing file in each folder. Of a series whose end nobody
// knows, names of the first thousand pages are tried. False with one line in `error`.
bool ProveOutput(const CPageName& name, const OutputPages& pages, std::string* error);

// The same for a file that is replaced if it is there.
bool ProveFile(const std::string& path, std::string* error);
