// The engine's accessor to an item.

#include "frontend/item_properties.h"

#include <gtest/gtest.h>

#include "platform/com.h"
#include "tests/support/item_store.h"

namespace {

TEST(ItemProperties, ReadWhatTheItemLacksFromTheRoot) {
    CItemStore store;
    store.root.longs = {{1, 11}, {2, 22}};
    store.root.texts = {{3, u"root"}};
    store.root.guids = {{4, WiaImgFmt_BMP}};
    store.root.records = {{5, {7, 8}}};
    store.top.longs = {{1, 111}};
    store.top.texts = {{6, u"top"}};
    CItemProperties properties;
    EXPECT_EQ(properties.Attach(nullptr), E_INVALIDARG);
    LONG value = 0;
    EXPECT_EQ(properties.ReadLong(1, &value), E_POINTER);
    BYTE record[2] = {};
    EXPECT_EQ(properties.ReadBin(5, 2, record), E_POINTER);
    EXPECT_EQ(properties.WriteLong(1, 1), E_POINTER);
    EXPECT_EQ(properties.WriteGuid(4, WiaImgFmt_BMP), E_POINTER);

    ASSERT_EQ(properties.Attach(store.top.Context()), S_OK);
    EXPECT_EQ(properties.ReadLong(1, &value), S_OK);
    EXPECT_EQ(value, 111);
    EXPECT_EQ(properties.ReadLong(2, &value), S_OK);
    EXPECT_EQ(value, 22);
    EXPECT_EQ(properties.ReadLong(9, &value), E_INVALIDARG) << "nowhere";
    EXPECT_EQ(value, 22);
    EXPECT_EQ(properties.ReadLong(1, nullptr), E_INVALIDARG);
    for (const auto& [id, text] : {std::pair{DWORD{3}, u"root"}, {DWORD{6}, u"top"}}) {
        BSTR read = nullptr;
        EXPECT_EQ(properties.ReadString(id, &read), S_OK);
        EXPECT_EQ(std::u16string(read, SysStringLen(read)), text);
        SysFreeString(read);
    }
    GUID guid = {};
    EXPECT_EQ(properties.ReadGuid(4, &guid), S_OK);
    EXPECT_EQ(guid, WiaImgFmt_BMP);
    EXPECT_EQ(properties.ReadBin(5, 2, record), S_OK);
    EXPECT_EQ(record[0], 7);
    EXPECT_EQ(record[1], 8);
    EXPECT_EQ(properties.ReadBin(9, 2, record), E_INVALIDARG);
    EXPECT_EQ(properties.ReadBin(5, 2, nullptr), E_INVALIDARG);
}

TEST(ItemProperties, WriteToTheItemAlone) {
    CItemStore store;
    store.root.longs = {{2, 22}};
    CItemProperties properties;
    ASSERT_EQ(properties.Attach(store.top.Context()), S_OK);
    EXPECT_EQ(properties.WriteLong(2, 5), S_OK);
    EXPECT_EQ(store.root.longs[2], 22);
    EXPECT_EQ(store.top.longs[2], 5);
    EXPECT_EQ(properties.WriteGuid(4, WiaImgFmt_BMP), S_OK);
    EXPECT_EQ(store.top.guids[4], WiaImgFmt_BMP);
    EXPECT_EQ(properties.WriteString(3, u"text"), S_OK);
    EXPECT_TRUE(store.top.texts.empty());
    store.top.failingWrites[2] = E_UNEXPECTED;
    EXPECT_EQ(properties.WriteLong(2, 6), E_UNEXPECTED);
}

}  // namespace
