#include <cstring>

#include "diag/device_error_text.h"
#include "tests/controller/controller_rig.h"

namespace {

constexpr CLSID kClass = {0x0DDBA11, 0x600D, 0x4F00, {0xB0, 1, 2, 3, 4, 5, 6, 7}};

// Gives the rig's toolkit; asked for a model, it remembers which.
class CFakeClass final : public IClassFactory, public IOstrelModelFactory {
  public:
    CFakeClass(CLyingToolkit& toolkit, bool knowsModels)
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
    CLyingToolkit& m_toolkit;
    const bool m_knowsModels;
};

class Toolkit : public CControllerTest {
  protected:
    Toolkit() { scan.reset(); }
    // The key that comes of `key`, and the model that the class was asked for.
    std::pair<std::string, std::u16string> Create(bool knowsModels, const char* key = "") {
        CFakeClass factory(toolkit, knowsModels);
        DWORD cookie = 0;
        EXPECT_EQ(CoRegisterClassObject(kClass, static_cast<IClassFactory*>(&factory),
                                        CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
                  S_OK);
        char modelKey[kOstrelModelChars] = {};
        std::memcpy(modelKey, key, std::strlen(key));
        ComPtr<IOstrelDevice> made;
        EXPECT_EQ(CreateScannerInterface(kClass, device.Port().c_str(), 1, modelKey, made.Out()),
                  S_OK);
        EXPECT_EQ(toolkit.References(), 1);
        made.Reset();
        CoRevokeClassObject(cookie);
        EXPECT_EQ(factory.m_references, 0u);
        return {std::string(modelKey, strnlen(modelKey, sizeof(modelKey))), factory.m_model};
    }
};

TEST_F(Toolkit, MakesAnObjectForTheModelThatTheDeviceTells) {
    toolkit.Lie<OstrelDeviceCaps>(
        GetDeviceCapabilities, [](auto& caps) { std::memcpy(caps.model, "SIXTEEN-LETTERS!", 16); });
    EXPECT_EQ(Create(true).first, "SIXTEEN-LETTERS!");
    EXPECT_EQ(Create(true).second, u"SIXTEEN-LETTERS!");
    EXPECT_EQ(Create(true, "OTHER").second, u"OTHER");
    EXPECT_EQ(toolkit.Count(OpenDevice), 2) << "a key that is known is not asked for";
    EXPECT_EQ(Create(false).first, "SIXTEEN-LETTERS!") << "without a factory of models";
    for (const EOperation operation : {LockScanner, GetDeviceCapabilities, OpenDevice}) {
        toolkit.Fail(operation, OSTREL_COMMUNICATION);
        EXPECT_EQ(Create(true).first, "") << OperationOf(operation).name;
    }
}

TEST_F(Toolkit, SomeCodesMeanMoreToTheirDevice) {
    EXPECT_EQ(MapOstrelError(0, {}), S_OK);
    EXPECT_EQ(MapOstrelError(7, {}), Result(0x0B));
    EXPECT_EQ(MapOstrelError(7, {.useXpa = true}), Result(0x05));
    EXPECT_EQ(MapOstrelError(101, {}), Result(0x0F));
    EXPECT_EQ(MapOstrelError(101, {.sheetFedOnly = true}), Result(0x12));
    EXPECT_EQ(MapOstrelError(9999, {}), Result(0x0D));
}

}  // namespace
