// Property records of an item: collected one by one, committed to the item at once. The first
// failure is kept, and nothing is added behind it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/wia.h"

class CPropertySet {
  public:
    // Each replaces an older record of its id. Names are constants; all else is copied.
    void AddLong(PROPID id, LPCOLESTR name, ULONG access, LONG value);
    // The nominal value is the value.
    void AddFlag(PROPID id, LPCOLESTR name, ULONG access, LONG value, LONG validBits);
    // Nothing is added, and nothing reported, unless the name is set, min is below max, value and
    // nominal lie between them, and the step is at least 1. An older record goes all the same.
    void AddRange(PROPID id, LPCOLESTR name, ULONG access, LONG value, LONG nominal, LONG min,
                  LONG max, LONG step);
    // E_INVALIDARG for an empty list; also of identifiers.
    void AddList(PROPID id, LPCOLESTR name, ULONG access, LONG value, LONG nominal,
                 std::span<const LONG> list);
    void AddString(PROPID id, LPCOLESTR name, ULONG access, LPCOLESTR text);
    void AddGuid(PROPID id, LPCOLESTR name, ULONG access, const GUID& guid);
    void AddGuidList(PROPID id, LPCOLESTR name, ULONG access, const GUID& value,
                     const GUID& nominal, std::span<const GUID> list);
    // E_INVALIDARG for a null name or null bytes.
    void AddBlob(PROPID id, LPCOLESTR name, ULONG access, ULONG size, const BYTE* bytes);

    HRESULT GetError() const { return m_error; }
    // Forgets a failure, for a build that begins anew.
    void ClearError() { m_error = S_OK; }
    // A kept failure first; E_INVALIDARG for a null item.
    HRESULT Commit(BYTE* item);

  private:
    struct Record {
        LPCOLESTR name;
        PROPID id;
        WIA_PROPERTY_INFO info;  // lists are told when it is committed
        LONG value;
        GUID guid;
        std::u16string text;
        std::vector<BYTE> bytes;
        std::vector<LONG> list;
        std::vector<GUID> guidList;
    };

    template <class Fill>
    void Add(PROPID id, LPCOLESTR name, ULONG access, VARTYPE type, Fill fill);
    void Remove(PROPID id);
    // Keeps E_INVALIDARG.
    void Refuse();
    // Both point into the record; texts come to stand in `texts`.
    static PROPVARIANT ValueOf(Record& record, std::vector<TaskText>& texts);
    static WIA_PROPERTY_INFO InfoOf(Record& record);

    std::vector<Record> m_records;
    HRESULT m_error = S_OK;
};
