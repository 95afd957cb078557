// The per-model numbers of a scanner: colour matrices, tone coefficients, sharpening and smoothing,
// defaults for the user, exclusion areas and JPEG quality.
//
// Each table comes from the scanner's profile, if it is there with all its values in their range,
// else it has built-in values. After construction every table stands, and nothing can fail. The
// getters copy a record to the caller's memory.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "diag/log.h"
#include "profile/attrib_records.h"
#include "profile/attrib_tables.h"
#include "profile/scanner_profile.h"

// Rows of a list. One that gets no memory is empty.
template <class Row>
struct ScanRows {
    std::uint32_t m_count = 0;
    std::unique_ptr<Row[]> m_rows;
};

class CScanAttrib {
  public:
    // `modelBase` is the device's model string. `sensorName` is "", "Sony", "NEC" or "Toshiba":
    // each sensor has tables of its own. The device's own profile text may be null. Everything
    // given is borrowed for the call.
    CScanAttrib(const char* modelBase, const char* sensorName, const char* hwText,
                std::uint32_t hwLength, const ProfileFolders& folders = {});
    // From a profile that has been found.
    explicit CScanAttrib(const CScannerProfile& profile, const char* sensorName = "");
    virtual ~CScanAttrib();
    CScanAttrib(const CScanAttrib&) = delete;
    CScanAttrib& operator=(const CScanAttrib&) = delete;

    virtual void getNegCoeffs(CoeffRecord& record) const;
    virtual void getSlideCoeffs(CoeffRecord& record) const;
    virtual void getSlideCoeffsAlias(CoeffRecord& record) const;
    virtual void getSlideMatrix(ScanMatrix& matrix) const;
    virtual void getFlatbedMatrix(ScanMatrix& matrix) const;
    virtual void getAdfMatrix(ScanMatrix& matrix) const;
    virtual void getPostMatrix(ScanMatrix& matrix) const;
    virtual void getNegMatrix(NegMatrix& matrix) const;
    virtual void getSharpSmooth(SharpSmoothRecord& record) const;
    virtual void getSharpSmooth2(SharpSmooth2Record& record) const;
    virtual void getDarkValuesLegacy(DarkValuesLegacyRecord& record) const;
    virtual void getDarkValues(DarkValuesRecord& record) const;
    virtual void getDefaults(DefaultsRecord& record) const;
    virtual void getFlatbedCoeffs(CoeffRecord& record) const;
    virtual void getAdfCoeffs(CoeffRecord& record) const;
    // Lists come from CoTaskMemAlloc, and the caller frees them. Without rows or memory the count
    // is 0 and the list null.
    virtual void getExclusionAreas(std::uint32_t& count, ExclusionArea*& areas) const;
    // 1 if the profile has any of the four tables of the highest resolution.
    virtual void getMaxPixFlag(std::uint8_t& flag) const;
    virtual void getFlatbedMaxPixMatrix(ScanMatrix& matrix) const;
    virtual void getAdfMaxPixMatrix(ScanMatrix& matrix) const;
    virtual void getFlatbedCoeffsMaxPix(CoeffRecord& record) const;
    virtual void getSharpSmoothMaxPix(SharpSmoothRecord& record) const;
    virtual void getJpegTable24(std::uint32_t& count, JpegRow*& rows) const;
    virtual void getJpegTable8(std::uint32_t& count, JpegRow*& rows) const;
    virtual void getJpegTable1(std::uint32_t& count, JpegRow*& rows) const;
    virtual void getGrayTable(GrayRecord& record) const;
    virtual void getSlideDefaultSelection(DefaultSelection& selection) const;
    virtual void getNegDefaultSelection(DefaultSelection& selection) const;

    // Each fills one table, or those of one kind. `suffix` stands behind the keys.
    virtual void loadSlideMatrix(const CScannerProfile& profile, const char* suffix);
    virtual void loadFlatbedMatrix(const CScannerProfile& profile, const char* suffix);
    virtual void loadAdfMatrix(const CScannerProfile& profile, const char* suffix);
    virtual void loadPostMatrix(const CScannerProfile& profile, const char* suffix);
    virtual void loadNegMatrix(const CScannerProfile& profile, const char* suffix);
    virtual void loadNegCoeffs(const CScannerProfile& profile, const char* suffix);
    virtual void loadSlideCoeffs(const CScannerProfile& profile, const char* suffix);
    virtual void loadSharpSmooth(const CScannerProfile& profile, const char* suffix);
    virtual void loadSharpSmooth2(const CScannerProfile& profile, const char* suffix);
    virtual void loadDarkValues(const CScannerProfile& profile, const char* suffix);
    virtual void loadDefaults(const CScannerProfile& profile, const char* suffix);
    virtual void loadFlatbedCoeffs(const CScannerProfile& profile, const char* suffix);
    virtual void loadAdfCoeffs(const CScannerProfile& profile, const char* suffix);
    virtual void loadExclusionAreas(const CScannerProfile& profile, const char* suffix);
    virtual void loadFlatbedMaxPixMatrix(const CScannerProfile& profile, const char* suffix);
    virtual void loadAdfMaxPixMatrix(const CScannerProfile& profile, const char* suffix);
    virtual void loadFlatbedCoeffsMaxPix(const CScannerProfile& profile, const char* suffix);
    virtual void loadSharpSmoothMaxPix(const CScannerProfile& profile, const char* suffix);
    virtual void loadJpegTables(const CScannerProfile& profile, const char* suffix);
    virtual void loadGrayTable(const CScannerProfile& profile, const char* suffix);
    virtual void loadSlideDefaultSelection(const CScannerProfile& profile, const char* suffix);
    virtual void loadNegDefaultSelection(const CScannerProfile& profile, const char* suffix);

    // What became of a key when its table was loaded.
    const ScanTableReport& Report(ScanTable table) const {
        return m_reports[static_cast<std::size_t>(table)];
    }

    // The record of any table that is no list, as its getter copies it (attrib_layout.h tells what
    // stands where); null for a list.
    const void* Record(ScanTable table) const {
        return const_cast<CScanAttrib*>(this)->RecordOf(table);
    }

  private:
    void LoadAll(const CScannerProfile& profile, const char* sensorName);
    // Where the table's record stands; null for a list.
    void* RecordOf(ScanTable table);
    // Reads the table's values. False if the profile hasn't all of them in their range.
    bool Take(const CScannerProfile& profile, const char* suffix, ScanTable table, double* values);
    // Two forms of a table. The newer's values if they are good, else the older's, judged and taken
    // from the array as both lookups have left it. ScanTable::Count for neither.
    ScanTable TakeForm(const CScannerProfile& profile, const char* suffix, ScanTable newer,
                       ScanTable older, double* values);
    // Are `wanted` values there, all of them in the range? Reports. Out of range, `values` are read
    // once more.
    bool Judge(const CScannerProfile& profile, const char* suffix, ScanTable table,
               const ProfileLookup& lookup, double* values, std::uint16_t wanted, double low,
               double high);
    // Fills the table's record, from the profile or with the fallback.
    void Load(const CScannerProfile& profile, const char* suffix, ScanTable table);
    // The same of a table that has two forms.
    void LoadForm(const CScannerProfile& profile, const char* suffix, ScanTable newer,
                  ScanTable older);
    // Also notes whether the profile has a table of the highest resolution.
    void LoadMaxPix(const CScannerProfile& profile, const char* suffix, ScanTable table);
    template <class Row>
    void LoadRows(const CScannerProfile& profile, const char* suffix, ScanTable table,
                  ScanRows<Row>& rows);
    ScanTableReport& ReportOf(ScanTable table) {
        return m_reports[static_cast<std::size_t>(table)];
    }

    ScanMatrix m_slideMatrix{};
    ScanMatrix m_flatbedMatrix{};
    ScanMatrix m_adfMatrix{};
    ScanMatrix m_postMatrix{};
    NegMatrix m_negMatrix{};
    CoeffRecord m_negCoeffs{};
    CoeffRecord m_slideCoeffs{};
    CoeffRecord m_flatbedCoeffs{};
    CoeffRecord m_adfCoeffs{};
    SharpSmoothRecord m_sharpSmooth{};
    SharpSmooth2Record m_sharpSmooth2{};
    DarkValuesRecord m_darkValues{};
    DefaultsRecord m_defaults{};
    GrayRecord m_gray{};
    DefaultSelection m_slideSelection{};
    DefaultSelection m_negSelection{};
    ScanRows<ExclusionArea> m_exclusionAreas;
    ScanRows<JpegRow> m_jpeg24;
    ScanRows<JpegRow> m_jpeg8;
    ScanRows<JpegRow> m_jpeg1;
    std::uint8_t m_maxPixFlag = 0;
    ScanMatrix m_flatbedMaxPixMatrix{};
    ScanMatrix m_adfMaxPixMatrix{};
    CoeffRecord m_flatbedCoeffsMaxPix{};
    SharpSmoothRecord m_sharpSmoothMaxPix{};
    std::array<ScanTableReport, kScanTableCount> m_reports;
    std::unique_ptr<CLog> m_pLog;
};

// The tables of the profile that the module carries, whatever lies in folders of profiles. Made by
// the first call.
const CScanAttrib& BuiltinAttrib();
