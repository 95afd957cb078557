// The functions that a driver calls, from where a driver calls them.
#include <cstring>

#include "platform/com_ptr.h"
#include "tests/service/service_rig.h"

namespace {

PROPSPEC Spec(PROPID id) {
    return {PRSPEC_PROPID, {id}};
}

class Wias : public COpenServiceTest {
  protected:
    // Runs `check` inside the validation of a write of Brightness.
    void InValidation(const std::function<void(BYTE* context)>& check) {
        TestScript().m_validate = [&](BYTE* context) {
            check(context);
            return S_OK;
        };
        EXPECT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_BRIGHTNESS, 40}})), "");
    }
};

TEST_F(Wias, APropertyContextTellsWhatWasWritten) {
    InValidation([](BYTE* context) {
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
        EXPECT_EQ(wiasWritePropLong(context, WIA_IPA_DEPTH, 8), S_OK);
        EXPECT_EQ(get(WIA_IPA_DEPTH, TRUE), S_OK);
        EXPECT_FALSE(info.bChanged);
        EXPECT_EQ(info.Old.lVal, 24) << "also of what the driver itself has changed since";
        EXPECT_EQ(wiasSetPropChanged(WIA_IPA_DEPTH, &properties, TRUE), S_OK)
            << "every context has those that depend on others";
        EXPECT_EQ(get(WIA_IPA_DEPTH, TRUE), S_OK);
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
};

TEST_F(Wias, NonsenseFromADriverIsRefusedWhereItEnters) {
    InValidation([](BYTE* context) {
        PROPID id = WIA_IPS_BRIGHTNESS;
        PROPSPEC spec = Spec(id);
        for (const AttribCase& c : kAttribCases) {
            WIA_PROPERTY_INFO info = {};
            info.lAccessFlags = c.access;
            info.vt = c.type;
            std::memcpy(&info.ValidVal, c.words, sizeof(c.words));
            EXPECT_EQ(wiasSetItemPropAttribs(context, 1, &spec, &info), c.result) << c.name;
        }
        EXPECT_EQ(wiasSetValidRangeLong(context, WIA_IPS_XPOS, 10, 10, 0, 1), E_INVALIDARG);
        PROPVARIANT value = {};
        LPOLESTR name = nullptr;
        EXPECT_EQ(wiasSetItemPropNames(context, 1, &id, &name), E_INVALIDARG);
        EXPECT_EQ(wiasSetItemPropNames(context, -1, &id, &name), E_INVALIDARG);
        EXPECT_EQ(wiasWritePropLong(context, WIA_IPA_FORMAT, 1), E_INVALIDARG) << "no number";
        EXPECT_EQ(wiasReadMultiple(context, 0x7FFFFFFF, &spec, &value, nullptr), E_INVALIDARG);
        value.vt = VT_VECTOR | VT_UI1;
        value.caub = {0xFFFFFFFFu, nullptr};
        EXPECT_EQ(wiasWriteMultiple(context, 1, &spec, &value), E_INVALIDARG);
    });
}

TEST_F(Wias, AContextThatIsNoneIsNeverFollowed) {
    BYTE* stale = nullptr;
    TestScript().m_read = [&](BYTE* context) { stale = context; };
    {
        CScanDevice other;
        std::vector<ScanProperty> read;
        ASSERT_EQ(Failure(m_client.Open("", other)), "");
        ASSERT_EQ(Failure(other.Read("Top", {}, read)), "");
    }
    BYTE* live = nullptr;
    InValidation([&](BYTE* context) { live = context; });
    LONG value = 0;
    IWiaDrvItem* item = nullptr;
    BYTE* found = nullptr;
    for (BYTE* context :
         {static_cast<BYTE*>(nullptr), stale, live + 1, reinterpret_cast<BYTE*>(&value)}) {
        EXPECT_EQ(wiasReadPropLong(context, WIA_IPS_XRES, &value, nullptr, FALSE), E_INVALIDARG);
        EXPECT_EQ(wiasGetDrvItem(context, &item), E_INVALIDARG);
        EXPECT_EQ(wiasGetRootItem(context, &found), E_INVALIDARG);
    }
    EXPECT_EQ(wiasGetRootItem(live, &found), S_OK);
}

TEST_F(Wias, ItemsFormATreeAndNeverARing) {
    auto* const driver = reinterpret_cast<IWiaMiniDrv*>(1);  // never called here
    const auto make = [&](LONG flags, const char16_t* name) {
        ComPtr<IWiaDrvItem> item;
        const TaskText text = MakeTaskText(name);
        wiasCreateDrvItem(flags, text.get(), text.get(), driver, 0, nullptr, item.Out());
        return item;
    };
    const auto root = make(76, u"R");
    const auto a = make(67, u"A");
    const auto b = make(WiaItemTypeFolder, u"B");
    EXPECT_EQ(b->AddItemToFolder(b.Get()), E_INVALIDARG) << "itself";
    EXPECT_EQ(a->AddItemToFolder(root.Get()), S_OK);
    EXPECT_EQ(b->AddItemToFolder(root.Get()), S_OK);
    EXPECT_EQ(a->AddItemToFolder(b.Get()), E_INVALIDARG) << "in a folder already";
    EXPECT_EQ(root->AddItemToFolder(b.Get()), E_INVALIDARG) << "a ring";
    EXPECT_EQ(root->UnlinkItemTree(WiaItemTypeDisconnected), S_OK);
    ComPtr<IWiaDrvItem> found;
    EXPECT_EQ(b->GetParentItem(found.Out()), S_FALSE);
}

}  // namespace
