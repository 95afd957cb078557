#include "tools/profile/show.h"

#include <iomanip>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/com.h"
#include "profile/attrib_layout.h"
#include "tools/profile/check.h"

namespace {

using Values = std::vector<double>;

struct TaskMemory {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};

template <class Row, void (CScanAttrib::*get)(std::uint32_t&, Row*&) const>
Values List(const CScanAttrib& attrib) {
    std::uint32_t count = 0;
    Row* rows = nullptr;
    (attrib.*get)(count, rows);
    const std::unique_ptr<Row, TaskMemory> holder(rows);
    Values values{double(count)};
    const auto* numbers = reinterpret_cast<const std::uint32_t*>(rows);
    for (std::size_t i = 0; i < count * sizeof(Row) / sizeof(*numbers); ++i)
        values.push_back(numbers[i]);
    return values;
}

// A table, with its older form if it has one, and how many values stand on a line. A list has a
// function of its own for its values.
struct ShownTable {
    ScanTable table;
    ScanTable older;
    std::size_t perLine;
    Values (*list)(const CScanAttrib&) = nullptr;
};

constexpr ScanTable kNone = ScanTable::Count;

constexpr ShownTable kShown[] = {
    {ScanTable::Slide, kNone, 3},
    {ScanTable::Flatbed, kNone, 3},
    {ScanTable::Adf, kNone, 3},
    {ScanTable::Post, kNone, 3},
    {ScanTable::Neg6x3, kNone, 6},
    {ScanTable::NegCoeffs, kNone, 3},
    {ScanTable::SlideCoeffs, kNone, 3},
    {ScanTable::FlatbedCoeffs2, ScanTable::FlatbedCoeffs, 3},
    {ScanTable::AdfCoeffs, kNone, 3},
    {ScanTable::SharpSmooth, kNone, 8},
    {ScanTable::SharpSmooth2, kNone, 17},
    {ScanTable::DarkValues2, ScanTable::DarkValues, 4},
    {ScanTable::Defaults, kNone, 11},
    {ScanTable::Gray, kNone, 6},
    {ScanTable::SlideSelection, kNone, 4},
    {ScanTable::NegSelection, kNone, 4},
    {ScanTable::ExclusionAreas, kNone, 5, List<ExclusionArea, &CScanAttrib::getExclusionAreas>},
    {ScanTable::Jpeg24, kNone, 3, List<JpegRow, &CScanAttrib::getJpegTable24>},
    {ScanTable::Jpeg8, kNone, 3, List<JpegRow, &CScanAttrib::getJpegTable8>},
    {ScanTable::Jpeg1, kNone, 3, List<JpegRow, &CScanAttrib::getJpegTable1>},
    {ScanTable::FlatbedMaxPix, kNone, 3},
    {ScanTable::AdfMaxPix, kNone, 3},
    {ScanTable::FlatbedCoeffsMaxPix, kNone, 3},
    {ScanTable::SharpSmoothMaxPix, kNone, 8},
};

bool IsUsed(const CScanAttrib& attrib, ScanTable table) {
    return table != kNone && attrib.Report(table).m_outcome == ScanTableOutcome::Used;
}

std::string Line(const ScanTableReport& report) {
    return "line " + std::to_string(report.m_line);
}

// A fault with its line; what is missing has none.
std::string FaultAt(const ScanTableReport& report) {
    if (report.m_outcome == ScanTableOutcome::Missing)
        return DescribeFault(report);
    return Line(report) + ": " + DescribeFault(report);
}

// Where the values in force come from, and why not from elsewhere.
std::string Origin(const CScanAttrib& attrib, const ShownTable& shown) {
    const ScanTableReport& report = attrib.Report(shown.table);
    if (IsUsed(attrib, shown.table))
        return "profile, " + Line(report);
    const std::string newer = FaultAt(report);
    if (shown.older == kNone)
        return "fallback; " + newer;
    const std::string olderKey = FactsOf(shown.older).m_key;
    const ScanTableReport& older = attrib.Report(shown.older);
    if (IsUsed(attrib, shown.older))
        return "profile, " + olderKey + ", " + Line(older) + "; " + newer;
    return "fallback; " + newer + "; " + olderKey + ": " + FaultAt(older);
}

// `first` values stand on a line of their own, then `perLine` on each.
void ShowValues(const Values& values, std::size_t perLine, std::size_t first, std::ostream& out) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        const bool begins = i < first ? i == 0 : (i - first) % perLine == 0;
        out << (begins ? i == 0 ? "    " : "\n    " : " ") << ShortNumber(values[i]);
    }
    out << '\n';
}

}  // namespace

void ShowTables(const CScanAttrib& attrib, std::ostream& out) {
    for (const ShownTable& shown : kShown) {
        const ScanTableFacts& facts = FactsOf(shown.table);
        out << std::left << std::setw(24) << facts.m_key << Origin(attrib, shown) << '\n';
        // The count of a list's rows has a line of its own.
        ShowValues(
            shown.list ? shown.list(attrib) : TakeNumbers(shown.table, attrib.Record(shown.table)),
            shown.perLine, facts.m_rowCount != 0 ? 1 : 0, out);
    }
    std::uint8_t flag = 0;
    attrib.getMaxPixFlag(flag);
    out << "Tables of the highest resolution: " << (flag ? "from the profile" : "none") << '\n';
}
