// The engine's accessor to an item.

#include "frontend/item_properties.h"

#include <gtest/gtest.h>

#include "service/item_context.h"
#include "service/item_tree.h"

namespace {

TEST(ItemProperties, ReadWhatTheItemLacksFromTheRootAndWriteToTheItem) {
    ComPtr<CDrvItem> root, top;
    root.Attach(new CDrvItem(WiaItemTypeRoot | WiaItemTypeFolder, u"Root", u"Root", nullptr, 0));
    top.Attach(new CDrvItem(WiaItemTypeImage, u"Top", u"Root\\Top", nullptr, 0));
    ASSERT_EQ(top->AddItemToFolder(root.Get()), S_OK);
    const auto items = CItemSet::Create();
    ASSERT_EQ(items->TakeTree(root.Get()), S_OK);
    const auto fill = [](CItemContext& item, const std::vector<PropertyWrite>& values) {
        for (const PropertyWrite& value : values) {
            const CPropertyStore::Name name(value.id, std::to_string(value.id));
            item.Store().SetNames({&name, 1});
            item.Store().Write({&value, 1});
        }
    };
    fill(*items->Root(), {{1, 11}, {2, 22}, {5, std::vector<BYTE>{7, 8}}});
    fill(*items->Items()[1], {{1, 111}});
    CItemProperties properties;
    LONG value = 0;
    EXPECT_EQ(properties.ReadLong(1, &value), E_POINTER);
    ASSERT_EQ(properties.Attach(items->Items()[1]->Handle()), S_OK);
    for (const auto& [id, expected] : {std::pair{1u, 111}, {2u, 22}}) {
        EXPECT_EQ(properties.ReadLong(id, &value), S_OK);
        EXPECT_EQ(value, expected);
    }
    BYTE record[2] = {};
    EXPECT_EQ(properties.ReadBin(5, 2, record), S_OK);
    EXPECT_EQ(record[1], 8);
    for (const ULONG wrong : {1u, 3u})
        EXPECT_EQ(properties.ReadBin(5, wrong, record), E_INVALIDARG);
    EXPECT_EQ(properties.ReadBin(9, 2, record), E_INVALIDARG);
    EXPECT_EQ(properties.WriteLong(1, 5), S_OK);
    EXPECT_EQ(properties.ReadLong(1, &value), S_OK);
    EXPECT_EQ(value, 5);
    EXPECT_NE(properties.WriteLong(2, 5), S_OK) << "never to the root";
}

}  // namespace
