// Which values a property takes.
#pragma once

#include "service/scan_property.h"
#include "service/scan_status.h"

// Type, size and valid values. E_INVALIDARG, with the property's name and the limit in the text.
ScanStatus CheckValue(const ScanProperty& property, const PropertyValue& value);

// The same for a write of a client: STG_E_ACCESSDENIED for a property that can't be written.
ScanStatus CheckWrite(const ScanProperty& property, const PropertyValue& value);

// "Brightness", or "property 71711" for one without a name.
std::string ShownName(const ScanProperty& property);

// A value in words: 200, "text", {...}, or the count of its bytes.
std::string ShownValue(const PropertyValue& value);
