// How the tables are filled. All values pass here as doubles in the order of the profile's text,
// the built-in ones too.
#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "profile/scan_attrib.h"

namespace {

constexpr double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
// clang-format off
constexpr double kNegMatrix[18] = {
    0.315,  -0.1,   0.112,  -0.086, 0, 0,
    -0.078, -0.289, -0.136, -0.245, 0, 0,
    -0.066, -0.227, 0.043,  0.005,  0, 0,
};
// clang-format on
// Offsets, gains, gammas; the density step of negatives.
constexpr double kCoeffs[9] = {0, 0, 0, 1, 1, 1, 1, 1, 1};
constexpr double kNegCoeffs[10] = {0, 0, 0, 1, 1, 1, 1, 1, 1, 0.065};
// Offsets and gammas.
constexpr double kShortCoeffs[6] = {0, 0, 0, 1, 1, 1};
// sharp0 to sharp4, minsmooth, smooth, scannerLacksBWSharpening.
constexpr double kSharpSmooth[8] = {15, 25, 40, 45, 45, 0, 8, 1};
constexpr double kSharpSmooth2[17] = {0, 0, 0.5, 1, 1.5, 2, 2.5, 4, 4, 5, 5, 5, 5, 1, 0, 70, 1};
constexpr double kDarkValues[9] = {0, 0, 0, 0, 0, 0, 0, 0, 100};
constexpr double kDefaults[11] = {200, 200, 0, 0, 1, 1200, 1000, 0, 0, 235, 235};
constexpr double kGray[6] = {0.30, 0.59, 0.11, 0, 1, 1};
constexpr double kSelection[4] = {0, 0, 0, 0};

// Values of tables lie in ranges of a few thousand, so that whole numbers always hold them.
std::int32_t ToI32(double value) {
    return static_cast<std::int32_t>(value);
}

std::uint32_t ToU32(double value) {
    return static_cast<std::uint32_t>(value);
}

// The low eight bits of the whole number.
std::uint8_t ToByte(double value) {
    return static_cast<std::uint8_t>(static_cast<std::uint32_t>(ToI32(value)) & 0xFF);
}

void FillCoeffs(CoeffRecord& record, const double* offsets, const double* gains,
                const double* gammas, double densityStep) {
    record.m_valid = 1;
    std::copy_n(offsets, 3, record.m_offset);
    std::copy_n(gains, 3, record.m_gain);
    std::copy_n(gammas, 3, record.m_gamma);
    record.m_densityStep = densityStep;
}

void FillShortCoeffs(CoeffRecord& record, const double* values) {
    constexpr double kGains[3] = {1, 1, 1};
    FillCoeffs(record, values, kGains, values + 3, 0);
}

void FillDarkSet(DarkValueSet& set, const double* values) {
    set = {ToI32(values[0]), ToI32(values[1]), ToI32(values[2]), ToI32(values[3])};
}

// The line on which a value of a table stands. Reads the values up to it once more.
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
                       const double* fallback, double* values) {
    const ScanTableFacts& facts = FactsOf(table);
    ProfileLookup lookup;
    profile.getTable(facts.m_key, suffix, values, facts.m_count, &lookup);
    if (Judge(profile, suffix, table, lookup, values, facts.m_count, facts.m_low, facts.m_high))
        return true;
    std::copy_n(fallback, facts.m_count, values);
    return false;
}

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

void CScanAttrib::NoteMaxPix(ScanTable table) {
    if (IsUsed(table))
        m_maxPixFlag = 1;
}

// ---- Matrices

void CScanAttrib::LoadMatrix(const CScannerProfile& profile, const char* suffix, ScanTable table,
                             ScanMatrix& matrix) {
    Take(profile, suffix, table, kIdentity, matrix.m_values);
}

void CScanAttrib::loadSlideMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMatrix(profile, suffix, ScanTable::Slide, m_slideMatrix);
}

void CScanAttrib::loadFlatbedMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMatrix(profile, suffix, ScanTable::Flatbed, m_flatbedMatrix);
}

void CScanAttrib::loadAdfMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMatrix(profile, suffix, ScanTable::Adf, m_adfMatrix);
}

void CScanAttrib::loadPostMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMatrix(profile, suffix, ScanTable::Post, m_postMatrix);
}

void CScanAttrib::loadNegMatrix(const CScannerProfile& profile, const char* suffix) {
    Take(profile, suffix, ScanTable::Neg6x3, kNegMatrix, m_negMatrix.m_values);
}

void CScanAttrib::loadFlatbedMaxPixMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMatrix(profile, suffix, ScanTable::FlatbedMaxPix, m_flatbedMaxPixMatrix);
    NoteMaxPix(ScanTable::FlatbedMaxPix);
}

void CScanAttrib::loadAdfMaxPixMatrix(const CScannerProfile& profile, const char* suffix) {
    LoadMatrix(profile, suffix, ScanTable::AdfMaxPix, m_adfMaxPixMatrix);
    NoteMaxPix(ScanTable::AdfMaxPix);
}

// ---- Tone coefficients

void CScanAttrib::LoadCoeffs(const CScannerProfile& profile, const char* suffix, ScanTable table,
                             CoeffRecord& record) {
    double values[9] = {};
    Take(profile, suffix, table, kCoeffs, values);
    FillCoeffs(record, values, values + 3, values + 6, 0);
}

void CScanAttrib::loadNegCoeffs(const CScannerProfile& profile, const char* suffix) {
    double values[10] = {};
    Take(profile, suffix, ScanTable::NegCoeffs, kNegCoeffs, values);
    FillCoeffs(m_negCoeffs, values, values + 3, values + 6, values[9]);
}

void CScanAttrib::loadSlideCoeffs(const CScannerProfile& profile, const char* suffix) {
    LoadCoeffs(profile, suffix, ScanTable::SlideCoeffs, m_slideCoeffs);
}

void CScanAttrib::loadFlatbedCoeffs(const CScannerProfile& profile, const char* suffix) {
    double values[9] = {};
    const ScanTable form =
        TakeForm(profile, suffix, ScanTable::FlatbedCoeffs2, ScanTable::FlatbedCoeffs, values);
    if (form == ScanTable::FlatbedCoeffs2)
        FillCoeffs(m_flatbedCoeffs, values, values + 3, values + 6, 0);
    else
        FillShortCoeffs(m_flatbedCoeffs, form == ScanTable::FlatbedCoeffs ? values : kShortCoeffs);
}

void CScanAttrib::loadAdfCoeffs(const CScannerProfile& profile, const char* suffix) {
    LoadCoeffs(profile, suffix, ScanTable::AdfCoeffs, m_adfCoeffs);
}

void CScanAttrib::loadFlatbedCoeffsMaxPix(const CScannerProfile& profile, const char* suffix) {
    double values[6] = {};
    Take(profile, suffix, ScanTable::FlatbedCoeffsMaxPix, kShortCoeffs, values);
    FillShortCoeffs(m_flatbedCoeffsMaxPix, values);
    NoteMaxPix(ScanTable::FlatbedCoeffsMaxPix);
}

// ---- Sharpening and smoothing

// minsmooth and smooth change places on their way from the text.
void CScanAttrib::LoadSharpSmooth(const CScannerProfile& profile, const char* suffix,
                                  ScanTable table, SharpSmoothRecord& record) {
    double values[8] = {};
    Take(profile, suffix, table, kSharpSmooth, values);
    record.m_valid = 1;
    std::transform(values, values + 5, record.m_sharp, ToI32);
    record.m_minSmooth = ToI32(values[5]);
    record.m_smooth = ToI32(values[6]);
    record.m_scannerLacksBWSharpening = ToByte(values[7]);
}

void CScanAttrib::loadSharpSmooth(const CScannerProfile& profile, const char* suffix) {
    LoadSharpSmooth(profile, suffix, ScanTable::SharpSmooth, m_sharpSmooth);
}

void CScanAttrib::loadSharpSmoothMaxPix(const CScannerProfile& profile, const char* suffix) {
    LoadSharpSmooth(profile, suffix, ScanTable::SharpSmoothMaxPix, m_sharpSmoothMaxPix);
    NoteMaxPix(ScanTable::SharpSmoothMaxPix);
}

void CScanAttrib::loadSharpSmooth2(const CScannerProfile& profile, const char* suffix) {
    double values[17] = {};
    Take(profile, suffix, ScanTable::SharpSmooth2, kSharpSmooth2, values);
    SharpSmooth2Record& record = m_sharpSmooth2;
    record.m_valid = 1;
    record.m_useKestrinSmooth = ToByte(values[0]);
    record.m_useKestrinSharp = ToByte(values[1]);
    std::copy_n(values + 2, 5, record.m_sharpStrength);
    std::copy_n(values + 7, 5, record.m_sharpNoise);
    record.m_smoothNoise = values[12];
    record.m_smoothSmooth = values[13];
    record.m_sharpSmooth = values[14];
    record.m_sharpClip = values[15];
    record.m_scannerLacksBWSharpening = ToByte(values[16]);
}

// ---- The rest of the records

void CScanAttrib::loadDarkValues(const CScannerProfile& profile, const char* suffix) {
    double values[13] = {};
    const ScanTable form =
        TakeForm(profile, suffix, ScanTable::DarkValues2, ScanTable::DarkValues, values);
    const double* source = form == ScanTable::Count ? kDarkValues : values;
    const bool hasAdf = form == ScanTable::DarkValues2;
    DarkValuesLegacyRecord& record = m_darkValues.m_legacy;
    record.m_valid = 1;
    FillDarkSet(record.m_print, source);
    FillDarkSet(record.m_slide, source + 4);
    m_darkValues.m_adf = {};
    if (hasAdf)
        FillDarkSet(m_darkValues.m_adf, source + 8);
    record.m_maxFlatbedExposureSlope = std::trunc(source[hasAdf ? 12 : 8]);
}

void CScanAttrib::loadDefaults(const CScannerProfile& profile, const char* suffix) {
    double values[11] = {};
    Take(profile, suffix, ScanTable::Defaults, kDefaults, values);
    DefaultsRecord& record = m_defaults;
    record.m_valid = 1;
    record.m_defaultPhotoResolution = ToI32(values[0]);
    record.m_defaultXPAResolution = ToI32(values[1]);
    record.m_negativeCapable = ToByte(values[2]);
    record.m_XPAneedsAutoMirror = ToByte(values[3]);
    record.m_grayChannel = ToI32(values[4]);
    record.m_highlight = ToI32(values[5]);
    record.m_adfShadow = ToI32(values[6]);
    record.m_scannerGammaFixed = ToByte(values[7]);
    record.m_enhancedColorByDefault = ToByte(values[8]);
    record.m_lidColor = ToI32(values[9]);
    record.m_adfLidColor = ToI32(values[10]);
}

void CScanAttrib::loadGrayTable(const CScannerProfile& profile, const char* suffix) {
    double values[6] = {};
    Take(profile, suffix, ScanTable::Gray, kGray, values);
    m_gray.m_valid = 1;
    std::copy_n(values, 3, m_gray.m_matrix);
    m_gray.m_offset = values[3];
    m_gray.m_gain = values[4];
    m_gray.m_gamma = values[5];
}

void CScanAttrib::LoadSelection(const CScannerProfile& profile, const char* suffix, ScanTable table,
                                DefaultSelection& selection) {
    double values[4] = {};
    Take(profile, suffix, table, kSelection, values);
    std::transform(values, values + 4, selection.m_values, ToU32);
}

void CScanAttrib::loadSlideDefaultSelection(const CScannerProfile& profile, const char* suffix) {
    LoadSelection(profile, suffix, ScanTable::SlideSelection, m_slideSelection);
}

void CScanAttrib::loadNegDefaultSelection(const CScannerProfile& profile, const char* suffix) {
    LoadSelection(profile, suffix, ScanTable::NegSelection, m_negSelection);
}

// ---- Lists

template <class Row>
void CScanAttrib::LoadRows(const CScannerProfile& profile, const char* suffix, ScanTable table,
                           ScanRows<Row>& rows) {
    const ScanTableFacts& facts = FactsOf(table);
    rows = {};
    double first = 0;
    constexpr double kNone = 0;
    if (!Take(profile, suffix, table, &kNone, &first) || ToU32(first) == 0)
        return;
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
