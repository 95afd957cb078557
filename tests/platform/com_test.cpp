#include "platform/com.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
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
    for (const char* text : {good.c_str(), "{0c733a30-2a1c-11ce-ade5-00aa0044773d}"}) {
        EXPECT_TRUE(GuidFromText(text, read));
        EXPECT_EQ(read, kIdentifier);
    }
    for (const std::string& wrong :
         {std::string(), good.substr(0, 37), good + " ", ' ' + good, good.substr(1, 36),
          std::string("{0C733A30-2A1C-11CE-ADE500AA-0044773D}"),
          std::string("{0C733A30-2A1C-11CE-ADE5-00AA0044773G}"),
          std::string("{0C733A30-2A1C-11CE-ADE5-00AA0044\uFF17\uFF13D}")}) {
        read = kIdentifier;
        EXPECT_FALSE(GuidFromText(wrong, read)) << wrong;
        EXPECT_EQ(read, GUID_NULL);
    }
    EXPECT_EQ(CLSIDFromString(nullptr, &read), S_OK) << "no text is the zero identifier";
    EXPECT_EQ(StringFromIID(kIdentifier, nullptr), E_POINTER);
    EXPECT_EQ(CLSIDFromString(nullptr, nullptr), E_POINTER);
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
    const BSTR zeros = SysAllocStringLen(nullptr, 2);
    EXPECT_EQ(std::u16string(zeros, 3), std::u16string(3, u'\0'));
    SysFreeString(zeros);
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

    // The path under which the class stands in the registry's file.
    static void Install(const std::string& module) {
        CRegistryKey server;
        server.Create(HKEY_CLASSES_ROOT,
                      "CLSID\\" + GuidText(CLSID_TestComponent) + "\\InprocServer32");
        EXPECT_EQ(server.WriteText(nullptr, module), ERROR_SUCCESS);
    }
    static HRESULT Create(ComPtr<IUnknown>& object, DWORD context = CLSCTX_ALL) {
        return CoCreateInstance(CLSID_TestComponent, nullptr, context, IID_IUnknown,
                                object.OutVoid());
    }
};

TEST_F(Classes, AModuleIsLoadedOnceAtNeed) {
    Install(COMPONENT_MODULE);
    std::vector<std::thread> threads;
    std::atomic<int> made{0};
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&made] {
            ComPtr<IUnknown> object;
            made += Create(object) == S_OK && object;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(made, 3);
    ComPtr<IUnknown> first, second;
    EXPECT_EQ(Create(first), S_OK);
    EXPECT_EQ(Create(second, CLSCTX_INPROC_SERVER), S_OK);
    EXPECT_NE(first.Get(), second.Get());
}

TEST_F(Classes, AreRefusedWithTheReason) {
    const std::string copy = TestFolder() + "/text.so";
    WriteWholeFile(copy, "no module");
    const std::string relative = std::filesystem::path(COMPONENT_MODULE).filename();
    const struct {
        std::string module;
        HRESULT result;
    } kCases[] = {
        {"/nowhere/module.so", CO_E_DLLNOTFOUND},
        {copy, CO_E_DLLNOTFOUND},
        {TestFolder(), CO_E_DLLNOTFOUND},
        {relative, CO_E_DLLNOTFOUND},
        {"./" + relative, CO_E_DLLNOTFOUND},
        {EMPTY_MODULE, CO_E_ERRORINDLL},
        {"", REGDB_E_CLASSNOTREG},
    };
    const auto former = SetDebugStringHook([](LPCSTR) {});
    for (const auto& c : kCases) {
        Install(c.module);
        CTestFactory garbage;
        LPVOID object = &garbage;
        EXPECT_EQ(CoGetClassObject(CLSID_TestComponent, CLSCTX_ALL, nullptr, IID_IUnknown, &object),
                  c.result)
            << c.module;
        EXPECT_EQ(object, nullptr);
    }
    ComPtr<IUnknown> object;
    Install(COMPONENT_MODULE);
    EXPECT_EQ(Create(object, CLSCTX_ALL & ~CLSCTX_INPROC_SERVER), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(CoCreateInstance(kIdentifier, nullptr, CLSCTX_ALL, IID_IUnknown, object.OutVoid()),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(
        CoCreateInstance(CLSID_TestComponent, nullptr, CLSCTX_ALL, IID_IStream, object.OutVoid()),
        E_NOINTERFACE);
    EXPECT_EQ(CoCreateInstance(CLSID_TestComponent, nullptr, CLSCTX_ALL, IID_IUnknown, nullptr),
              E_POINTER);
    WriteWholeFile(RegistryPath(), "rubbish");
    EXPECT_EQ(Create(object), REGDB_E_READREGDB);
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
    EXPECT_EQ(older.m_count, 2u);
    ComPtr<IUnknown> object;
    newer.m_result = E_NOTIMPL;
    EXPECT_EQ(Create(object), E_NOTIMPL) << "the newer one is asked";
    newer.m_result = S_OK;
    EXPECT_EQ(Create(object), E_UNEXPECTED) << "it promises an object and gives none";
    EXPECT_EQ(CoRevokeClassObject(cookies[1]), S_OK);
    EXPECT_EQ(CoRevokeClassObject(cookies[1]), CO_E_OBJNOTREG);
    EXPECT_EQ(newer.m_count, 1u);
    EXPECT_EQ(Create(object), E_FAIL) << "the older one is asked";
    EXPECT_EQ(CoRevokeClassObject(cookies[0]), S_OK);
    EXPECT_EQ(older.m_count, 1u);
    EXPECT_EQ(Create(object), S_OK) << "the module's";
    EXPECT_EQ(CoRegisterClassObject(CLSID_TestComponent, nullptr, CLSCTX_ALL, 0, cookies),
              E_INVALIDARG);
}

TEST(CountedPointer, TakesAnInterfaceOfItsOwnObject) {
    CTestFactory factory;
    ComPtr<IUnknown> pointer(&factory);
    EXPECT_EQ(pointer.QueryFrom(pointer.Get(), IID_IClassFactory), S_OK);
    EXPECT_EQ(factory.m_count, 2u);
    EXPECT_EQ(pointer.QueryFrom(&factory, IID_IStream), E_NOINTERFACE);
    EXPECT_FALSE(pointer);
    EXPECT_EQ(factory.m_count, 1u);
}

}  // namespace
