// The tone map that the device applies to its data. It is a 16-bit curve for each colour, resampled
// to the length and width of the device's tables.
#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "controller/nv_scan.h"
#include "diag/function_trace.h"

namespace {

constexpr HRESULT kNoTonemap = MakeResult(0x80040001);
// Entries of a source curve: one for each value of 16 bits.
constexpr DWORD kCurveSize = 65536;
constexpr DWORD kMaxOfByte = 255;
// The curve of high depth: gamma 2.2, with a slope of at most 4 near black, where the pure power
// would rise without bound and lift the noise with it.
constexpr double kGamma = 2.2;
constexpr double kMaxSlope = 4.0;
// Of m_tonemapMode: the tables hold a resampled curve.
constexpr WORD kBuiltMode = 3;

// The tables' sizes as shifts from the curve's; none for sizes that aren't powers of two.
bool IsTableSize(std::uint64_t size) {
    return size >= 1 && size <= kCurveSize && std::has_single_bit(size);
}

unsigned ShiftTo(std::uint64_t size) {
    return static_cast<unsigned>(std::countr_zero(kCurveSize / size));
}

void StoreEntry(BYTE* table, std::size_t index, WORD entryBytes, unsigned value) {
    if (entryBytes == 1) {
        table[index] = static_cast<BYTE>(value);
        return;
    }
    const auto wide = static_cast<WORD>(value);
    std::memcpy(table + index * sizeof(wide), &wide, sizeof(wide));
}

}  // namespace

// Sizes that aren't powers of two have no shift, and a largest value that is wider than its entry
// has no place, so such a device gets no tables at all and the download fails with E_OUTOFMEMORY:
// better no scan than one in wrong tones.
bool CNVScan::MakeTonemapTables() {
    if (m_tonemapData.bytes != 0)
        return true;
    const WORD entryBytes = m_devCaps.tonemapEntrySize;
    if ((entryBytes != 1 && entryBytes != 2) || !IsTableSize(m_devCaps.tonemapLength) ||
        m_devCaps.tonemapMaxValue == 0 ||
        !IsTableSize(std::uint64_t{m_devCaps.tonemapMaxValue} + 1) ||
        (entryBytes == 1 && m_devCaps.tonemapMaxValue > kMaxOfByte))
        return false;
    const DWORD bytes = m_devCaps.tonemapLength * entryBytes;
    TonemapData data;
    for (auto* table : {&data.red, &data.green, &data.blue})
        table->reset(new (std::nothrow) BYTE[bytes]());
    if (!data.red || !data.green || !data.blue)
        return false;
    data.bytes = bytes;
    m_tonemapData = std::move(data);
    return true;
}

// Runs before the source of the scan is chosen, so that a change of high depth or adapter shows in
// the tables of the next preparation only.
HRESULT CNVScan::buildTonemap(DWORD*) {
    CFunctionTrace trace("CNVScan::buildTonemap", m_dwSession);
    if (!m_tonemap.m_lutRed || !m_tonemap.m_lutGreen || !m_tonemap.m_lutBlue ||
        !MakeTonemapTables())
        return trace.GetResult();
    m_tonemap.m_tonemapMode = kBuiltMode;
    if (IsHardThreshold()) {
        FillThresholdTables();
        return trace.GetResult();
    }
    ChooseSourceCurve();
    ResampleTables();
    return trace.GetResult();
}

// Line art brings the threshold mode, which stays. Nothing fills the threshold bytes so far.
bool CNVScan::IsHardThreshold() {
    if (m_depth == 1 && (m_channel == kChannelNtscGray || m_channel == kChannelDeviceGray))
        m_thresholdTable.m_bThresholdMode = 1;
    const auto& bytes = m_thresholdTable.bytes;
    if (m_thresholdTable.m_bThresholdMode &&
        std::any_of(std::begin(bytes), std::end(bytes), [](BYTE byte) { return byte != 0; })) {
        m_bThresholdActive = true;
        m_thresholdValue = bytes[0];
    }
    return m_thresholdTable.m_bThresholdMode && m_bThresholdActive;
}

void CNVScan::ChooseSourceCurve() {
    const bool gamma =
        m_source.request.highDepth && !UsesAdapter() && !m_thresholdTable.m_bThresholdMode;
    for (CQLLut* lut :
         {m_tonemap.m_lutRed.get(), m_tonemap.m_lutGreen.get(), m_tonemap.m_lutBlue.get()}) {
        if (gamma)
            lut->BuildGammaLimited(kGamma, kMaxSlope);
        else
            lut->SetIdentity();
    }
}

// Everything white but for the entries below the threshold. The threshold counts in 1/256 of the
// table; a maximum of more than 8 bits is written with its low byte, which is 255 for all of them.
void CNVScan::FillThresholdTables() {
    const DWORD black = m_thresholdValue * m_devCaps.tonemapLength / 256;
    for (BYTE* table :
         {m_tonemapData.red.get(), m_tonemapData.green.get(), m_tonemapData.blue.get()}) {
        std::memset(table, static_cast<BYTE>(m_devCaps.tonemapMaxValue), m_tonemapData.bytes);
        std::memset(table, 0, std::size_t{black} * m_devCaps.tonemapEntrySize);
    }
}

// Of the curve every (65536 / length)-th entry is taken, and of it the highest bits that the
// device's largest value has.
void CNVScan::ResampleTables() {
    const struct {
        const CQLLut* source;
        BYTE* table;
    } colors[] = {{m_tonemap.m_lutRed.get(), m_tonemapData.red.get()},
                  {m_tonemap.m_lutGreen.get(), m_tonemapData.green.get()},
                  {m_tonemap.m_lutBlue.get(), m_tonemapData.blue.get()}};
    const unsigned inputShift = ShiftTo(m_devCaps.tonemapLength);
    const unsigned outputShift = ShiftTo(std::uint64_t{m_devCaps.tonemapMaxValue} + 1);
    for (const auto& color : colors) {
        if (color.source->Size() != static_cast<std::int32_t>(kCurveSize))
            continue;
        const std::uint16_t* curve = color.source->Table();
        for (DWORD i = 0; i < m_devCaps.tonemapLength; ++i)
            StoreEntry(color.table, i, m_devCaps.tonemapEntrySize,
                       unsigned{curve[i << inputShift]} >> outputShift);
    }
}

HRESULT CNVScan::setScannerTonemap() {
    DeviceTrace trace("CNVScan::setScannerTonemap", *this);
    bool has = false;
    if (FAILED(trace.SetResult(hasScannerTonemap(&has)).GetResult()) || !has)
        return trace.GetResult();
    if (m_tonemapData.bytes == 0) {
        if (m_pLog)
            m_pLog->Format(kLogError,
                           "CNVScan::setScannerTonemap: no tables of %u entries of %u bytes up to "
                           "%u",
                           m_devCaps.tonemapLength, m_devCaps.tonemapEntrySize,
                           m_devCaps.tonemapMaxValue);
        return trace.SetResult(E_OUTOFMEMORY).GetResult();
    }
    trace.SetResult(downloadTonemap(m_tonemapData.bytes, m_tonemapData.red.get(),
                                    m_tonemapData.green.get(), m_tonemapData.blue.get()));
    return trace.GetResult();
}

HRESULT CNVScan::hasScannerTonemap(bool* has) {
    if (!has)
        return E_POINTER;
    *has = m_depth == 1 || m_depth == 8;
    return S_OK;
}

// Both refusals come ahead of the device: it would read behind a table that is too short.
HRESULT CNVScan::downloadTonemap(DWORD bytes, const void* red, const void* green,
                                 const void* blue) {
    DeviceTrace trace("CNVScan::downloadTonemap", *this);
    if (!red || !green || !blue)
        return trace.SetResult(E_POINTER).GetResult();
    if (bytes != std::uint64_t{m_devCaps.tonemapLength} * m_devCaps.tonemapEntrySize)
        return trace.SetResult(E_INVALIDARG).GetResult();
    bool has = false;
    if (FAILED(trace.SetResult(hasScannerTonemap(&has)).GetResult()))
        return trace.GetResult();
    if (!has)
        return trace.SetResult(kNoTonemap).GetResult();
    const OstrelLock lock = LockForBlock();
    if (!lock.IsLocked())
        return trace.SetResult(LockFailure(lock)).GetResult();
    trace.SetResult(Call<&IOstrelDevice::SetTonemap>(m_spDevice, bytes, red, green, blue));
    return trace.GetResult();
}

HRESULT CNVScan::getTonemapEntrySize(DWORD* bytes) {
    if (!bytes)
        return E_POINTER;
    *bytes = m_devCaps.tonemapEntrySize;
    return S_OK;
}

HRESULT CNVScan::getTonemapMaxValue(DWORD* value) {
    if (!value)
        return E_POINTER;
    *value = m_devCaps.tonemapMaxValue;
    return S_OK;
}

HRESULT CNVScan::getTonemapLength(DWORD* entries) {
    if (!entries)
        return E_POINTER;
    *entries = m_devCaps.tonemapLength;
    return S_OK;
}

HRESULT CNVScan::isThresholdTonemap(bool* is) {
    if (!is)
        return E_POINTER;
    *is = m_bThresholdActive;
    return S_OK;
}

HRESULT CNVScan::getThresholdValue(DWORD* value) {
    if (!value)
        return E_POINTER;
    *value = m_thresholdValue;
    return S_OK;
}
