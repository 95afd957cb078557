#include "tools/profile/show.h"

#include <iomanip>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/com.h"
#include "tools/profile/check.h"

namespace {

using Values = std::vector<double>;

struct TaskMemory {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};

// Each of these asks the tables as the driver does, and gives the numbers in the order of the text.
template <void (CScanAttrib::*get)(ScanMatrix&) const>
Values Matrix(const CScanAttrib& attrib) {
    ScanMatrix matrix;
    (attrib.*get)(matrix);
    return {std::begin(matrix.m_values), std::end(matrix.m_values)};
}

Values NegativeMatrix(const CScanAttrib& attrib) {
    NegMatrix matrix;
    attrib.getNegMatrix(matrix);
    return {std::begin(matrix.m_values), std::end(matrix.m_values)};
}

template <void (CScanAttrib::*get)(CoeffRecord&) const, bool hasStep = false>
Values Coeffs(const CScanAttrib& attrib) {
    CoeffRecord r;
    (attrib.*get)(r);
    Values values;
    for (const auto& triple : {r.m_offset, r.m_gain, r.m_gamma})
        values.insert(values.end(), triple, triple + 3);
    if (hasStep)
        values.push_back(r.m_densityStep);
    return values;
}

template <void (CScanAttrib::*get)(SharpSmoothRecord&) const>
Values SharpSmooth(const CScanAttrib& attrib) {
    SharpSmoothRecord r;
    (attrib.*get)(r);
    Values values(std::begin(r.m_sharp), std::end(r.m_sharp));
    for (const int value : {r.m_minSmooth, r.m_smooth, int{r.m_scannerLacksBWSharpening}})
        values.push_back(value);
    return values;
}

Values SharpSmooth2(const CScanAttrib& attrib) {
    SharpSmooth2Record r;
    attrib.getSharpSmooth2(r);
    Values values{double(r.m_useKestrinSmooth), double(r.m_useKestrinSharp)};
    values.insert(values.end(), std::begin(r.m_sharpStrength), std::end(r.m_sharpStrength));
    values.insert(values.end(), std::begin(r.m_sharpNoise), std::end(r.m_sharpNoise));
    for (const double value : {r.m_smoothNoise, r.m_smoothSmooth, r.m_sharpSmooth, r.m_sharpClip})
        values.push_back(value);
    values.push_back(r.m_scannerLacksBWSharpening);
    return values;
}

Values DarkValues(const CScanAttrib& attrib) {
    DarkValuesRecord r;
    attrib.getDarkValues(r);
    Values values;
    for (const DarkValueSet& set : {r.m_legacy.m_print, r.m_legacy.m_slide, r.m_adf}) {
        for (const int value : {set.m_linearizeBreakPoint, set.m_linearizeSmoothingRange,
                                set.m_matrixBreakPoint, set.m_matrixSmoothingRange})
            values.push_back(value);
    }
    values.push_back(r.m_legacy.m_maxFlatbedExposureSlope);
    return values;
}

Values Defaults(const CScanAttrib& attrib) {
    DefaultsRecord r;
    attrib.getDefaults(r);
    return {double(r.m_defaultPhotoResolution),
            double(r.m_defaultXPAResolution),
            double(r.m_negativeCapable),
            double(r.m_XPAneedsAutoMirror),
            double(r.m_grayChannel),
            double(r.m_highlight),
            double(r.m_adfShadow),
            double(r.m_scannerGammaFixed),
            double(r.m_enhancedColorByDefault),
            double(r.m_lidColor),
            double(r.m_adfLidColor)};
}

Values Gray(const CScanAttrib& attrib) {
    GrayRecord r;
    attrib.getGrayTable(r);
    return {r.m_matrix[0], r.m_matrix[1], r.m_matrix[2], r.m_offset, r.m_gain, r.m_gamma};
}

template <void (CScanAttrib::*get)(DefaultSelection&) const>
Values Selection(const CScanAttrib& attrib) {
    DefaultSelection selection;
    (attrib.*get)(selection);
    return {std::begin(selection.m_values), std::end(selection.m_values)};
}

// Rows are records of 32-bit numbers. They come as task memory.
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

// A table, with its older form if it has one, and how many values stand on a line.
struct ShownTable {
    ScanTable table;
    ScanTable older;
    std::size_t perLine;
    Values (*values)(const CScanAttrib&);
};

constexpr ScanTable kNone = ScanTable::Count;

const ShownTable kShown[] = {
    {ScanTable::Slide, kNone, 3, Matrix<&CScanAttrib::getSlideMatrix>},
    {ScanTable::Flatbed, kNone, 3, Matrix<&CScanAttrib::getFlatbedMatrix>},
    {ScanTable::Adf, kNone, 3, Matrix<&CScanAttrib::getAdfMatrix>},
    {ScanTable::Post, kNone, 3, Matrix<&CScanAttrib::getPostMatrix>},
    {ScanTable::Neg6x3, kNone, 6, NegativeMatrix},
    {ScanTable::NegCoeffs, kNone, 3, Coeffs<&CScanAttrib::getNegCoeffs, true>},
    {ScanTable::SlideCoeffs, kNone, 3, Coeffs<&CScanAttrib::getSlideCoeffs>},
    {ScanTable::FlatbedCoeffs2, ScanTable::FlatbedCoeffs, 3,
     Coeffs<&CScanAttrib::getFlatbedCoeffs>},
    {ScanTable::AdfCoeffs, kNone, 3, Coeffs<&CScanAttrib::getAdfCoeffs>},
    {ScanTable::SharpSmooth, kNone, 8, SharpSmooth<&CScanAttrib::getSharpSmooth>},
    {ScanTable::SharpSmooth2, kNone, 17, SharpSmooth2},
    {ScanTable::DarkValues2, ScanTable::DarkValues, 4, DarkValues},
    {ScanTable::Defaults, kNone, 11, Defaults},
    {ScanTable::Gray, kNone, 6, Gray},
    {ScanTable::SlideSelection, kNone, 4, Selection<&CScanAttrib::getSlideDefaultSelection>},
    {ScanTable::NegSelection, kNone, 4, Selection<&CScanAttrib::getNegDefaultSelection>},
    {ScanTable::ExclusionAreas, kNone, 5, List<ExclusionArea, &CScanAttrib::getExclusionAreas>},
    {ScanTable::Jpeg24, kNone, 3, List<JpegRow, &CScanAttrib::getJpegTable24>},
    {ScanTable::Jpeg8, kNone, 3, List<JpegRow, &CScanAttrib::getJpegTable8>},
    {ScanTable::Jpeg1, kNone, 3, List<JpegRow, &CScanAttrib::getJpegTable1>},
    {ScanTable::FlatbedMaxPix, kNone, 3, Matrix<&CScanAttrib::getFlatbedMaxPixMatrix>},
    {ScanTable::AdfMaxPix, kNone, 3, Matrix<&CScanAttrib::getAdfMaxPixMatrix>},
    {ScanTable::FlatbedCoeffsMaxPix, kNone, 3, Coeffs<&CScanAttrib::getFlatbedCoeffsMaxPix>},
    {ScanTable::SharpSmoothMaxPix, kNone, 8, SharpSmooth<&CScanAttrib::getSharpSmoothMaxPix>},
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
        ShowValues(shown.values(attrib), shown.perLine, facts.m_rowCount != 0 ? 1 : 0, out);
    }
    std::uint8_t flag = 0;
    attrib.getMaxPixFlag(flag);
    out << "Tables of the highest resolution: " << (flag ? "from the profile" : "none") << '\n';
}
