// What a client may write to an item, and what is left when it may not.
#include "service/property_rules.h"
#include "tests/service/service_rig.h"

namespace {

class Properties : public CServiceTest {
  protected:
    void SetUp() override {
        CServiceTest::SetUp();
        InstallAndOpen();
    }
    // All values and limits of both items, as one text.
    std::string Everything() {
        std::string text;
        for (const char* item : {"Root", "Top"}) {
            std::vector<ScanProperty> properties;
            EXPECT_TRUE(m_device.Read(item, {}, properties).Ok());
            for (const ScanProperty& p : properties)
                text += p.name + '=' + ShownValue(p.value) + '[' + std::to_string(p.valid.min) +
                        ',' + std::to_string(p.valid.max) + "]\n";
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
    ScanProperty readOnly = range;
    readOnly.access = WIA_PROP_READ;
    const struct {
        const ScanProperty& property;
        PropertyValue value;
        const char* words;  // none: it is taken
    } cases[] = {
        {range, 1010, "outside the range from -1000 to 1000"},
        {range, 995, "no multiple of 10 above -1000"},
        {range, std::string("0"), "takes a number, not a text"},
        {list, 200, nullptr},
        {list, 300, "300 is none of its values: 100, 200"},
        {flags, 8, "bits other than those of 196615"},
        {text, std::string("any"), nullptr},
        {text, std::string(5000, 'x'), "at most 4096 bytes"},
        {bytes, std::vector<BYTE>{1, 2, 3, 4}, nullptr},
        {bytes, std::vector<BYTE>{1, 2, 3}, "has 4 bytes, not 3"},
        {readOnly, 0, "can't be written"},
    };
    for (const auto& c : cases) {
        const ScanStatus status = CheckWrite(c.property, c.value);
        EXPECT_EQ(status.Ok(), c.words == nullptr) << status.text;
        EXPECT_NE(status.text.find(c.words ? c.words : ""), std::string::npos) << status.text;
        EXPECT_EQ(status.text.rfind("Knob: ", 0) == 0, c.words != nullptr);
    }
}

TEST_F(Properties, ARefusalByTheDriverLeavesNoTraceOnAnyItem) {
    ASSERT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_XPOS, 50}})), "");
    const std::string before = Everything();
    std::vector<LONG> validated;
    TestScript().m_validate = [&](BYTE* context, ULONG, const PROPSPEC*) {
        LONG resolution = 0;
        wiasReadPropLong(context, WIA_IPS_XRES, &resolution, nullptr, TRUE);
        validated.push_back(resolution);
        BYTE* root = nullptr;
        wiasGetRootItem(context, &root);
        wiasWritePropLong(root, WIA_DPS_DOCUMENT_HANDLING_STATUS, 99);
        return resolution == 200 ? MakeResult(0x80040007u) : S_OK;
    };
    const ScanStatus status =
        m_device.Write("Top", {{WIA_IPS_BRIGHTNESS, 10}, {WIA_IPS_XRES, 200}});
    EXPECT_EQ(status.code, MakeResult(0x80040007u)) << "the driver's own code";
    EXPECT_NE(status.text.find("Horizontal Resolution = 200"), std::string::npos) << status.text;
    EXPECT_EQ(Everything(), before);
    EXPECT_EQ(validated, (std::vector<LONG>{200, 100}))
        << "the driver's own state follows the values back";
    EXPECT_EQ(m_device.Write("Top", {{WIA_IPS_BRIGHTNESS, 10}, {WIA_IPS_XPOS, 851}}).code,
              E_INVALIDARG);
    EXPECT_EQ(validated.size(), 2u) << "the driver isn't troubled with a value out of its range";

    std::vector<ScanProperty> made;
    ASSERT_EQ(Failure(m_device.Try("Top", {{WIA_IPS_XRES, 400}}, made)), "");
    EXPECT_EQ(std::count_if(made.begin(), made.end(),
                            [](const ScanProperty& p) {
                                return p.id == WIA_IPS_XPOS && p.value == PropertyValue(200);
                            }),
              1)
        << "a trial tells what would be";
    EXPECT_EQ(Everything(), before) << "and keeps nothing";
}

TEST_F(Properties, AReadHasTheDriverAskTheDeviceFirst) {
    TestScript().m_read = [](BYTE* context) {
        wiasWritePropLong(context, WIA_DPS_DOCUMENT_HANDLING_STATUS, FEED_READY);
    };
    EXPECT_EQ(Number(WIA_DPS_DOCUMENT_HANDLING_STATUS, "Root"), FEED_READY);
    TestScript().Fail("drvReadItemProperties", MakeResult(0x80040007u), 1);
    std::vector<ScanProperty> read;
    EXPECT_EQ(m_device.Read("Root", {}, read).code, MakeResult(0x80040007u));
    EXPECT_TRUE(read.empty());
    TestScript().Fail("drvReadItemProperties", E_NOTIMPL, 1);
    EXPECT_TRUE(m_device.Read("Root", {}, read).Ok()) << "a driver need not have it";
    EXPECT_EQ(m_device.Read("Root", {WIA_IPS_XRES}, read).code, E_INVALIDARG);
}

}  // namespace
