#include "profile/scan_attrib.h"

#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>

#include "platform/com.h"
#include "profile/builtin_profile.h"

namespace {

// Profiles of this family are called by this and the model.
constexpr char kProfilePrefix[] = "nvlmt";
constexpr std::size_t kMaxProfileName = 260;

// Models of one name may have been built with sensors of different makers.
struct SensorRow {
    const char* name;
    const char* suffix;
};
constexpr SensorRow kSensors[] = {{"Sony", "SN"}, {"NEC", "NC"}, {"Toshiba", "TS"}};

const char* SuffixOf(const char* sensorName) {
    for (const SensorRow& row : kSensors) {
        if (std::strcmp(row.name, sensorName) == 0)
            return row.suffix;
    }
    return "";
}

// To memory that the caller frees.
template <class Row>
void CopyRows(const ScanRows<Row>& from, std::uint32_t& count, Row*& rows) {
    count = 0;
    rows = nullptr;
    if (from.m_count == 0)
        return;
    const std::size_t bytes = from.m_count * sizeof(Row);
    rows = static_cast<Row*>(CoTaskMemAlloc(bytes));
    if (!rows)
        return;
    std::memcpy(rows, from.m_rows.get(), bytes);
    count = from.m_count;
}

}  // namespace

CScanAttrib::CScanAttrib(const char* modelBase, const char* sensorName, const char* hwText,
                         std::uint32_t hwLength, const ProfileFolders& folders)
    : m_pLog(new (std::nothrow) CLog) {
    if (m_pLog)
        m_pLog->Write(kLogCalls, "CScanAttrib::CScanAttrib Constructor entry");
    char name[kMaxProfileName];
    std::snprintf(name, sizeof(name), "%s%s", kProfilePrefix, modelBase ? modelBase : "");
    const CScannerProfile profile(name, hwText, hwLength, folders);
    LoadAll(profile, sensorName);
}

CScanAttrib::CScanAttrib(const CScannerProfile& profile, const char* sensorName) {
    LoadAll(profile, sensorName);
}

CScanAttrib::~CScanAttrib() = default;

// Each loading is an operation of its own, so that a class below may replace it. None of them
// depends on another, except for the flag of the highest resolution that four raise.
void CScanAttrib::LoadAll(const CScannerProfile& profile, const char* sensorName) {
    using LoadTable = void (CScanAttrib::*)(const CScannerProfile&, const char*);
    constexpr LoadTable kLoads[] = {
        &CScanAttrib::loadSlideMatrix,
        &CScanAttrib::loadFlatbedMatrix,
        &CScanAttrib::loadAdfMatrix,
        &CScanAttrib::loadPostMatrix,
        &CScanAttrib::loadNegMatrix,
        &CScanAttrib::loadNegCoeffs,
        &CScanAttrib::loadSlideCoeffs,
        &CScanAttrib::loadFlatbedCoeffs,
        &CScanAttrib::loadAdfCoeffs,
        &CScanAttrib::loadSharpSmooth,
        &CScanAttrib::loadSharpSmooth2,
        &CScanAttrib::loadDarkValues,
        &CScanAttrib::loadDefaults,
        &CScanAttrib::loadGrayTable,
        &CScanAttrib::loadSlideDefaultSelection,
        &CScanAttrib::loadNegDefaultSelection,
        &CScanAttrib::loadExclusionAreas,
        &CScanAttrib::loadJpegTables,
        &CScanAttrib::loadFlatbedMaxPixMatrix,
        &CScanAttrib::loadAdfMaxPixMatrix,
        &CScanAttrib::loadFlatbedCoeffsMaxPix,
        &CScanAttrib::loadSharpSmoothMaxPix,
    };
    const char* suffix = SuffixOf(sensorName ? sensorName : "");
    for (const LoadTable load : kLoads)
        (this->*load)(profile, suffix);
}

void* CScanAttrib::RecordOf(ScanTable table) {
    // In the order of ScanTable. Both forms of a table fill one record; lists have none.
    void* const records[] = {
        &m_slideMatrix,
        &m_flatbedMatrix,
        &m_adfMatrix,
        &m_postMatrix,
        &m_negMatrix,
        &m_negCoeffs,
        &m_slideCoeffs,
        &m_flatbedCoeffs,
        &m_flatbedCoeffs,
        &m_adfCoeffs,
        &m_sharpSmooth,
        &m_sharpSmooth2,
        &m_darkValues,
        &m_darkValues,
        &m_defaults,
        &m_gray,
        &m_slideSelection,
        &m_negSelection,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        &m_flatbedMaxPixMatrix,
        &m_adfMaxPixMatrix,
        &m_flatbedCoeffsMaxPix,
        &m_sharpSmoothMaxPix,
    };
    static_assert(std::size(records) == kScanTableCount);
    return records[static_cast<std::size_t>(table)];
}

const CScanAttrib& BuiltinAttrib() {
    static const CScanAttrib attrib{CScannerProfile{BuiltinProfileText()}};
    return attrib;
}

// ---- The records as they stand

void CScanAttrib::getNegCoeffs(CoeffRecord& record) const {
    record = m_negCoeffs;
}

void CScanAttrib::getSlideCoeffs(CoeffRecord& record) const {
    record = m_slideCoeffs;
}

void CScanAttrib::getSlideCoeffsAlias(CoeffRecord& record) const {
    getSlideCoeffs(record);
}

void CScanAttrib::getSlideMatrix(ScanMatrix& matrix) const {
    matrix = m_slideMatrix;
}

void CScanAttrib::getFlatbedMatrix(ScanMatrix& matrix) const {
    matrix = m_flatbedMatrix;
}

void CScanAttrib::getAdfMatrix(ScanMatrix& matrix) const {
    matrix = m_adfMatrix;
}

void CScanAttrib::getPostMatrix(ScanMatrix& matrix) const {
    matrix = m_postMatrix;
}

void CScanAttrib::getNegMatrix(NegMatrix& matrix) const {
    matrix = m_negMatrix;
}

void CScanAttrib::getSharpSmooth(SharpSmoothRecord& record) const {
    record = m_sharpSmooth;
}

void CScanAttrib::getSharpSmooth2(SharpSmooth2Record& record) const {
    record = m_sharpSmooth2;
}

void CScanAttrib::getDarkValuesLegacy(DarkValuesLegacyRecord& record) const {
    record = m_darkValues.m_legacy;
}

void CScanAttrib::getDarkValues(DarkValuesRecord& record) const {
    record = m_darkValues;
}

void CScanAttrib::getDefaults(DefaultsRecord& record) const {
    record = m_defaults;
}

void CScanAttrib::getFlatbedCoeffs(CoeffRecord& record) const {
    record = m_flatbedCoeffs;
}

void CScanAttrib::getAdfCoeffs(CoeffRecord& record) const {
    record = m_adfCoeffs;
}

void CScanAttrib::getExclusionAreas(std::uint32_t& count, ExclusionArea*& areas) const {
    CopyRows(m_exclusionAreas, count, areas);
}

void CScanAttrib::getMaxPixFlag(std::uint8_t& flag) const {
    flag = m_maxPixFlag;
}

void CScanAttrib::getFlatbedMaxPixMatrix(ScanMatrix& matrix) const {
    matrix = m_flatbedMaxPixMatrix;
}

void CScanAttrib::getAdfMaxPixMatrix(ScanMatrix& matrix) const {
    matrix = m_adfMaxPixMatrix;
}

void CScanAttrib::getFlatbedCoeffsMaxPix(CoeffRecord& record) const {
    record = m_flatbedCoeffsMaxPix;
}

void CScanAttrib::getSharpSmoothMaxPix(SharpSmoothRecord& record) const {
    record = m_sharpSmoothMaxPix;
}

void CScanAttrib::getJpegTable24(std::uint32_t& count, JpegRow*& rows) const {
    CopyRows(m_jpeg24, count, rows);
}

void CScanAttrib::getJpegTable8(std::uint32_t& count, JpegRow*& rows) const {
    CopyRows(m_jpeg8, count, rows);
}

void CScanAttrib::getJpegTable1(std::uint32_t& count, JpegRow*& rows) const {
    CopyRows(m_jpeg1, count, rows);
}

void CScanAttrib::getGrayTable(GrayRecord& record) const {
    record = m_gray;
}

void CScanAttrib::getSlideDefaultSelection(DefaultSelection& selection) const {
    selection = m_slideSelection;
}

void CScanAttrib::getNegDefaultSelection(DefaultSelection& selection) const {
    selection = m_negSelection;
}
