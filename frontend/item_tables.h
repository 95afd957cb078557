// The properties of the two items, a row for each, in the order in which they are added. Ids, shown
// names, access, first values and limits stand here alone: the driver builds its items from these
// rows, and whoever models or checks an item reads them. What only a device can tell is a place
// among the values that a build works out.
//
// Nothing here needs the driver object.
#pragma once

#include <span>

#include "platform/wia.h"
#include "profile/attrib_tables.h"

class CNVScan;
class CScanAttrib;

// What the build of the root works out.
enum RootNumber {
    kBedWidth,  // 1/1000 inch, as all lengths here
    kBedHeight,
    kSheetWidth,
    kSheetHeight,
    kOptical,  // dots per inch
    kHasFeeder,
    kFeederReady,  // with paper; in no row
    kSelect,       // feeder, flatbed or both sides, and which of them there are
    kSelectBits,
    kStatus,
    kAdapterChosen,
    kRootNumbers
};

// What the build of the scanned item works out: resolutions in dots per inch, the rest in pixels.
enum TopNumber { kDefaultResolution, kPixels, kLines, kTopNumbers };
enum TopList { kResolutionsAcross, kResolutionsAlong, kTopLists };

// A number in a row: a constant, or one of those that a build works out, told by its place.
class RowNumber {
  public:
    constexpr RowNumber(LONG constant) : m_number(constant) {}
    constexpr RowNumber(RootNumber place) : m_number(place), m_computed(true) {}
    constexpr RowNumber(TopNumber place) : m_number(place), m_computed(true) {}
    LONG In(std::span<const LONG> computed) const {
        return m_computed ? computed[static_cast<std::size_t>(m_number)] : m_number;
    }

  private:
    LONG m_number;
    bool m_computed = false;
};

// A list of numbers in a row, likewise.
class RowList {
  public:
    constexpr RowList() = default;
    template <std::size_t count>
    constexpr RowList(const LONG (&constants)[count]) : m_constants(constants) {}
    constexpr RowList(TopList place) : m_place(place) {}
    std::span<const LONG> In(std::span<const std::span<const LONG>> computed) const {
        return m_place < 0 ? m_constants : computed[static_cast<std::size_t>(m_place)];
    }

  private:
    std::span<const LONG> m_constants;
    int m_place = -1;  // none
};

// Nominal values are the values, and steps are 1.
struct PropertyRow {
    enum class Kind { Long, Flag, Range, List, Text, Guid, GuidList };

    Kind kind;
    PROPID id;
    LPCOLESTR name;
    ULONG access;
    RowNumber value = 0;
    RowNumber low = 0;   // of a range, or the valid bits of a flag
    RowNumber high = 0;  // of a range
    RowList list = {};
    LPCOLESTR text = nullptr;          // null: the one that a build finds out
    std::span<const GUID> guids = {};  // the first is the value
};

std::span<const PropertyRow> RootRows();
// The standard properties of the scanned item, and the user's settings of tone and colour.
std::span<const PropertyRow> TopRows();
std::span<const PropertyRow> UserRows();
// Behind the records.
std::span<const PropertyRow> ScaleRows();

// A table of the model as a property of bytes, by which it reaches the engine.
struct RecordRow {
    PROPID id;
    LPCOLESTR name;       // as shown; most have the same
    const char* content;  // what is in it, for people
    ScanTable table;      // of the profile: how many numbers, in which range
    ULONG bytes;
    // Fill in `bytes` bytes. A failure of the controller leaves them alone: the first byte of many
    // tables says that they are valid, and what a failed getter has left there isn't.
    HRESULT (*fromScan)(CNVScan& scan, BYTE* bytes);
    void (*fromAttrib)(const CScanAttrib& attrib, BYTE* bytes);
};
std::span<const RecordRow> RecordRows();
inline constexpr std::size_t kLargestRecord = 144;  // bytes
inline constexpr ULONG kRecordAccess = WIA_PROP_READ | WIA_PROP_NONE;
