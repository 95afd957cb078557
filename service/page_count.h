// How many pages a scan takes.
#pragma once

#include <algorithm>
#include <optional>

#include "platform/wia.h"

// 1 without the feeder, else `asked` (ScanOptions::pages), or for a negative one what the property
// "Pages" says. 0: until the feeder is empty. `select` is "Document Handling Select"; a device need
// not have either property.
inline int PagesOfScan(std::optional<LONG> select, std::optional<LONG> pages, int asked) {
    if ((select.value_or(FLATBED) & (FEEDER | DUPLEX)) == 0)
        return 1;
    return asked >= 0 ? asked : std::max(pages.value_or(1), LONG{0});
}
