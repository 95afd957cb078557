// Results of the imaging service in SANE's terms.
#pragma once

#include <sane/sane.h>

#include "service/scan_status.h"

// GOOD for success, CANCELLED for S_FALSE.
SANE_Status SaneStatusOf(HRESULT code);

// The same, with the words of a failure in the debug output.
SANE_Status Told(const ScanStatus& status);
