// What a client may write to an item, and what is left when it may not.
#include "service/property_rules.h"
#include "tests/service/service_rig.h"

namespace {

class Properties : public COpenServiceTest {
  protected:
    // All values and limits of both items, as one text.
    std::string Everything() {
        std::string text;
        for (const char* item : {"Root", "Top"}) {
            std::vector<ScanProperty> properties;
            EXPECT_TRUE(m_device.Read(item, {}, properties).Ok());
            for (const ScanProperty& p : properties)
                text += ShownValue(p.value) + '<' + std::to_string(p.valid.max) + '\n';
        }
        return text;
    }
};

TEST(PropertyRules, ARefusalNamesThePropertyAndTheLimit) {
    const auto property = [](const PropertyValue& value, const ValidValues& valid) {
        constexpr ULONG kReadWrite = WIA_PROP_READ | WIA_PROP_WRITE;
        return ScanProperty{1, "Knob", TypeOf(value), kReadWrite, value, valid};
    };
    const ScanProperty range = property(0, {ValidKind::Range, -1000, 1000, 10, 0, {}, {}});
    const ScanProperty list = property(100, {ValidKind::List, 0, 0, 1, 0, {}, {100, 200}});
    const ScanProperty flags = property(0, {ValidKind::Flags, 0, 0, 1, 0x30007, {}, {}});
    const ScanProperty text = property(std::string("sRGB"), {});
    const ScanProperty bytes = property(std::vector<BYTE>(4), {});
    const struct {
        const ScanProperty& property;
        PropertyValue value;
        const char* words;
    } refused[] = {
        {range, 1010, "outside the range from -1000 to 1000"},
        {range, 995, "no multiple of 10 above -1000"},
        {range, std::string("0"), "takes a number, not a text"},
        {list, 300, "300 is none of its values: 100, 200"},
        {flags, 8, "bits other than those of 196615"},
        {text, std::string(5000, 'x'), "at most 4096 bytes"},
        {bytes, std::vector<BYTE>{1, 2, 3}, "has 4 bytes, not 3"},
    };
    for (const auto& c : refused) {
        const std::string told = CheckWrite(c.property, c.value).text;
        EXPECT_EQ(told.rfind("Knob: ", 0), 0u) << told;
        EXPECT_NE(told.find(c.words), told.npos) << told;
    }
    EXPECT_TRUE(CheckWrite(list, 200).Ok());
    EXPECT_TRUE(CheckWrite(bytes, std::vector<BYTE>{1, 2, 3, 4}).Ok());
}

TEST_F(Properties, ARefusalByTheDriverLeavesNoTraceOnAnyItem) {
    ASSERT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_XPOS, 50}})), "");
    const std::string before = Everything();
    std::vector<LONG> validated;
    TestScript().m_validate = [&](BYTE* context) {
        LONG resolution = 0;
        wiasReadPropLong(context, WIA_IPS_XRES, &resolution, nullptr, TRUE);
        validated.push_back(resolution);
        wiasSetValidRangeLong(context, WIA_IPS_XPOS, 0, 0, resolution * 17 / 2, 1);
        BYTE* root = nullptr;
        wiasGetRootItem(context, &root);
        wiasWritePropLong(root, WIA_DPS_DOCUMENT_HANDLING_STATUS, 99);
        return resolution == 200 ? MakeResult(0x80040007u) : S_OK;
    };
    const std::vector<PropertyWrite> refused = {{WIA_IPS_BRIGHTNESS, 10}, {WIA_IPS_XRES, 200}};
    EXPECT_EQ(m_device.Write("Top", refused).code, MakeResult(0x80040007u)) << "the driver's own";
    EXPECT_EQ(Everything(), before);
    EXPECT_EQ(validated, (std::vector<LONG>{200, 100}))
        << "the driver's own state follows the values back";
    const std::vector<PropertyWrite> beyond = {{WIA_IPS_BRIGHTNESS, 10}, {WIA_IPS_XPOS, 851}};
    EXPECT_EQ(m_device.Write("Top", beyond).code, E_INVALIDARG);
    EXPECT_EQ(validated.size(), 2u) << "the driver isn't troubled with a value out of its range";

    std::vector<ScanProperty> made;
    ASSERT_EQ(Failure(m_device.Try("Top", {{WIA_IPS_XRES, 400}}, made)), "");
    const auto position =
        std::find_if(made.begin(), made.end(), [](const auto& p) { return p.id == WIA_IPS_XPOS; });
    ASSERT_NE(position, made.end());
    EXPECT_EQ(position->valid.max, 3400) << "a trial tells what would be";
    EXPECT_EQ(Everything(), before) << "and keeps nothing";
}

}  // namespace
