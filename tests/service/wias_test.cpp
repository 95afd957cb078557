// The functions that a driver calls, from where a driver calls them.
#include <cstring>

#include "platform/com_ptr.h"
#include "tests/service/service_rig.h"

namespace {

PROPSPEC Spec(PROPID id) {
    PROPSPEC spec = {};
    spec.ulKind = PRSPEC_PROPID;
    spec.propid = id;
    return spec;
}

class Wias : public CServiceTest {
  protected:
    void SetUp() override {
        CServiceTest::SetUp();
        InstallAndOpen();
    }
    // Runs `check` inside the validation of a write of Brightness.
    void InValidation(LONG brightness, const std::function<void(BYTE* context)>& check) {
        TestScript().m_validate = [&](BYTE* context, ULONG, const PROPSPEC*) {
            check(context);
            return S_OK;
        };
        EXPECT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_BRIGHTNESS, brightness}})), "");
    }
};

TEST_F(Wias, OldValuesAreThoseBeforeTheWriteUnderValidation) {
    InValidation(40, [](BYTE* context) {
        LONG value = 0;
        LONG old = 7;
        EXPECT_EQ(wiasReadPropLong(context, WIA_IPS_BRIGHTNESS, &value, &old, TRUE), S_OK);
        EXPECT_EQ(value, 40);
        EXPECT_EQ(old, 0);
        wiasWritePropLong(context, WIA_IPA_DEPTH, 8);
        wiasReadPropLong(context, WIA_IPA_DEPTH, &value, &old, TRUE);
        EXPECT_EQ(value, 8);
        EXPECT_EQ(old, 24) << "also of what the driver itself has changed since";
    });
}

TEST_F(Wias, APropertyContextTellsWhatWasWritten) {
    InValidation(40, [](BYTE* context) {
        PROPSPEC written[] = {Spec(WIA_IPS_BRIGHTNESS), Spec(WIA_IPS_BRIGHTNESS)};
        PROPID extra[] = {WIA_IPA_BITS_PER_CHANNEL, WIA_IPS_BRIGHTNESS};
        WIA_PROPERTY_CONTEXT properties = {};
        ASSERT_EQ(wiasCreatePropContext(2, written, 2, extra, &properties), S_OK);
        WIAS_CHANGED_VALUE_INFO info = {};
        const auto get = [&](PROPID id, BOOL noValidation) {
            return wiasGetChangedValueLong(context, &properties, noValidation, id, &info);
        };
        EXPECT_EQ(get(WIA_IPS_BRIGHTNESS, FALSE), S_OK);
        EXPECT_TRUE(info.bChanged);
        EXPECT_EQ(info.Current.lVal, 40);
        EXPECT_EQ(info.Old.lVal, 0);
        EXPECT_EQ(get(WIA_IPS_XRES, FALSE), S_OK);
        EXPECT_FALSE(info.bChanged);
        EXPECT_EQ(wiasSetPropChanged(WIA_IPS_XRES, &properties, TRUE), S_OK)
            << "every context has those that depend on others";
        EXPECT_EQ(get(WIA_IPS_XRES, FALSE), S_OK);
        EXPECT_TRUE(info.bChanged);
        EXPECT_EQ(wiasSetPropChanged(WIA_DPS_PAGES, &properties, TRUE), E_INVALIDARG);

        // Out of range by the driver's own hand: seen only when asked for.
        wiasWritePropLong(context, WIA_IPS_BRIGHTNESS, 1005);
        EXPECT_EQ(get(WIA_IPS_BRIGHTNESS, TRUE), S_OK);
        EXPECT_EQ(get(WIA_IPS_BRIGHTNESS, FALSE), E_INVALIDARG);
        EXPECT_EQ(wiasValidateItemProperties(context, 1, written), E_INVALIDARG);
        EXPECT_EQ(wiasFreePropContext(&properties), S_OK);
        EXPECT_EQ(properties.pProps, nullptr);
    });
}

TEST_F(Wias, WhatIsMissingOrOfAnotherTypeIsToldApart) {
    InValidation(40, [](BYTE* context) {
        LONG value = 5;
        EXPECT_EQ(wiasReadPropLong(context, 4711, &value, nullptr, FALSE), S_FALSE);
        EXPECT_EQ(value, 5) << "what the driver starts from stays";
        EXPECT_EQ(wiasReadPropLong(context, 4711, &value, nullptr, TRUE), E_INVALIDARG);
        EXPECT_EQ(wiasReadPropLong(context, WIA_IPA_FORMAT, &value, nullptr, FALSE), E_INVALIDARG);
        EXPECT_EQ(wiasWritePropLong(context, 4711, 1), E_INVALIDARG);
        EXPECT_EQ(wiasWritePropLong(context, WIA_IPA_FORMAT, 1), E_INVALIDARG);
        PROPSPEC specs[] = {Spec(0), Spec(4711)};
        specs[0].ulKind = PRSPEC_LPWSTR;
        specs[0].lpwstr = const_cast<LPOLESTR>(u"Brightness");
        PROPVARIANT values[2] = {};
        EXPECT_EQ(wiasReadMultiple(context, 2, specs, values, nullptr), S_FALSE);
        EXPECT_EQ(values[0].lVal, 40);
        EXPECT_EQ(values[1].vt, VT_EMPTY);
    });
}

struct AttribCase {
    const char* name;
    HRESULT result;
    ULONG access;
    VARTYPE type;
    LONG words[4];  // minimum, nominal, maximum, step; or count, nominal, list
};
constexpr AttribCase kAttribCases[] = {
    {"a range", S_OK, 0x13, VT_I4, {0, 0, 10, 1}},
    {"ends the wrong way", E_INVALIDARG, 0x13, VT_I4, {10, 10, 0, 1}},
    {"a step of nothing", E_INVALIDARG, 0x13, VT_I4, {0, 0, 10, 0}},
    {"another type", E_INVALIDARG, 0x9, VT_BSTR, {0, 0, 0, 0}},
    {"a list that isn't there", E_INVALIDARG, 0x23, VT_I4, {3, 0, 0, 0}},
    {"an endless list", E_INVALIDARG, 0x23, VT_I4, {1 << 30, 0, 0x10, 0}},
    {"two kinds at once", E_INVALIDARG, 0x33, VT_I4, {0, 0, 10, 1}},
    {"none, whatever else", S_OK, 0x3B, VT_I4, {9, 9, 9, 9}},
};

TEST_F(Wias, NonsenseFromADriverIsRefusedWhereItEnters) {
    InValidation(40, [](BYTE* context) {
        for (const AttribCase& c : kAttribCases) {
            WIA_PROPERTY_INFO info = {};
            info.lAccessFlags = c.access;
            info.vt = c.type;
            std::memcpy(&info.ValidVal, c.words, sizeof(c.words));
            PROPSPEC spec = Spec(WIA_IPS_BRIGHTNESS);
            EXPECT_EQ(wiasSetItemPropAttribs(context, 1, &spec, &info), c.result) << c.name;
        }
        EXPECT_EQ(wiasSetValidRangeLong(context, WIA_IPS_XRES, 0, 0, 10, 1), E_INVALIDARG);
        EXPECT_EQ(wiasSetValidRangeLong(context, WIA_IPS_XPOS, 10, 10, 0, 1), E_INVALIDARG);
        PROPSPEC spec = Spec(kTestBlob);
        PROPVARIANT value = {};
        PROPID id = kTestBlob;
        LPOLESTR name = nullptr;
        EXPECT_EQ(wiasSetItemPropNames(context, 1, &id, &name), E_INVALIDARG);
        EXPECT_EQ(wiasSetItemPropNames(context, -1, &id, &name), E_INVALIDARG);
        EXPECT_EQ(wiasReadMultiple(context, 0x7FFFFFFF, &spec, &value, nullptr), E_INVALIDARG);
        EXPECT_EQ(wiasWritePropBin(context, kTestBlob, -1, nullptr), E_INVALIDARG);
        value.vt = VT_VECTOR | VT_UI1;
        value.caub = {0xFFFFFFFFu, nullptr};
        EXPECT_EQ(wiasWriteMultiple(context, 1, &spec, &value), E_INVALIDARG);
    });
}

TEST_F(Wias, AContextThatIsNoneIsNeverFollowed) {
    BYTE* stale = nullptr;
    TestScript().m_initItem = [&](BYTE* context) { stale = context; };
    {
        CScanDevice other;
        ASSERT_EQ(Failure(m_client.Open("", other)), "");
    }
    BYTE* live = nullptr;
    InValidation(40, [&](BYTE* context) { live = context; });
    LONG value = 0;
    IWiaDrvItem* item = nullptr;
    BYTE* found = nullptr;
    const CText name(u"0000\\Root\\Top");
    for (BYTE* context :
         {static_cast<BYTE*>(nullptr), stale, live + 1, reinterpret_cast<BYTE*>(&value)}) {
        EXPECT_EQ(wiasReadPropLong(context, WIA_IPS_XRES, &value, nullptr, FALSE), E_INVALIDARG);
        EXPECT_EQ(wiasGetDrvItem(context, &item), E_INVALIDARG);
        EXPECT_EQ(wiasGetRootItem(context, &found), E_INVALIDARG);
    }
    BYTE* root = nullptr;
    ASSERT_EQ(wiasGetRootItem(live, &root), S_OK);
    ASSERT_EQ(wiasGetContextFromName(root, 0, name.Get(), &found), S_OK);
    EXPECT_EQ(found, live);
    EXPECT_EQ(wiasGetContextFromName(root, 0, CText(u"Bottom").Get(), &found), E_INVALIDARG);
    EXPECT_EQ(found, nullptr);
}

TEST_F(Wias, SizesOfAPictureAreThoseOfItsFormat) {
    InValidation(40, [](BYTE* context) {
        MINIDRV_TRANSFER_CONTEXT transfer = {};
        wiasWritePropGuid(context, WIA_IPA_FORMAT, WiaImgFmt_BMP);
        wiasWritePropLong(context, WIA_IPA_DEPTH, 1);
        ASSERT_EQ(wiasGetImageInformation(context, WIA_INIT_CONTEXT_1, &transfer), S_OK);
        EXPECT_EQ(transfer.lItemSize, 1662) << "14 + 40 + 2 colours of 4 bytes + 100 rows of 16";
        wiasWritePropLong(context, WIA_IPA_PIXELS_PER_LINE, 100000);
        wiasWritePropLong(context, WIA_IPA_NUMBER_OF_LINES, 200000);
        ASSERT_EQ(wiasGetImageInformation(context, 0, &transfer), S_OK);
        EXPECT_EQ(transfer.lItemSize, 0) << "2.5 GB can't be told";
        wiasWritePropLong(context, WIA_IPA_NUMBER_OF_LINES, -1);
        EXPECT_EQ(wiasGetImageInformation(context, 0, &transfer), E_INVALIDARG);
    });
}

TEST_F(Wias, ItemsFormATreeAndComeApart) {
    auto* const driver = reinterpret_cast<IWiaMiniDrv*>(1);  // never called here
    const auto make = [&](LONG flags, const char16_t* fullName) {
        ComPtr<IWiaDrvItem> item;
        wiasCreateDrvItem(flags, CText(fullName + 2).Get(), CText(fullName).Get(), driver, 0,
                          nullptr, item.Out());
        return item;
    };
    const auto root = make(76, u"\\R");
    const auto a = make(67, u"R\\A");
    const auto b = make(WiaItemTypeFolder, u"R\\B");
    EXPECT_EQ(b->AddItemToFolder(a.Get()), E_INVALIDARG) << "no folder";
    EXPECT_EQ(b->AddItemToFolder(b.Get()), E_INVALIDARG) << "itself";
    EXPECT_EQ(a->AddItemToFolder(root.Get()), S_OK);
    EXPECT_EQ(b->AddItemToFolder(root.Get()), S_OK);
    EXPECT_EQ(a->AddItemToFolder(b.Get()), E_INVALIDARG) << "in a folder already";
    EXPECT_EQ(root->AddItemToFolder(b.Get()), E_INVALIDARG) << "a ring";
    EXPECT_EQ(make(67, u"R\\A")->AddItemToFolder(root.Get()), E_INVALIDARG) << "taken name";

    ComPtr<IWiaDrvItem> found;
    EXPECT_EQ(root->UnlinkItemTree(WiaItemTypeDisconnected), S_OK);
    EXPECT_EQ(root->GetFirstChildItem(found.Out()), S_FALSE);
    EXPECT_EQ(b->GetParentItem(found.Out()), S_FALSE);
}

}  // namespace
