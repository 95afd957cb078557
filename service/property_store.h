// The properties of one item, with their values before the write that is being validated.
#pragma once

#include <mutex>
#include <optional>
#include <span>
#include <utility>

#include "service/scan_property.h"

// Properties stand in the order in which they were named. Every operation is whole: it changes all
// that it was asked for, or nothing and gives a failure. Safe between threads.
class CPropertyStore {
  public:
    static constexpr std::size_t kMaxProperties = 4096;

    // What a driver says of a property beside its value.
    struct Attributes {
        PROPID id = 0;
        VARTYPE type = VT_EMPTY;
        ULONG access = 0;
        ValidValues valid;
    };
    using Name = std::pair<PROPID, std::string>;

    // Makes properties, or names those that are there anew. E_INVALIDARG beyond kMaxProperties.
    HRESULT SetNames(std::span<const Name> names);
    // E_INVALIDARG for an unknown id, or a type that the property's value doesn't have.
    HRESULT SetAttributes(std::span<const Attributes> attributes);
    // E_INVALIDARG for a property that has no range, or limits that are none.
    HRESULT SetRange(PROPID id, LONG min, LONG nominal, LONG max, LONG step);
    // A driver's write, which no access or range limits. E_INVALIDARG for an unknown id or a value
    // of another type.
    HRESULT Write(std::span<const PropertyWrite> writes);

    // S_FALSE for a property that isn't there or has no value. `old` may be null.
    HRESULT Read(PROPID id, PropertyValue& value, PropertyValue* old) const;
    // Copies: what they tell is of one moment. Nothing for a property that isn't there.
    std::optional<ScanProperty> Find(PROPID id) const;
    std::optional<PROPID> FindName(const std::string& name) const;
    std::vector<ScanProperty> All() const;

    // Between these two, old values are those of the beginning.
    void BeginWrite();
    void EndWrite();
    // Everything as it was at the beginning: values, access and valid values.
    void Rollback();

  private:
    ScanProperty* Lookup(PROPID id);
    const ScanProperty* Lookup(PROPID id) const;

    mutable std::mutex m_lock;
    std::vector<ScanProperty> m_properties;
    std::optional<std::vector<ScanProperty>> m_before;  // during a write
};
