// How the tables are filled. All values pass here as doubles in the order of the profile's text,
// the built-in ones too.
#include <new>
#include <utility>

#include "profile/attrib_layout.h"
#include "profile/scan_attrib.h"

namespace {

// Values of lists lie between 0 and 10000.
std::uint32_t ToU32(double value) {
    return static_cast<std::uint32_t>(value);
}

// The line on which a value of a table stands, which lookups don't keep for each value. Reads the
// values up to it once more.
std::uint32_t LineOf(const CScannerProfile& profile, const char* suffix, ScanTable table,
                     std::uint16_t index, double* values) {
    ProfileLookup lookup;
    profile.getTable(FactsOf(table).m_key, suffix, values, static_cast<std::uint16_t>(index + 1),
                     &lookup);
    return lookup.m_lastLine;
}

void FillRow(ExclusionArea& area, const double* values) {
    area = {ToU32(values[0]), ToU32(values[1]), ToU32(values[2]), ToU32(values[3]),
            ToU32(values[4])};
}

void FillRow(JpegRow& row, const double* values) {
    row = {ToU32(values[0]), ToU32(values[1]), ToU32(values[2])};
}

}  // namespace

// Reports on the way: a person who asks why a table has fallen back learns the first value that is
// to blame, with its line and range. A driver that starts has no use for it.
bool CScanAttrib::Judge(const CScannerProfile& profile, const char* suffix, ScanTable table,
                        const ProfileLookup& lookup, double* values, std::uint16_t wanted,
                        double low, double high) {
    ScanTableReport& report = ReportOf(table);
    report = {};
    report.m_line = lookup.m_keyLine;
    report.m_read = lookup.m_read;
    report.m_wanted = wanted;
    report.m_low = low;
    report.m_high = high;
    if (!lookup.m_found)
        return false;
    report.m_outcome = ScanTableOutcome::TooFew;
    if (lookup.m_read < wanted)
        return false;
    report.m_outcome = ScanTableOutcome::Used;
    for (std::uint16_t i = 0; i < wanted; ++i) {
        // So written that not-a-number would be outside.
        if (values[i] >= low && values[i] <= high)
            continue;
        report.m_outcome = ScanTableOutcome::OutOfRange;
        report.m_index = i;
        report.m_value = values[i];
        report.m_line = LineOf(profile, suffix, table, i, values);
        return false;
    }
    return true;
}

bool CScanAttrib::Take(const CScannerProfile& profile, const char* suffix, ScanTable table,
                       double* values) {
    const ScanTableFacts& facts = FactsOf(table);
    ProfileLookup lookup;
    profile.getTable(facts.m_key, suffix, values, facts.m_count, &lookup);
    return Judge(profile, suffix, table, lookup, values, facts.m_count, facts.m_low, facts.m_high);
}

// Both lookups go into one array, the older form first: a profile that has the older form whole and
// the newer one in part gives a mixture, which counts if it lies in the older form's range.
ScanTable CScanAttrib::TakeForm(const CScannerProfile& profile, const char* suffix, ScanTable newer,
                                ScanTable older, double* values) {
    const ScanTableFacts& newFacts = FactsOf(newer);
    const ScanTableFacts& oldFacts = FactsOf(older);
    ProfileLookup newLookup;
    ProfileLookup oldLookup;
    profile.getTable(oldFacts.m_key, suffix, values, oldFacts.m_count, &oldLookup);
    profile.getTable(newFacts.m_key, suffix, values, newFacts.m_count, &newLookup);
    ScanTableReport& report = ReportOf(older);
    if (Judge(profile, suffix, newer, newLookup, values, newFacts.m_count, newFacts.m_low,
              newFacts.m_high)) {
        report = {};
        report.m_line = oldLookup.m_keyLine;
        if (oldLookup.m_found)
            report.m_outcome = ScanTableOutcome::Superseded;
        return newer;
    }
    if (Judge(profile, suffix, older, oldLookup, values, oldFacts.m_count, oldFacts.m_low,
              oldFacts.m_high))
        return older;
    // The value to blame may be one that the newer form has put over the older's.
    if (report.m_outcome == ScanTableOutcome::OutOfRange && report.m_index < newLookup.m_read)
        report.m_line = LineOf(profile, suffix, newer, report.m_index, values);
    return ScanTable::Count;
}

void CScanAttrib::Load(const CScannerProfile& profile, const char* suffix, ScanTable table) {
    double values[kMaxTableValues] = {};
    const bool isTaken = Take(profile, suffix, table, values);
    PutNumbers(table, isTaken ? values : FallbackOf(table), RecordOf(table));
}

// The fallback of the newer form goes ahead: it fills what the older one has no numbers for.
void CScanAttrib::LoadForm(const CScannerProfile& profile, const char* suffix, ScanTable newer,
                           ScanTable older) {
    double values[kMaxTableValues] = {};
    PutNumbers(newer, FallbackOf(newer), RecordOf(newer));
    const ScanTable form = TakeForm(profile, suffix, newer, older, values);
    if (form != ScanTable::Count)
        PutNumbers(form, values, RecordOf(newer));
}

void CScanAttrib::LoadMaxPix(const CScannerProfile& profile, const char* suffix, ScanTable table) {
    Load(profile, suffix, table);
    if (Report(table).m_outcome == ScanTableOutcome::Used)
        m_maxPixFlag = 1;
}

void CScanAttrib::loadSlideMatrix(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::Slide);
}

void CScanAttrib::loadFlatbedMatrix(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::Flatbed);
}

void CScanAttrib::loadAdfMatrix(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::Adf);
}

void CScanAttrib::loadPostMatrix(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::Post);
}

void CScanAttrib::loadNegMatrix(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::Neg6x3);
}

void CScanAttrib::loadNegCoeffs(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::NegCoeffs);
}

void CScanAttrib::loadSlideCoeffs(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::SlideCoeffs);
}

void CScanAttrib::loadFlatbedCoeffs(const CScannerProfile& profile, const char* suffix) {
    LoadForm(profile, suffix, ScanTable::FlatbedCoeffs2, ScanTable::FlatbedCoeffs);
}

void CScanAttrib::loadAdfCoeffs(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::AdfCoeffs);
}

void CScanAttrib::loadSharpSmooth(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::SharpSmooth);
}

void CScanAttrib::loadSharpSmooth2(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::SharpSmooth2);
}

void CScanAttrib::loadDarkValues(const CScannerProfile& profile, const char* suffix) {
    LoadForm(profile, suffix, ScanTable::DarkValues2, ScanTable::DarkValues);
}

void CScanAttrib::loadDefaults(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::Defaults);
}

void CScanAttrib::loadGrayTable(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::Gray);
}

void CScanAttrib::loadSlideDefaultSelection(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::SlideSelection);
}

void CScanAttrib::loadNegDefaultSelection(const CScannerProfile& profile, const char* suffix) {
    Load(profile, suffix, ScanTable::NegSelection);
}

void CScanAttrib::loadFlatbedMaxPixMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMaxPix(profile, suffix, ScanTable::FlatbedMaxPix);
}

void CScanAttrib::loadAdfMaxPixMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMaxPix(profile, suffix, ScanTable::AdfMaxPix);
}

void CScanAttrib::loadFlatbedCoeffsMaxPix(const CScannerProfile& profile, const char* suffix) {
    // Its six numbers leave the gains out.
    PutNumbers(ScanTable::FlatbedCoeffs2, FallbackOf(ScanTable::FlatbedCoeffs2),
               &m_flatbedCoeffsMaxPix);
    LoadMaxPix(profile, suffix, ScanTable::FlatbedCoeffsMaxPix);
}

void CScanAttrib::loadSharpSmoothMaxPix(const CScannerProfile& profile, const char* suffix) {
    LoadMaxPix(profile, suffix, ScanTable::SharpSmoothMaxPix);
}

// ---- Lists

// In two lookups: the count says how many values the second one asks for. It is at most 1000, so
// that 1 + 5 x 1000 values are the most; a text of 9999 bytes has room for fewer.
template <class Row>
void CScanAttrib::LoadRows(const CScannerProfile& profile, const char* suffix, ScanTable table,
                           ScanRows<Row>& rows) {
    const ScanTableFacts& facts = FactsOf(table);
    rows = {};
    double first = 0;
    if (!Take(profile, suffix, table, &first) || ToU32(first) == 0)
        return;
    // A fraction is cut off here, as everywhere.
    const std::uint32_t count = ToU32(first);
    const auto wanted = static_cast<std::uint16_t>(1 + count * facts.m_rowCount);
    const std::unique_ptr<double[]> values(new (std::nothrow) double[wanted]());
    std::unique_ptr<Row[]> made(new (std::nothrow) Row[count]());
    if (!values || !made)
        return;
    ProfileLookup lookup;
    profile.getTable(facts.m_key, suffix, values.get(), wanted, &lookup);
    if (!Judge(profile, suffix, table, lookup, values.get(), wanted, 0, facts.m_rowHigh))
        return;
    // The count stands first among the values, and is passed over.
    for (std::size_t i = 0; i < count; ++i)
        FillRow(made[i], values.get() + 1 + i * facts.m_rowCount);
    rows = {count, std::move(made)};
}

void CScanAttrib::loadExclusionAreas(const CScannerProfile& profile, const char* suffix) {
    LoadRows(profile, suffix, ScanTable::ExclusionAreas, m_exclusionAreas);
}

void CScanAttrib::loadJpegTables(const CScannerProfile& profile, const char* suffix) {
    LoadRows(profile, suffix, ScanTable::Jpeg24, m_jpeg24);
    LoadRows(profile, suffix, ScanTable::Jpeg8, m_jpeg8);
    LoadRows(profile, suffix, ScanTable::Jpeg1, m_jpeg1);
}
