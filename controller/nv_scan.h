// The scan controller: everything that speaks to the scanner for imaging. It holds what was learnt
// about the device when it was opened, and takes a page through the phases of a scan.
//
// Phases of a page. Levels of the toolkit's lock that are held between operations stand at the
// right; each operation also takes a level of its own while it talks to the device.
//
//   idle            --firstScanInit-->   source chosen     + job: by a feeder's first page
//                                                          + gate: on a device that has one
//   source chosen   --secondScanInit-->  scan prepared
//   scan prepared   --finalScanInit-->   scanning          + scan
//   scanning        --readScanData-->    scanning
//   any             --endScan-->         idle              - scan
//                                                          - job: if the feeder is empty
//                                                          - gate: if no job stays open
//   any             --releaseScanner-->  idle              - scan, job, gate
//   any             --closeScanner-->    closed            - all, and the session
//
// The first two phases may run again and again without a scan. A failed finalScanInit keeps the
// scan's level until the next endScan, and a further finalScanInit takes no second one.
//
// Feeder job.
//
//   closed              --firstScanInit-->    open, sheet loaded
//   open, sheet loaded  --firstScanInit-->    the same: a sheet is fed once; until a page has been
//                                             scanned, a new request for duplex counts
//   open, sheet loaded  --finalScanInit-->    open, no sheet; a preview keeps the sheet
//   open, no sheet      --firstScanInit-->    open, sheet loaded
//   open, no sheet      --endScan-->          closed if the feeder is empty
//   open                --endAdfJob, releaseScanner, closeScanner-->  closed
//
// A feed that fails leaves the job open and no sheet loaded. A start that finds that the sheet is
// gone (empty, jam, hatch) leaves no sheet loaded, and so does the end of a page that was started.
//
// Results are 32-bit codes. A failure of the toolkit leaves its code in m_dwErrorCode and becomes a
// result by mapToolkitError; one without a code keeps its own result. Out pointers are checked: a
// null one gives E_POINTER.
//
// One thread calls; the reader's own thread meets it only within m_reader.
#pragma once

#include <memory>

#include "controller/first_use_date.h"
#include "controller/geometry.h"
#include "controller/operation_name.h"
#include "controller/scan_clock.h"
#include "controller/scan_reader.h"
#include "controller/toolkit.h"
#include "diag/device_error_text.h"
#include "diag/function_trace.h"
#include "diag/log.h"
#include "frame/lut.h"
#include "platform/com_ptr.h"
#include "platform/types.h"
#include "profile/scan_attrib.h"

class CNVScan {
  public:
    // Takes a reference to the toolkit. The clock is borrowed.
    CNVScan(IOstrelDevice* toolkit, ScanClock& clock);
    // Closes the session.
    virtual ~CNVScan();
    CNVScan(const CNVScan&) = delete;
    CNVScan& operator=(const CNVScan&) = delete;

    // The device is open and known; else only initDriver makes sense.
    bool isInitialized() const { return m_bInitialized; }
    // A sheet is fed, or the open job has scanned a page and nothing speaks against the next one.
    bool isFeederWaiting() const {
        return m_bSheetLoaded || (m_bADFJobOpen && m_bJobPageDone && !m_bFeedFailed);
    }
    // A sheet of which a preview was scanned stays for another scan.
    bool keepsPreviewedSheet() const { return (m_adf2Caps.modeFlags & OSTREL_MODE_PREVIEW) != 0; }

    // ---- Operations, in the order of the interface. Those that only tell what is known are zero
    // for a device that lacks the feature, and don't touch it.

    virtual HRESULT getAdfOptionFlag(bool* flag);
    // E_INVALIDARG for an index behind the end of the media list.
    virtual HRESULT getXpaMediaType(WORD index, DWORD* type);
    virtual HRESULT getCompressionType(DWORD* type);
    // The list comes from CoTaskMemAlloc; the caller frees it.
    virtual HRESULT getExclusionAreas(DWORD* count, ExclusionArea** areas);
    virtual HRESULT setPanelText(LPCOLESTR text);
    // Level 0, 1 or 2: the lamp goes out after 1, 13 or 60 minutes.
    virtual HRESULT setLampTimeoutLevel(DWORD level);
    virtual HRESULT getAdfFlags(DWORD* flags);
    virtual HRESULT setCompressionType(DWORD type);
    virtual HRESULT getSupportedCompression(DWORD* types);
    // Tables of the model; E_FAIL while the device isn't open.
    virtual HRESULT getFlatbedCoeffs(CoeffRecord* record);
    virtual HRESULT getDarkValuesLegacy(DarkValuesLegacyRecord* record);
    virtual HRESULT getDefaults(DefaultsRecord* record);
    virtual HRESULT getSharpSmooth(SharpSmoothRecord* record);
    virtual HRESULT getNegMatrix(NegMatrix* matrix);
    virtual HRESULT getPostMatrix(ScanMatrix* matrix);
    virtual HRESULT getFlatbedMatrix(ScanMatrix* matrix);
    virtual HRESULT getAdfMatrix(ScanMatrix* matrix);
    virtual HRESULT getSlideMatrix(ScanMatrix* matrix);
    virtual HRESULT getSlideCoeffsAlias(CoeffRecord* record);
    virtual HRESULT getSlideCoeffs(CoeffRecord* record);
    virtual HRESULT getNegCoeffs(CoeffRecord* record);
    virtual HRESULT getTonemapEntrySize(DWORD* bytes);
    virtual HRESULT getTonemapMaxValue(DWORD* value);
    virtual HRESULT getTonemapLength(DWORD* entries);
    // Sends three tables of `bytes` bytes in the device's format.
    virtual HRESULT downloadTonemap(DWORD bytes, const void* red, const void* green,
                                    const void* blue);
    // The device takes a tone map for the present format.
    virtual HRESULT hasScannerTonemap(bool* has);
    virtual HRESULT getOpticalResolution(DWORD* resolution);
    // Of the source's colour data.
    virtual HRESULT getMaxBitDepth(bool xpa, bool adf, DWORD* bits);
    virtual HRESULT getDeviceFlag0(bool* flag);
    // Ends an open feeder job at once.
    virtual HRESULT endAdfJob();
    // Sees to it that the source's lamp burns. One that had to be switched on needs its warm-up and
    // a calibration, which finalScanInit gives it.
    virtual HRESULT setLampOn(bool xpa);
    // Whether the source's lamp burns; may start its time-out anew.
    virtual HRESULT getLampOn(bool* on, bool xpa);
    // Paper lies in the feeder, or a sheet is fed and not yet scanned.
    virtual HRESULT adfReady(bool* ready);
    virtual HRESULT hasAdf(bool* has);
    virtual HRESULT hasXpa(bool* has);
    // Without an adapter, nothing happens; the other leaves `*use` alone then.
    virtual HRESULT setUseXpa(bool use);
    virtual HRESULT getUseXpa(bool* use);
    // Limits of a source. Lengths are 1/300 inch; `media` counts in the adapter's media list.
    virtual HRESULT getMaxWidth(bool xpa, WORD media, bool adf, DWORD* width);
    virtual HRESULT getMaxHeight(bool xpa, WORD media, bool adf, DWORD* height);
    virtual HRESULT getMinResolution(bool xpa, bool adf, DWORD* resolution);
    virtual HRESULT getMaxResolution(bool xpa, bool adf, DWORD* resolution);
    virtual HRESULT getMaxVertResolution(bool xpa, bool adf, DWORD* resolution);
    virtual HRESULT getScanCount(DWORD* count);
    // day + month << 8 + year << 16, out of the device.
    virtual HRESULT getFirstUseDate(DWORD* date);
    // Fits a wanted format to what the source can do, and keeps it for the scan.
    virtual HRESULT resolveDataFormat(DataFormat* format);
    virtual HRESULT calcGeometry(GeomControl* geometry, BYTE oversample, bool* overscanned,
                                 bool* scaled);
    // Fills in the limits of the chosen source.
    virtual HRESULT getGeomControl(GeomControl* geometry);
    // The geometry that was accepted last.
    virtual HRESULT getGeometry(GeomControl* geometry);
    // Reads all that will be known about the device. After a failure it may be called again.
    virtual HRESULT initDriver(LPCOLESTR deviceName, WORD ioType);
    virtual HRESULT closeScanner();
    // Chooses the source and checks that it can work; feeds a sheet, once a page.
    virtual HRESULT firstScanInit(const ScanSource* source);
    // Turns geometry and format into a scan, and asks the device what it will deliver.
    virtual HRESULT secondScanInit(DWORD* pixels, DWORD* lines);
    // Warms the lamp, calibrates and starts. May take as long as the lamp does.
    virtual HRESULT finalScanInit();
    // The page's end, also a cancelled one's. 1: the feeder job has ended, as there is no paper.
    virtual HRESULT endScan();
    // Up to `wanted` bytes; phase 2 for the first of a page, else 0. `*got`, which comes in not 0,
    // tells the bytes read, also behind a failure; fewer than wanted: the media ended.
    virtual HRESULT readScanData(WORD phase, void* buffer, DWORD wanted, DWORD* got,
                                 DWORD lineBytes);
    virtual HRESULT getMaxPixFlag(BYTE* flag);
    virtual HRESULT getFlatbedMaxPixMatrix(ScanMatrix* matrix);
    virtual HRESULT getAdfMaxPixMatrix(ScanMatrix* matrix);
    virtual HRESULT getSharpSmoothMaxPix(SharpSmoothRecord* record);
    virtual HRESULT getFlatbedCoeffsMaxPix(CoeffRecord* record);
    virtual HRESULT isNotSheetThroughAdf(bool* isNot);
    virtual HRESULT getUseAdf(bool* use);
    virtual HRESULT isScanLocked(bool* locked);
    // Gives up all that keeps the scanner locked for others: scan, feeder job, job gate.
    virtual HRESULT releaseScanner();
    virtual HRESULT isSheetFedOnly(DWORD* only);
    virtual HRESULT getDarkValues(DarkValuesRecord* record);
    virtual HRESULT getAdfCoeffs(CoeffRecord* record);
    virtual HRESULT getZeroFlagA(DWORD what, BYTE* flag);
    virtual HRESULT getGrayTable(GrayRecord* record);
    virtual HRESULT hasColorMatrix(bool* has);
    // Nine doubles, by rows.
    virtual HRESULT setColorMatrix(const double* matrix);
    virtual HRESULT getSlideDefaultSelection(DefaultSelection* selection);
    virtual HRESULT getNegDefaultSelection(DefaultSelection* selection);
    // "n/a" where the device doesn't tell, also behind a failure. From CoTaskMemAlloc; the caller
    // frees it.
    virtual HRESULT getFirmwareVersion(LPOLESTR* version);
    // 1 or 2: the scan may go on. 3: the gate was closed again. 4: refused, or a failure.
    virtual HRESULT checkJobGate(DWORD* state);
    // Aborts an open gate for reason 3, else does nothing.
    virtual HRESULT cancelJobGate(DWORD reason);
    virtual HRESULT hasDuplex(bool* has);
    // Software may ask for duplex.
    virtual HRESULT canRequestDuplex(bool* can);
    // The duplex of the open feeder job, or of the next one.
    virtual HRESULT getDuplexEnabled(bool* enabled);
    virtual HRESULT getAdf3Value(DWORD* value);
    // Places a requested window on the device. `oversample` not 0 scans finer than asked.
    virtual HRESULT setGeomControl(GeomControl* geometry, BYTE oversample, bool* overscanned,
                                   DWORD* scale);
    virtual HRESULT isNotSheetThrough(bool* isNot, bool considerFeeder);
    virtual HRESULT getSharpSmooth2(SharpSmooth2Record* record);
    virtual HRESULT getZeroFlagB(BYTE what, DWORD* flag);
    virtual HRESULT setScannerTonemap();
    virtual HRESULT isThresholdTonemap(bool* is);
    virtual HRESULT getThresholdValue(DWORD* value);
    virtual HRESULT getDefaultResolution(bool xpa, bool adf, DWORD* resolution) = 0;
    // Makes the device's tables. `unused` isn't written and may be null.
    virtual HRESULT buildTonemap(DWORD* unused);
    virtual HRESULT getUseResolutionList(bool* use);
    virtual HRESULT fillScanParameters();
    // `text` is the device's own profile, or null.
    virtual HRESULT createScanAttrib(const char* text, DWORD length) = 0;
    virtual HRESULT mapToolkitError(DWORD error);
    virtual HRESULT prepareCompression();
    virtual HRESULT beforeStartHook1();
    virtual HRESULT beforeStartHook2();
    virtual HRESULT sendColorMatrix();
    // Tells the feeder how to run this scan.
    virtual HRESULT setAdfMode();

  protected:
    static constexpr DWORD kLampUnknown = 0;
    static constexpr DWORD kLampFlatbed = 1;
    static constexpr DWORD kLampAdapter = 2;
    static constexpr std::size_t kSources = 3;  // flatbed, feeder, adapter

    struct StoredSource {
        BYTE valid = 0;
        ScanSource request = {};
    };
    struct TonemapSource {
        std::unique_ptr<CQLLut> m_lutRed;
        std::unique_ptr<CQLLut> m_lutGreen;
        std::unique_ptr<CQLLut> m_lutBlue;
        WORD m_tonemapMode = 0;
    };
    struct ThresholdTable {
        BYTE bytes[64] = {};
        BYTE m_bThresholdMode = 0;
    };
    struct TonemapData {
        DWORD bytes = 0;  // of each table; 0: there are none
        std::unique_ptr<BYTE[]> red;
        std::unique_ptr<BYTE[]> green;
        std::unique_ptr<BYTE[]> blue;
    };

    // ---- Calls of the toolkit

    // The trace of an operation that asks the device. The code that an earlier operation has left
    // is gone from the start, so that a refusal isn't logged with it.
    class DeviceTrace : public CFunctionTrace {
      public:
        DeviceTrace(const char* name, CNVScan& scan)
            : CFunctionTrace(name, scan.m_dwSession, &scan.m_dwErrorCode) {
            scan.m_dwErrorCode = OSTREL_NO_ERROR;
        }
    };
    // An operation of the device or of a facet, with the session before and the error code behind
    // the arguments given. The result is the toolkit's own. Nothing is called without a session.
    template <auto Operation, class Facet, class... Given>
    HRESULT CallRaw(const ComPtr<Facet>& facet, Given... given) {
        m_dwErrorCode = m_bSessionOpen ? OSTREL_NO_ERROR : OSTREL_INVALID_SESSION;
        if (!m_bSessionOpen || !facet)
            return E_FAIL;
        const HRESULT hr = (facet.Get()->*Operation)(m_dwSession, given..., &m_dwErrorCode);
        if (FAILED(hr) && m_pLog)
            LogDeviceError(*m_pLog, kOperationName<Operation>.data(), hr, m_dwErrorCode);
        return hr;
    }
    // The same; S_OK, or the failure as a result of this class.
    template <auto Operation, class Facet, class... Given>
    HRESULT Call(const ComPtr<Facet>& facet, Given... given) {
        const HRESULT hr = CallRaw<Operation>(facet, given...);
        return FAILED(hr) ? Failure(hr) : S_OK;
    }
    // What becomes of a failed call: its code's result, or its own if it left no code.
    HRESULT Failure(HRESULT hr) { return m_dwErrorCode ? mapToolkitError(m_dwErrorCode) : hr; }
    // A level of the lock for a block.
    OstrelLock LockForBlock();
    HRESULT LockFailure(const OstrelLock& lock) { return Failure(lock.Result()); }
    // A level that outlives the operation.
    HRESULT TakeLevel();
    HRESULT GiveLevelBack();
    // Behind a failure whose code must stay.
    void GiveLevelBackQuietly();

    // The first failure of a series of calls that all have to be made.
    struct NotedFailure {
        HRESULT result = S_OK;
        DWORD code = OSTREL_NO_ERROR;
    };
    void Note(NotedFailure& noted, HRESULT hr) const;
    // The result of the series, with its code back in m_dwErrorCode.
    HRESULT Noted(const NotedFailure& noted);

    // ---- Opening (nv_scan_open.cpp)

    // Up to the adapter failures are the toolkit's own, as the log has them.
    HRESULT ReadDevice();
    HRESULT FindBurningLamp();
    HRESULT ReadFeeders();
    void LookAtDuplex() const;
    // `hr` is how things stand.
    HRESULT ReadAdapter(HRESULT hr);
    HRESULT ReadMediaList();
    HRESULT ReadNvramItems();
    HRESULT ReadResolutionTables();
    bool ReadDeviceProfile();
    void QueryFacets();
    // Nothing of a session is left, whatever it held.
    void ForgetSession();
    void ForgetDevice();
    void MakeTonemap();

    // ---- Sources and limits

    std::size_t SourceIndex() const;
    bool UsesAdapter() const { return m_source.request.useXPA != 0; }
    bool UsesFeeder() const { return m_source.request.useADF != 0; }
    bool IsFeederOnly() const { return m_devCaps.wPaperPath == OSTREL_PAPER_PATH_FEEDER_ONLY; }
    bool IsSheetThrough() const { return (m_adf2Caps.adfFlags & OSTREL_ADF_SHEET_THROUGH) != 0; }
    HRESULT EmptyFeederResult() const;
    HRESULT CheckSource(bool xpa, WORD media, bool adf) const;
    static HRESULT TellLimit(bool xpa, bool adf, DWORD* out, DWORD ofAdapter, DWORD ofFeeder,
                             DWORD ofFlatbed);

    // ---- Geometry, common to all models (nv_scan_geometry.cpp)

    // Checks the arguments and clears the out values.
    HRESULT BeginGeometry(const GeomControl* geometry, bool* overscanned, DWORD* scale) const;
    // The window in 1/300 inch, within the limits of the source.
    static void PlaceWindow(GeomControl& geometry);
    // The wanted resolutions, across within the limits of the source.
    static void LimitResolution(GeomControl& geometry, BYTE oversample);
    static bool IsOverscanned(const GeomControl& geometry, BYTE oversample);
    // Counts pixels and lines, and keeps the geometry.
    void AcceptGeometry(GeomControl& geometry);

    // ---- Phases (nv_scan_phases.cpp)

    HRESULT CheckRequest(const ScanSource& source);
    HRESULT PassJobGate();
    HRESULT ChooseSource(const ScanSource& source);
    HRESULT LockForScan();
    HRESULT LightAndWarmUp();
    HRESULT Calibrate();
    HRESULT SetUpCompression();
    HRESULT StartPage();
    HRESULT AwaitWarmUp();
    DWORD SourceModeFlags() const;
    // Ends reading and the started scan, and gives the scan's level back.
    void StopScan(NotedFailure& noted);

    // ---- Lamps (nv_scan_lamp.cpp)

    HRESULT AskForLamp(bool* on, bool xpa);
    HRESULT AskDeviceLamp(bool* on);
    HRESULT TouchLamp(bool xpa);

    // ---- Feeder job and job gate (nv_scan_feeder.cpp)

    HRESULT OpenFeederJob();
    HRESULT StartFeederJob();
    HRESULT FixDuplex();
    HRESULT FeedSheet();
    HRESULT AskForPaper(bool* paper);
    // The duplex of a job that would begin now.
    HRESULT DecideDuplex(bool* enabled);
    void CloseFeederJob(NotedFailure& noted);
    HRESULT LockFeederJob();
    HRESULT UnlockFeederJob();
    void CloseJobGate(NotedFailure& noted);
    void ReleaseAll(NotedFailure& noted);
    // No sheet lies ready any more.
    void DropSheet();
    void DropLostSheet();
    // A page has been made of it.
    void UseUpSheet();

    // ---- Tone map (nv_scan_tonemap.cpp)

    bool MakeTonemapTables();
    void ChooseSourceCurve();
    bool IsHardThreshold();
    void FillThresholdTables();
    void ResampleTables();

    // ---- Data format (nv_scan_format.cpp)

    // Depths of a source, ascending up to the first zero.
    struct DepthLists {
        const BYTE* color;
        const BYTE* gray;
    };
    DepthLists SourceDepths() const;
    void FitFormat(DataFormat& format) const;
    DWORD FitChannel(DWORD channel) const;
    bool DeviceGrayFits() const;

    // A table of the model; E_FAIL while there is none.
    template <class Record>
    HRESULT Forward(void (CScanAttrib::*getter)(Record&) const, Record* record) const {
        if (!record)
            return E_POINTER;
        if (!m_bInitialized || !m_pAttrib)
            return E_FAIL;
        (m_pAttrib.get()->*getter)(*record);
        return S_OK;
    }

    TonemapSource m_tonemap;
    ThresholdTable m_thresholdTable;
    ComPtr<IOstrelDevice> m_spDevice;
    ComPtr<IOstrelADF2> m_spADF2;
    ComPtr<IOstrelXPA> m_spXPA;
    ComPtr<IOstrelXPALamp> m_spXPALamp;
    ComPtr<IOstrelXPAMedia> m_spXPAMedia;
    ComPtr<IOstrelNvram> m_spNvram;
    ComPtr<IOstrelCompression> m_spCompression;
    ComPtr<IOstrelExtendedLamp> m_spExtendedLamp;
    ComPtr<IOstrelPanel> m_spPanel;
    ComPtr<IOstrelProperties> m_spProperties;
    ComPtr<IOstrelADF3> m_spADF3;
    ComPtr<IOstrelColorMatrix> m_spColorMatrix;
    ComPtr<IOstrelJobGate> m_spJobGate;
    ComPtr<IOstrelProfile> m_spProfile;
    ComPtr<IOstrelResolutions> m_spResolutions;
    OstrelDeviceCaps m_devCaps = {};
    OstrelAdf2Caps m_adf2Caps = {};
    OstrelXpaCaps m_xpaCaps = {};
    OstrelMediaList m_xpaMediaInfo = {};
    std::unique_ptr<OstrelMedia[]> m_pXpaMedia;  // m_xpaMediaInfo.count of them
    OstrelNvramInfo m_nvramInfo = {};
    OstrelCompressionCaps m_compressionCaps = {};
    OstrelPanelCaps m_panelCaps = {};
    OstrelScanParams m_scanParams = {};
    OstrelScanSetup m_scanResult = {};
    OstrelAdf3Caps m_adf3Caps = {};
    OstrelColorMatrixCaps m_colorMatrixCaps = {};
    DWORD m_hwProfileSize = 0;
    TonemapData m_tonemapData;
    OstrelResolutionTable m_resTables[kSources] = {};
    DWORD m_dwSession = 0;
    DWORD m_dwErrorCode = OSTREL_NO_ERROR;  // the toolkit's last
    bool m_bSessionOpen = false;
    bool m_bInitialized = false;
    bool m_bScanStarted = false;  // from the begin of finalScanInit to endScan
    bool m_bPageStarted = false;  // the device has begun the scan
    bool m_bUnlockOwed = false;   // firstScanInit has run and endScan has not
    bool m_bScanLocked = false;   // finalScanInit holds a level of the lock
    bool m_bADFJobOpen = false;
    bool m_bADFJobLocked = false;  // the open job holds a level of the lock
    bool m_bJobPageDone = false;   // the open job has scanned a page
    bool m_bCalibrated = false;    // for the lamp that burns
    bool m_bSheetLoaded = false;   // fed and not yet scanned
    bool m_bFeedFailed = false;    // the open job's last sheet didn't come
    bool m_bJobGateOpen = false;   // with a level of the lock
    StoredSource m_source;
    bool m_bGeometryValid = false;
    GeomControl m_geometry = {};
    DWORD m_channel = kChannelColor;
    DWORD m_depth = 8;
    DWORD m_lineArtThreshold = 0;
    DWORD m_compressionType = OSTREL_UNCOMPRESSED;
    DWORD m_qFactor = 0;
    DWORD m_pageLength = 0;  // of the fed sheet, 1/300 inch; 0: unknown
    double m_colorMatrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    bool m_bDuplexEnabled = false;  // of the open job
    bool m_bThresholdActive = false;
    DWORD m_thresholdValue = 0;
    std::unique_ptr<CFirstUseDate> m_pFirstUse;
    DWORD m_scanCount = 0;
    ULONGLONG m_lampOnTime = 0;  // ticks of 1/60 second; 0: no wait is due
    DWORD m_lampSource = kLampUnknown;
    ScanClock& m_clock;
    CScanReader m_reader;
    std::unique_ptr<CScanAttrib> m_pAttrib;
    std::unique_ptr<CLog> m_pLog;
};
