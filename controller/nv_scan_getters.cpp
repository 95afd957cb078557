// What the controller knows without asking the device, the mapping of error codes, and the calls of
// the toolkit that all sources here make.
#include <algorithm>
#include <iterator>

#include "controller/nv_scan.h"
#include "platform/wait_watch.h"

namespace {

constexpr HRESULT kNoFeeder = MakeResult(0x80040001);

template <class Out, class Value>
HRESULT Tell(Out* out, Value value) {
    if (!out)
        return E_POINTER;
    *out = static_cast<Out>(value);
    return S_OK;
}

}  // namespace

// ---- Calls of the toolkit

// Without a session nothing is locked, and the lock tells why not.
OstrelLock CNVScan::LockForBlock() {
    m_dwErrorCode = m_bSessionOpen ? OSTREL_NO_ERROR : OSTREL_INVALID_SESSION;
    const CWaitScope wait(WaitCause::ScannerInUse);
    return OstrelLock(m_bSessionOpen ? m_spDevice.Get() : nullptr, m_dwSession, OSTREL_LOCK_SCAN,
                      OSTREL_LOCK_WAIT, &m_dwErrorCode);
}

// The levels that outlive an operation. Who holds one is drawn at the head of nv_scan.h.
HRESULT CNVScan::TakeLevel() {
    const CWaitScope wait(WaitCause::ScannerInUse);
    return Call<&IOstrelDevice::LockScanner>(m_spDevice, OSTREL_LOCK_SCAN, OSTREL_LOCK_WAIT);
}

HRESULT CNVScan::GiveLevelBack() {
    return Call<&IOstrelDevice::UnlockScanner>(m_spDevice);
}

void CNVScan::GiveLevelBackQuietly() {
    const DWORD errorCode = m_dwErrorCode;
    GiveLevelBack();
    m_dwErrorCode = errorCode;
}

// Later failures are as a rule consequences of the first.
void CNVScan::Note(NotedFailure& noted, HRESULT hr) const {
    if (FAILED(hr) && SUCCEEDED(noted.result))
        noted = {.result = hr, .code = m_dwErrorCode};
}

HRESULT CNVScan::Noted(const NotedFailure& noted) {
    m_dwErrorCode = noted.code;
    return noted.result;
}

// What two of the codes mean depends on the source and on the kind of device.
HRESULT CNVScan::mapToolkitError(DWORD error) {
    return MapOstrelError(error, {.useXpa = UsesAdapter(), .sheetFedOnly = IsFeederOnly()});
}

// ---- Tables of the model

HRESULT CNVScan::getExclusionAreas(DWORD* count, ExclusionArea** areas) {
    if (!count || !areas)
        return E_POINTER;
    if (!m_bInitialized || !m_pAttrib)
        return E_FAIL;
    m_pAttrib->getExclusionAreas(*count, *areas);
    return S_OK;
}

HRESULT CNVScan::getFlatbedCoeffs(CoeffRecord* record) {
    return Forward(&CScanAttrib::getFlatbedCoeffs, record);
}

HRESULT CNVScan::getDarkValuesLegacy(DarkValuesLegacyRecord* record) {
    return Forward(&CScanAttrib::getDarkValuesLegacy, record);
}

HRESULT CNVScan::getDefaults(DefaultsRecord* record) {
    return Forward(&CScanAttrib::getDefaults, record);
}

HRESULT CNVScan::getSharpSmooth(SharpSmoothRecord* record) {
    return Forward(&CScanAttrib::getSharpSmooth, record);
}

HRESULT CNVScan::getNegMatrix(NegMatrix* matrix) {
    return Forward(&CScanAttrib::getNegMatrix, matrix);
}

HRESULT CNVScan::getPostMatrix(ScanMatrix* matrix) {
    return Forward(&CScanAttrib::getPostMatrix, matrix);
}

HRESULT CNVScan::getFlatbedMatrix(ScanMatrix* matrix) {
    return Forward(&CScanAttrib::getFlatbedMatrix, matrix);
}

HRESULT CNVScan::getAdfMatrix(ScanMatrix* matrix) {
    return Forward(&CScanAttrib::getAdfMatrix, matrix);
}

HRESULT CNVScan::getSlideMatrix(ScanMatrix* matrix) {
    return Forward(&CScanAttrib::getSlideMatrix, matrix);
}

HRESULT CNVScan::getSlideCoeffsAlias(CoeffRecord* record) {
    return Forward(&CScanAttrib::getSlideCoeffsAlias, record);
}

HRESULT CNVScan::getSlideCoeffs(CoeffRecord* record) {
    return Forward(&CScanAttrib::getSlideCoeffs, record);
}

HRESULT CNVScan::getNegCoeffs(CoeffRecord* record) {
    return Forward(&CScanAttrib::getNegCoeffs, record);
}

HRESULT CNVScan::getMaxPixFlag(BYTE* flag) {
    return Forward(&CScanAttrib::getMaxPixFlag, flag);
}

HRESULT CNVScan::getFlatbedMaxPixMatrix(ScanMatrix* matrix) {
    return Forward(&CScanAttrib::getFlatbedMaxPixMatrix, matrix);
}

HRESULT CNVScan::getAdfMaxPixMatrix(ScanMatrix* matrix) {
    return Forward(&CScanAttrib::getAdfMaxPixMatrix, matrix);
}

HRESULT CNVScan::getSharpSmoothMaxPix(SharpSmoothRecord* record) {
    return Forward(&CScanAttrib::getSharpSmoothMaxPix, record);
}

HRESULT CNVScan::getFlatbedCoeffsMaxPix(CoeffRecord* record) {
    return Forward(&CScanAttrib::getFlatbedCoeffsMaxPix, record);
}

HRESULT CNVScan::getDarkValues(DarkValuesRecord* record) {
    return Forward(&CScanAttrib::getDarkValues, record);
}

HRESULT CNVScan::getAdfCoeffs(CoeffRecord* record) {
    return Forward(&CScanAttrib::getAdfCoeffs, record);
}

HRESULT CNVScan::getGrayTable(GrayRecord* record) {
    return Forward(&CScanAttrib::getGrayTable, record);
}

HRESULT CNVScan::getSlideDefaultSelection(DefaultSelection* selection) {
    return Forward(&CScanAttrib::getSlideDefaultSelection, selection);
}

HRESULT CNVScan::getNegDefaultSelection(DefaultSelection* selection) {
    return Forward(&CScanAttrib::getNegDefaultSelection, selection);
}

HRESULT CNVScan::getSharpSmooth2(SharpSmooth2Record* record) {
    return Forward(&CScanAttrib::getSharpSmooth2, record);
}

// ---- The device

HRESULT CNVScan::getOpticalResolution(DWORD* resolution) {
    return Tell(resolution, m_devCaps.opticalResolution);
}

HRESULT CNVScan::getDeviceFlag0(bool* flag) {
    return Tell(flag, m_devCaps.depthFlags & OSTREL_DEPTH_FLAG0);
}

HRESULT CNVScan::isSheetFedOnly(DWORD* only) {
    return Tell(only, IsFeederOnly());
}

HRESULT CNVScan::getScanCount(DWORD* count) {
    return Tell(count, m_scanCount);
}

// Both of this kind answer 0: no device here has what they ask for.
HRESULT CNVScan::getZeroFlagA(DWORD, BYTE* flag) {
    return Tell(flag, 0);
}

HRESULT CNVScan::getZeroFlagB(BYTE, DWORD* flag) {
    return Tell(flag, 0);
}

HRESULT CNVScan::getUseResolutionList(bool* use) {
    return Tell(use, false);
}

HRESULT CNVScan::isScanLocked(bool* locked) {
    return Tell(locked, m_bUnlockOwed);
}

HRESULT CNVScan::hasColorMatrix(bool* has) {
    return Tell(has, m_spColorMatrix && m_colorMatrixCaps.hasMatrix);
}

HRESULT CNVScan::setColorMatrix(const double* matrix) {
    if (!matrix)
        return E_POINTER;
    std::copy_n(matrix, std::size(m_colorMatrix), m_colorMatrix);
    return S_OK;
}

HRESULT CNVScan::getCompressionType(DWORD* type) {
    return Tell(type, m_compressionType);
}

// A type counts as supported if one of its bits is.
HRESULT CNVScan::setCompressionType(DWORD type) {
    if (!m_spCompression)
        return type == OSTREL_UNCOMPRESSED ? S_OK : E_INVALIDARG;
    if (!(type & m_compressionCaps.supportedTypes))
        return E_INVALIDARG;
    m_compressionType = type;
    return S_OK;
}

HRESULT CNVScan::getSupportedCompression(DWORD* types) {
    return Tell(types, m_spCompression ? m_compressionCaps.supportedTypes : OSTREL_UNCOMPRESSED);
}

// ---- The feeder

HRESULT CNVScan::hasAdf(bool* has) {
    return Tell(has, m_spADF2 && m_adf2Caps.hasADF);
}

HRESULT CNVScan::getUseAdf(bool* use) {
    return Tell(use, m_source.valid && UsesFeeder());
}

HRESULT CNVScan::getAdfOptionFlag(bool* flag) {
    return Tell(flag, m_spADF2 && m_adf2Caps.adfOption);
}

// The one getter that fails for a device without the feature: 0 would be a feeder onto the glass.
HRESULT CNVScan::getAdfFlags(DWORD* flags) {
    if (!flags)
        return E_POINTER;
    return m_spADF2 ? Tell(flags, m_adf2Caps.adfFlags) : kNoFeeder;
}

HRESULT CNVScan::getAdf3Value(DWORD* value) {
    return Tell(value, m_spADF3 ? m_adf3Caps.adf3Value : 0);
}

HRESULT CNVScan::hasDuplex(bool* has) {
    return Tell(has, m_adf2Caps.adfDuplexFlags & OSTREL_ADF_DUPLEX);
}

// Through a slot the sheet moves past the sensor, so that it can't be scanned twice.
HRESULT CNVScan::isNotSheetThrough(bool* isNot, bool considerFeeder) {
    return Tell(isNot, !m_spADF2 || !considerFeeder || !IsSheetThrough());
}

HRESULT CNVScan::isNotSheetThroughAdf(bool* isNot) {
    return isNotSheetThrough(isNot, true);
}

// ---- The adapter

HRESULT CNVScan::hasXpa(bool* has) {
    return Tell(has, m_spXPA && m_xpaCaps.hasXPA);
}

// Changes the stored request ahead of the next choice of a source, which replaces it whole.
HRESULT CNVScan::setUseXpa(bool use) {
    bool has = false;
    hasXpa(&has);
    if (has)
        m_source.request.useXPA = use;
    return S_OK;
}

HRESULT CNVScan::getUseXpa(bool* use) {
    if (!use)
        return E_POINTER;
    bool has = false;
    hasXpa(&has);
    if (has)
        *use = UsesAdapter();
    return S_OK;
}

HRESULT CNVScan::getXpaMediaType(WORD index, DWORD* type) {
    if (!type)
        return E_POINTER;
    if (m_xpaMediaInfo.count == 0)
        return Tell(type, m_spXPA ? m_xpaCaps.xpaMediaType : 0);
    return index < m_xpaMediaInfo.count ? Tell(type, m_pXpaMedia[index].type) : E_INVALIDARG;
}
