// How many pages a scan takes.
#pragma once

#include <algorithm>
#include <optional>

#include "platform/wia.h"

// 1 without the feeder, else `asked` (ScanOptions::pages), or for a negative one what the property
// "Pages" says. 0: until the feeder is empty. With `preview`, the property "Preview", the feeder
// keeps its sheet and would never be: 1. `select` is "Document Handling Select"; a device need have
// none of the three properties.
inline int PagesOfScan(std::optional<LONG> select, std::optional<LONG> preview,
                       std::optional<LONG> pages, int asked) {
    if ((select.value_or(FLATBED) & (FEEDER | DUPLEX)) == 0 || preview.value_or(0) != 0)
        return 1;
    return asked >= 0 ? asked : std::max(pages.value_or(1), LONG{0});
}
