// Values as they cross the interface to a driver.
#pragma once

#include "platform/wia.h"
#include "service/scan_property.h"

inline constexpr std::size_t kMaxRecordBytes = std::size_t{1} << 20;

// Bytes for a receiver that frees them as task memory; null for none.
HRESULT CopyToTaskMemory(const void* bytes, std::size_t size, void** copy);

// E_INVALIDARG for a type that properties don't have, a null pointer that should lead to something,
// or bytes beyond kMaxRecordBytes.
HRESULT FromVariant(const PROPVARIANT& variant, PropertyValue& value);
// Copies; the receiver clears it.
HRESULT ToVariant(const PropertyValue& value, PROPVARIANT& variant);
