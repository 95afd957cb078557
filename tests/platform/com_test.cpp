#include "platform/com.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/module.h"
#include "platform/registry_key.h"
#include "platform/text.h"
#include "tests/platform/test_folder.h"
#include "tests/support/component_module.h"

namespace {

constexpr IID kIdentifier = {
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};

TEST(Identifier, HasOneTextAndIsNothingInAnyOtherForm) {
    const std::string good = "{0C733A30-2A1C-11CE-ADE5-00AA0044773D}";
    EXPECT_EQ(GuidText(kIdentifier), good);
    CLSID read = GUID_NULL;
    EXPECT_TRUE(GuidFromText("{0c733a30-2a1c-11ce-ade5-00AA0044773D}", read));
    EXPECT_EQ(read, kIdentifier);
    for (const std::string& wrong :
         {std::string(), good.substr(0, 37), good + " ", good.substr(1, 36),
          std::string("{0C733A30-2A1C-11CE-ADE500AA-0044773D}"),
          std::string("{0C733A30-2A1C-11CE-ADE5-00AA0044773G}"),
          std::string("{0C733A30-2A1C-11CE-ADE5-00AA0044\uFF17\uFF13D}")}) {
        read = kIdentifier;
        EXPECT_FALSE(GuidFromText(wrong, read)) << wrong;
        EXPECT_EQ(read, GUID_NULL);
    }
    EXPECT_EQ(CLSIDFromString(nullptr, &read), S_OK) << "no text is the zero identifier";
}

TEST(Text, GoesOverIntoWideTextAndComesBackTheSame) {
    const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xFF";
    EXPECT_EQ(WideFromText(text), u"a\u00E4\u20AC\U0001F600\xDCFF");
    EXPECT_EQ(TextFromWide(WideFromText(text).c_str()), text);
    EXPECT_EQ(TextFromWide(u"abc", 2), "ab");
    EXPECT_EQ(TextFromWide(nullptr) + TextFromBstr(nullptr), "");
    const TaskText zeros = MakeTaskText({u"a\0b", 3});
    EXPECT_EQ(TextFromBstr(zeros.get()), std::string("a\0b", 3));
    EXPECT_EQ(ViewText(TaskText(BstrFromText(text)).get()), WideFromText(text));
}

TEST(Bstr, KnowsItsLengthAndHasAZeroBehindIt) {
    const BSTR text = SysAllocStringLen(u"a\0bcd", 3);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 3u);
    EXPECT_EQ(std::u16string(text, 4), std::u16string(u"a\0b\0", 4));
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - 4, sizeof(bytes));
    EXPECT_EQ(bytes, 6u) << "where everybody looks for it";
    SysFreeString(text);
    EXPECT_EQ(SysAllocStringLen(u"", 0xFFFFFFFFu), nullptr);
}

// A class object that counts its references.
class CTestFactory final : public IClassFactory {
  public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IClassFactory ? this : nullptr;
        return *object ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_count; }
    ULONG Release() override { return --m_count; }
    HRESULT CreateInstance(IUnknown*, REFIID, void**) override { return m_result; }
    HRESULT LockServer(BOOL) override { return S_OK; }

    ULONG m_count = 1;
    HRESULT m_result = E_FAIL;
};

class Classes : public testing::Test {
  protected:
    void SetUp() override { ForgetRegistry(); }

    static void Install(const std::string& module) {
        CRegistryKey server;
        server.Create(HKEY_CLASSES_ROOT,
                      "CLSID\\" + GuidText(CLSID_TestComponent) + "\\InprocServer32");
        EXPECT_EQ(server.WriteText(nullptr, module), ERROR_SUCCESS);
    }
    static HRESULT Create(REFCLSID clsid = CLSID_TestComponent, DWORD context = CLSCTX_ALL,
                          REFIID iid = IID_IUnknown) {
        ComPtr<IUnknown> object;
        const HRESULT hr = CoCreateInstance(clsid, nullptr, context, iid, object.OutVoid());
        EXPECT_EQ(static_cast<bool>(object), SUCCEEDED(hr));
        return hr;
    }
};

TEST_F(Classes, AModuleIsLoadedAtNeedByManyThreadsAtOnce) {
    Install(COMPONENT_MODULE);
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([] { EXPECT_EQ(Create(), S_OK); });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(Classes, AreRefusedWithTheReason) {
    const std::string text = TestFolder() + "/text.so";
    WriteWholeFile(text, "no module");
    const std::string relative = std::filesystem::path(COMPONENT_MODULE).filename();
    const std::pair<std::string, HRESULT> kCases[] = {
        {"/nowhere/module.so", CO_E_DLLNOTFOUND},
        {text, CO_E_DLLNOTFOUND},
        {relative, CO_E_DLLNOTFOUND},
        {"./" + relative, CO_E_DLLNOTFOUND},
        {EMPTY_MODULE, CO_E_ERRORINDLL},
        {"", REGDB_E_CLASSNOTREG},
    };
    const auto former = SetDebugStringHook([](LPCSTR) {});
    for (const auto& [module, result] : kCases) {
        Install(module);
        CTestFactory garbage;
        LPVOID object = &garbage;
        EXPECT_EQ(CoGetClassObject(CLSID_TestComponent, CLSCTX_ALL, nullptr, IID_IUnknown, &object),
                  result)
            << module;
        EXPECT_EQ(object, nullptr);
    }
    Install(COMPONENT_MODULE);
    EXPECT_EQ(Create(CLSID_TestComponent, CLSCTX_ALL & ~CLSCTX_INPROC_SERVER), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create(kIdentifier), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create(CLSID_TestComponent, CLSCTX_ALL, IID_IStream), E_NOINTERFACE);
    WriteWholeFile(RegistryPath(), "rubbish");
    EXPECT_EQ(Create(), REGDB_E_READREGDB);
    SetDebugStringHook(former);
}

TEST_F(Classes, AnObjectOfTheProcessStandsAheadOfTheRegistry) {
    Install(COMPONENT_MODULE);
    CTestFactory older;
    CTestFactory newer;
    DWORD cookies[2] = {};
    const auto enter = [](CTestFactory& factory, DWORD& cookie) {
        return CoRegisterClassObject(CLSID_TestComponent, &factory, CLSCTX_INPROC_SERVER,
                                     REGCLS_MULTIPLEUSE, &cookie);
    };
    ASSERT_EQ(enter(older, cookies[0]), S_OK);
    ASSERT_EQ(enter(newer, cookies[1]), S_OK);
    newer.m_result = E_NOTIMPL;
    EXPECT_EQ(Create(), E_NOTIMPL) << "the newer one is asked";
    newer.m_result = S_OK;
    EXPECT_EQ(Create(), E_UNEXPECTED) << "it promises an object and gives none";
    EXPECT_EQ(CoRevokeClassObject(cookies[1]), S_OK);
    EXPECT_EQ(CoRevokeClassObject(cookies[1]), CO_E_OBJNOTREG);
    EXPECT_EQ(Create(), E_FAIL) << "the older one is asked";
    EXPECT_EQ(older.m_count, 2u);
    EXPECT_EQ(CoRevokeClassObject(cookies[0]), S_OK);
    EXPECT_EQ(older.m_count + newer.m_count, 2u) << "all is given back";
    EXPECT_EQ(Create(), S_OK) << "the module's";
}

TEST(CountedPointer, TakesAnInterfaceOfItsOwnObject) {
    CTestFactory factory;
    ComPtr<IUnknown> pointer(&factory);
    EXPECT_EQ(pointer.QueryFrom(pointer.Get(), IID_IClassFactory), S_OK);
    EXPECT_EQ(factory.m_count, 2u);
    EXPECT_EQ(pointer.QueryFrom(&factory, IID_IStream), E_NOINTERFACE);
    EXPECT_EQ(factory.m_count, 1u);
}

}  // namespace
