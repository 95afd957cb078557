// How the engine reads and writes the properties of an image item. The front end implements it.
#pragma once

#include "platform/types.h"

// Private properties, beside the published ones.
enum QLPrivateProperty : std::uint32_t {
    QL_PROP_TMA_SELECT = 71683,
    QL_PROP_TMA_METHOD = 71684,
    QL_PROP_SCANNER_CHANNEL = 71685,
    QL_PROP_EXPOSURE_METHOD = 71686,
    QL_PROP_HIGHLIGHT_LEVEL = 71689,
    QL_PROP_SHADOW_LEVEL = 71690,
    QL_PROP_MIDTONE_LEVEL = 71691,
    QL_PROP_GAMMA = 71692,
    QL_PROP_HUE_X = 71693,
    QL_PROP_HUE_Y = 71694,
    QL_PROP_SHARPEN_LEVEL = 71695,
    QL_PROP_SATURATION = 71696,
    QL_PROP_DEFAULTS = 71698,
    QL_PROP_FLATBED_MATRIX = 71699,
    QL_PROP_SLIDE_MATRIX = 71700,
    QL_PROP_FEEDER_MATRIX = 71701,
    QL_PROP_FLATBED_COEFFS = 71702,
    QL_PROP_FEEDER_COEFFS = 71703,
    QL_PROP_SLIDE_COEFFS = 71704,
    QL_PROP_SLIDE_COEFFS_B = 71705,
    QL_PROP_NEG_COEFFS = 71706,
    QL_PROP_GRAY = 71707,
    QL_PROP_DENSITY_MATRIX = 71708,
    QL_PROP_POST_MATRIX = 71709,
};

// Each operation gives S_OK when it did its work.
class IQLItemProperties {
  public:
    virtual ~IQLItemProperties() = default;
    virtual HRESULT ReadLong(DWORD id, LONG* out) = 0;
    virtual HRESULT ReadString(DWORD id, BSTR* out) = 0;
    virtual HRESULT ReadGuid(DWORD id, GUID* out) = 0;
    virtual HRESULT ReadBin(DWORD id, ULONG size, BYTE* buffer) = 0;
    virtual HRESULT WriteLong(DWORD id, LONG value) = 0;
    virtual HRESULT WriteString(DWORD id, const OLECHAR* value) = 0;
    virtual HRESULT WriteGuid(DWORD id, const GUID& value) = 0;
};
