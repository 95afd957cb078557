// The engine's accessor to an item.

#include "frontend/item_properties.h"

#include <gtest/gtest.h>

#include "tests/support/item_store.h"

namespace {

TEST(ItemProperties, ReadWhatTheItemLacksFromTheRootAndWriteToTheItem) {
    CItemStore store;
    store.root.longs = {{1, 11}, {2, 22}};
    store.root.records = {{5, {7, 8}}};
    store.top.longs = {{1, 111}};
    CItemProperties properties;
    LONG value = 0;
    EXPECT_EQ(properties.ReadLong(1, &value), E_POINTER);
    ASSERT_EQ(properties.Attach(store.top.Context()), S_OK);
    EXPECT_EQ(properties.ReadLong(1, &value), S_OK);
    EXPECT_EQ(value, 111);
    EXPECT_EQ(properties.ReadLong(2, &value), S_OK);
    EXPECT_EQ(value, 22);
    BYTE record[2] = {};
    EXPECT_EQ(properties.ReadBin(5, 2, record), S_OK);
    EXPECT_EQ(record[1], 8);
    for (const ULONG wrong : {1u, 3u})
        EXPECT_EQ(properties.ReadBin(5, wrong, record), E_INVALIDARG);
    EXPECT_EQ(properties.ReadBin(9, 2, record), E_INVALIDARG);
    EXPECT_EQ(properties.WriteLong(2, 5), S_OK);
    EXPECT_EQ(store.root.longs[2], 22);
    EXPECT_EQ(store.top.longs[2], 5);
}

}  // namespace
