// What the rules of validation share while one call of the service is worked off.
#pragma once

#include <algorithm>
#include <span>

#include "platform/wia.h"

struct ValidationCall {
    static constexpr std::size_t kAxes = 2;  // across the scan line, along the scan

    // Did the client itself write it in this call? The context tells also of what rules have
    // changed since.
    bool Wrote(PROPID id) const {
        return std::any_of(written.begin(), written.end(), [id](const PROPSPEC& spec) {
            return spec.ulKind == PRSPEC_PROPID && spec.propid == id;
        });
    }

    std::span<const PROPSPEC> written;
    WIA_PROPERTY_CONTEXT context = {};
    LONG followed[kAxes] = {};   // the resolution that the window has followed to; 0: none
    bool shortened[kAxes] = {};  // the window's extent, to what lies behind its position
    bool emptyWindow = false;    // as the last preparation found it
    bool lacksColors = false;    // the palette that is chosen
};
