// A simulated device for a test: its folder, and one session with it through the loaded module.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "controller/toolkit.h"
#include "platform/com.h"
#include "simulator/panel.h"
#include "simulator/simulator_class.h"
#include "tests/support/simulated_device.h"

// Has the module name itself in the registry, as an installer does.
inline void RegisterSimulator() {
    void* const module = dlopen(SIMULATOR_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    EXPECT_EQ(reinterpret_cast<HRESULT (*)()>(dlsym(module, "DllRegisterServer"))(), S_OK);
    dlclose(module);
}

inline ComPtr<IOstrelDevice> CreateToolkit() {
    RegisterSimulator();
    ComPtr<IOstrelDevice> device;
    EXPECT_EQ(CoCreateInstance(CLSID_OstrelSimulator, nullptr, CLSCTX_ALL, IID_IOstrelDevice,
                               device.OutVoid()),
              S_OK);
    return device;
}

// What a query for a facet asks for.
template <class TFacet>
inline constexpr IID kIidOf = IID_IOstrelDevice;
#define NVQ_IID(facet) \
    template <>        \
    inline constexpr IID kIidOf<facet> = IID_##facet;
NVQ_IID(IOstrelADF2)
NVQ_IID(IOstrelXPA)
NVQ_IID(IOstrelNvram)
NVQ_IID(IOstrelPanel)
NVQ_IID(IOstrelProperties)
NVQ_IID(IOstrelColorMatrix)
NVQ_IID(IOstrelJobGate)
NVQ_IID(IOstrelProfile)
NVQ_IID(IOstrelResolutions)
NVQ_IID(IOstrelInstantLamp)
NVQ_IID(IOstrelButtons)
#undef NVQ_IID

// A window in 1/300 inch, in colour of 8 bits.
inline OstrelScanParams Window(DWORD left, DWORD top, DWORD width, DWORD height, WORD dpi = 300,
                               WORD source = OSTREL_SOURCE_FLATBED) {
    OstrelScanParams params = {};
    params.left = left;
    params.top = top;
    params.width = width;
    params.height = height;
    params.xResolution = params.yResolution = dpi;
    params.colorMode = OSTREL_COLOR;
    params.bitsPerSample = 8;
    params.source = source;
    return params;
}

inline OstrelScanParams OneChannel(OstrelScanParams params, WORD mask, BYTE bits) {
    params.colorMode = bits == 1 ? OSTREL_ONE_BIT : OSTREL_ONE_CHANNEL;
    params.channelMask = mask;
    params.bitsPerSample = bits;
    return params;
}

// An open session, which holds one level of the lock unless told otherwise.
class CSessionRig {
  public:
    explicit CSessionRig(const CDeviceRig& rig, bool locked = true) : m_device(CreateToolkit()) {
        DWORD error = 0;
        EXPECT_EQ(m_device->OpenDevice(rig.Port().c_str(), 1, &m_session, &error), S_OK) << error;
        if (locked) {
            EXPECT_EQ(Lock(30000), 0u);
        }
    }
    ~CSessionRig() {
        if (m_session != 0)
            Do(&IOstrelDevice::CloseDevice);
    }
    CSessionRig(const CSessionRig&) = delete;
    CSessionRig& operator=(const CSessionRig&) = delete;

    IOstrelDevice* Device() const { return m_device.Get(); }
    DWORD Session() const { return m_session; }
    void Forget() { m_session = 0; }

    // Calls an operation with the session ahead of the arguments and the error behind them. The
    // error's code, or, of a success, the status.
    template <class TFacet, class... TExpected, class... TGiven>
    DWORD Do(HRESULT (TFacet::*operation)(DWORD, TExpected...), TGiven... given) {
        ComPtr<TFacet> facet;
        facet.QueryFrom(m_device.Get(), kIidOf<TFacet>);
        EXPECT_TRUE(facet);
        DWORD error = 0;
        const HRESULT hr = (facet.Get()->*operation)(m_session, given..., &error);
        EXPECT_TRUE(SUCCEEDED(hr) || (hr == E_FAIL && error != 0));
        return error;
    }
    DWORD Lock(DWORD milliseconds) {
        return Do(&IOstrelDevice::LockScanner, OSTREL_LOCK_SHORT_JOB, milliseconds);
    }
    DWORD Unlock() { return Do(&IOstrelDevice::UnlockScanner); }

    // Lamp and calibration for a source.
    void Prepare(WORD source = OSTREL_SOURCE_FLATBED) {
        const auto params = Window(0, 0, 30, 30, 300, source);
        OstrelScanSetup setup = {};
        EXPECT_EQ(Do(&IOstrelDevice::GetScanSetup, &params, &setup), 0u);
        EXPECT_EQ(source >= OSTREL_SOURCE_POSITIVE ? Do(&IOstrelXPA::XPALampOn)
                                                   : Do(&IOstrelDevice::LampOn),
                  0u);
        EXPECT_EQ(Do(&IOstrelDevice::CalibrateScanner), 0u);
    }

    // Starts, reads `chunk` bytes at a time until the end, and ends. The status that ended it.
    DWORD Scan(const OstrelScanParams& params, Bytes* data = nullptr, DWORD chunk = 65536) {
        Bytes unused;
        Bytes& bytes = data ? *data : unused;
        bytes.clear();
        DWORD status = Do(&IOstrelDevice::StartScan, &params);
        if (status != 0)
            return status;
        EXPECT_EQ(Do(&IOstrelDevice::BeginRead), 0u);
        while (status == 0) {
            DWORD got = 0;
            bytes.resize(bytes.size() + chunk);
            status = Read(bytes.data() + bytes.size() - chunk, chunk, &got);
            bytes.resize(bytes.size() - chunk + got);
        }
        EXPECT_EQ(Do(&IOstrelDevice::EndScan), 0u);
        return status;
    }
    DWORD Read(std::uint8_t* out, DWORD bytes, DWORD* got) {
        const DWORD status = Do(&IOstrelDevice::ReadScan, static_cast<void*>(out), bytes, got);
        EXPECT_LE(*got, bytes);
        return status;
    }

  private:
    ComPtr<IOstrelDevice> m_device;
    DWORD m_session = 0;
};
