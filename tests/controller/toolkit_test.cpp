#include "controller/toolkit.h"

#include <gtest/gtest.h>

#include <cstring>

#include "diag/device_error_text.h"
#include "tests/support/fake_toolkit.h"

namespace {

constexpr CLSID kClass = {0x0DDBA11, 0x600D, 0x4F00, {0xB0, 1, 2, 3, 4, 5, 6, 7}};

// Makes the fake; asked for a model, it remembers which.
class CFakeClass final : public IClassFactory, public IOstrelModelFactory {
  public:
    CFakeClass(CFakeToolkit& toolkit, bool knowsModels)
        : m_toolkit(toolkit), m_knowsModels(knowsModels) {}

    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        if (iid == IID_IUnknown || iid == IID_IClassFactory)
            *object = static_cast<IClassFactory*>(this);
        else if (iid == IID_IOstrelModelFactory && m_knowsModels)
            *object = static_cast<IOstrelModelFactory*>(this);
        return *object ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override { return --m_references; }
    HRESULT CreateInstance(IUnknown*, REFIID iid, void** object) override {
        return m_toolkit.QueryInterface(iid, object);
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
    HRESULT CreateForModel(LPCOLESTR model, IUnknown** object) override {
        m_model = model;
        return m_toolkit.QueryInterface(IID_IUnknown, reinterpret_cast<void**>(object));
    }

    std::u16string m_model;
    ULONG m_references = 0;

  private:
    CFakeToolkit& m_toolkit;
    const bool m_knowsModels;
};

struct Created {
    HRESULT result;
    std::string key;
    std::u16string model;
};

Created Create(CFakeToolkit& toolkit, bool knowsModels, const char* key = "") {
    CFakeClass factory(toolkit, knowsModels);
    DWORD cookie = 0;
    EXPECT_EQ(CoRegisterClassObject(kClass, static_cast<IClassFactory*>(&factory),
                                    CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
              S_OK);
    char modelKey[kOstrelModelChars] = {};
    std::memcpy(modelKey, key, std::strlen(key));
    ComPtr<IOstrelDevice> device;
    const HRESULT hr = CreateScannerInterface(kClass, u"port", 1, modelKey, device.Out());
    EXPECT_EQ(toolkit.References(), 1);
    device.Reset();
    CoRevokeClassObject(cookie);
    EXPECT_EQ(factory.m_references, 0u);
    EXPECT_EQ(toolkit.References() + toolkit.OpenSessions(), 0);
    EXPECT_TRUE(toolkit.Violations().empty());
    return {hr, std::string(modelKey, strnlen(modelKey, sizeof(modelKey))), factory.m_model};
}

TEST(Toolkit, MakesAnObjectForTheModelThatTheDeviceTells) {
    CFakeToolkit toolkit;
    std::memcpy(toolkit.deviceCaps.model, "SIXTEEN-LETTERS!", 16);
    const Created asked = Create(toolkit, true);
    EXPECT_EQ(asked.result, S_OK);
    EXPECT_EQ(asked.key, "SIXTEEN-LETTERS!");
    EXPECT_EQ(asked.model, u"SIXTEEN-LETTERS!");
    EXPECT_EQ(Create(toolkit, true, "OTHER").model, u"OTHER");
    EXPECT_EQ(toolkit.Count("OpenDevice"), 1) << "a key that is known is not asked for";
    EXPECT_EQ(Create(toolkit, false).key, "SIXTEEN-LETTERS!") << "without a factory of models";
    for (const char* operation : {"LockScanner", "GetDeviceCapabilities", "OpenDevice"}) {
        toolkit.Fail(operation, OSTREL_COMMUNICATION);
        const Created made = Create(toolkit, true);
        EXPECT_EQ(made.result, S_OK) << operation;
        EXPECT_EQ(made.key, "") << operation;
    }
}

TEST(Toolkit, SomeCodesMeanMoreToTheirDevice) {
    EXPECT_EQ(MapOstrelError(0, {}), S_OK);
    EXPECT_EQ(MapOstrelError(7, {}), MakeResult(0x8004000B));
    EXPECT_EQ(MapOstrelError(7, {.useXpa = true}), MakeResult(0x80040005));
    EXPECT_EQ(MapOstrelError(101, {}), MakeResult(0x8004000F));
    EXPECT_EQ(MapOstrelError(101, {.sheetFedOnly = true}), MakeResult(0x80040012));
    EXPECT_EQ(MapOstrelError(9999, {}), MakeResult(0x8004000D));
    for (const OstrelError& row : OstrelErrorTable()) {
        EXPECT_STREQ(row.text, DeviceErrorText(row.code));
        EXPECT_EQ(FAILED(row.result), row.code != 0);
    }
}

TEST(Toolkit, LockGivesBackOnlyWhatItGot) {
    CFakeToolkit toolkit;
    DWORD session = 0;
    DWORD error = 0;
    ASSERT_EQ(toolkit.OpenDevice(u"port", 1, &session, &error), S_OK);
    {
        const OstrelLock outer(&toolkit, session, OSTREL_LOCK_SCAN, OSTREL_LOCK_WAIT, &error);
        const OstrelLock inner(&toolkit, session);
        EXPECT_TRUE(outer.IsLocked() && inner.IsLocked());
        EXPECT_EQ(toolkit.Levels(), 2);
        toolkit.Fail("LockScanner", OSTREL_LOCK_FAILED);
        const OstrelLock failed(&toolkit, session, OSTREL_LOCK_SCAN, OSTREL_LOCK_WAIT, &error);
        EXPECT_FALSE(failed.IsLocked());
        EXPECT_EQ(failed.Result(), CFakeToolkit::kFailure);
        EXPECT_EQ(error, OSTREL_LOCK_FAILED);
    }
    EXPECT_EQ(toolkit.Levels(), 0);
    EXPECT_FALSE(OstrelLock(nullptr, session).IsLocked());
    toolkit.CloseDevice(session, &error);
    EXPECT_TRUE(toolkit.Violations().empty());
}

}  // namespace
