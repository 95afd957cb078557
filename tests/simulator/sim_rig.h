// A simulated device for a test: its folder, and one session with it through the loaded module.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "controller/toolkit.h"
#include "platform/com.h"
#include "platform/registry_key.h"
#include "platform/text.h"
#include "simulator/panel.h"
#include "simulator/simulator_class.h"
#include "tests/support/simulated_device.h"

// Names the module in the registry, as an installer does.
inline void RegisterSimulator() {
    CRegistryKey server;
    ASSERT_EQ(server.Create(HKEY_CLASSES_ROOT,
                            "CLSID\\" + GuidText(CLSID_OstrelSimulator) + "\\InprocServer32"),
              ERROR_SUCCESS);
    server.WriteText(nullptr, SIMULATOR_MODULE);
}

inline ComPtr<IOstrelDevice> CreateToolkit() {
    RegisterSimulator();
    ComPtr<IOstrelDevice> device;
    EXPECT_EQ(CoCreateInstance(CLSID_OstrelSimulator, nullptr, CLSCTX_ALL, IID_IOstrelDevice,
                               device.OutVoid()),
              S_OK);
    return device;
}

// An open session, which holds one level of the lock unless told otherwise.
class CSessionRig {
  public:
    explicit CSessionRig(const CDeviceRig& rig, bool locked = true) : m_device(CreateToolkit()) {
        EXPECT_EQ(m_device->OpenDevice(rig.Port().c_str(), 1, &m_session, &m_error), S_OK)
            << m_error;
        if (locked) {
            EXPECT_EQ(m_device->LockScanner(m_session, 0, 30000, &m_error), S_OK) << m_error;
        }
    }
    ~CSessionRig() {
        DWORD error = 0;
        if (m_session != 0)
            m_device->CloseDevice(m_session, &error);
    }
    CSessionRig(const CSessionRig&) = delete;
    CSessionRig& operator=(const CSessionRig&) = delete;

    IOstrelDevice* operator->() const { return m_device.Get(); }
    DWORD Session() const { return m_session; }
    DWORD* Error() { return &m_error; }
    DWORD Code() const { return m_error; }
    void Forget() { m_session = 0; }

    template <class T>
    ComPtr<T> Facet(REFIID iid) {
        ComPtr<T> facet;
        facet.QueryFrom(m_device.Get(), iid);
        return facet;
    }

    // Lamp and calibration for a source.
    void Prepare(WORD source = OSTREL_SOURCE_FLATBED) {
        OstrelScanParams params = {};
        params.width = params.height = 30;
        params.xResolution = params.yResolution = 300;
        params.colorMode = OSTREL_COLOR;
        params.bitsPerSample = 8;
        params.source = source;
        OstrelScanSetup setup = {};
        EXPECT_EQ(m_device->GetScanSetup(m_session, &params, &setup, &m_error), S_OK) << m_error;
        const bool adapter = source >= OSTREL_SOURCE_POSITIVE;
        EXPECT_EQ(adapter ? Facet<IOstrelXPA>(IID_IOstrelXPA)->XPALampOn(m_session, &m_error)
                          : m_device->LampOn(m_session, &m_error),
                  S_OK);
        EXPECT_EQ(m_device->CalibrateScanner(m_session, &m_error), S_OK) << m_error;
    }

    // Starts, reads `chunk` bytes at a time until the end, and ends. The status that ended it.
    DWORD Scan(const OstrelScanParams& params, Bytes* data, DWORD chunk = 65536) {
        data->clear();
        if (FAILED(m_device->StartScan(m_session, &params, &m_error)))
            return m_error;
        DWORD status = 0;
        EXPECT_EQ(m_device->BeginRead(m_session, &status), S_OK);
        DWORD got = 0;
        do {
            data->resize(data->size() + chunk);
            m_device->ReadScan(m_session, data->data() + data->size() - chunk, chunk, &got,
                               &status);
            EXPECT_LE(got, chunk);
            data->resize(data->size() - chunk + got);
        } while (status == 0);
        EXPECT_EQ(m_device->EndScan(m_session, &m_error), S_OK) << m_error;
        return status;
    }

  private:
    ComPtr<IOstrelDevice> m_device;
    DWORD m_session = 0;
    DWORD m_error = 0;
};

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
