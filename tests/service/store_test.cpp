// What a client may write to an item, and what is left when it may not.
#include <limits>

#include "tests/service/service_rig.h"

namespace {

class Properties : public CServiceTest {
  protected:
    void SetUp() override {
        CServiceTest::SetUp();
        InstallAndOpen();
    }
    // All values and valid values of both items, as one text.
    std::string Everything() {
        std::string text;
        for (const char* item : {"Root", "Top"}) {
            std::vector<ScanProperty> properties;
            EXPECT_TRUE(m_device.Read(item, {}, properties).Ok());
            for (const ScanProperty& p : properties) {
                text += p.name + '=' + std::to_string(p.value.index());
                if (const LONG* number = std::get_if<LONG>(&p.value))
                    text += ':' + std::to_string(*number);
                if (const std::string* word = std::get_if<std::string>(&p.value))
                    text += ':' + *word;
                text +=
                    '[' + std::to_string(p.valid.min) + ',' + std::to_string(p.valid.max) + "]\n";
            }
        }
        return text;
    }
};

struct WriteCase {
    const char* name;
    std::vector<PropertyWrite> writes;
    HRESULT result;
    const char* text;  // what the failure's text must tell
};

TEST_F(Properties, AWriteThatBreaksARuleIsRefusedWholeAndNamesTheLimit) {
    const std::vector<BYTE> three = {1, 2, 3};
    const WriteCase cases[] = {
        {"above", {{WIA_IPS_BRIGHTNESS, 1010}}, E_INVALIDARG, "from -1000 to 1000"},
        {"below",
         {{WIA_IPS_BRIGHTNESS, std::numeric_limits<LONG>::min()}},
         E_INVALIDARG,
         "Brightness"},
        {"between steps", {{WIA_IPS_BRIGHTNESS, 995}}, E_INVALIDARG, "multiple of 10"},
        {"off the list", {{WIA_IPS_XRES, 300}}, E_INVALIDARG, "100, 200, 400"},
        {"format off the list", {{WIA_IPA_FORMAT, GUID_NULL}}, E_INVALIDARG, "Format"},
        {"a bit that isn't valid", {{WIA_IPS_CUR_INTENT, 8}}, E_INVALIDARG, "196615"},
        {"all bits", {{WIA_IPS_CUR_INTENT, -1}}, E_INVALIDARG, "bits"},
        {"read-only", {{WIA_IPA_DEPTH, 24}}, STG_E_ACCESSDENIED, "Bits Per Pixel"},
        {"of the service's own", {{WIA_IPA_ITEM_NAME, std::string("x")}}, STG_E_ACCESSDENIED, ""},
        {"unknown", {{4711, 1}}, E_INVALIDARG, "4711"},
        {"a number's text", {{WIA_IPS_XRES, std::string("100")}}, E_INVALIDARG, "a number"},
        {"a text's number", {{WIA_IPA_ICM_PROFILE_NAME, 1}}, E_INVALIDARG, "a text"},
        {"no value", {{WIA_IPS_XRES, {}}}, E_INVALIDARG, "a number"},
        {"a short record", {{kTestBlob, three}}, E_INVALIDARG, "4 bytes"},
        {"an endless text",
         {{WIA_IPA_ICM_PROFILE_NAME, std::string(5000, 'x')}},
         E_INVALIDARG,
         "4096"},
        {"nothing at all", {}, E_INVALIDARG, ""},
        {"one wrong in many",
         {{WIA_IPS_BRIGHTNESS, 100}, {WIA_IPA_DATATYPE, 2}, {WIA_IPS_XPOS, 851}},
         E_INVALIDARG,
         "Horizontal Start Position"},
    };
    const std::string before = Everything();
    for (const WriteCase& c : cases) {
        const ScanStatus status = m_device.Write("Top", c.writes);
        EXPECT_EQ(status.code, c.result) << c.name;
        EXPECT_NE(status.text.find(c.text), std::string::npos) << c.name << ": " << status.text;
        EXPECT_EQ(Everything(), before) << c.name;
    }
    EXPECT_EQ(TestScript().Count("drvValidateItemProperties"), 0)
        << "the driver isn't troubled with any of them";
    EXPECT_EQ(m_device.Write("Bottom", {{WIA_IPS_XRES, 100}}).code, E_INVALIDARG);
}

TEST_F(Properties, ValuesAtTheEndsOfTheirLimitsAreTaken) {
    const std::vector<BYTE> four = {9, 8, 7, 6};
    EXPECT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_BRIGHTNESS, -1000},
                                             {WIA_IPS_XPOS, 850},
                                             {WIA_IPS_CUR_INTENT, 0x30007},
                                             {WIA_IPA_FORMAT, WiaImgFmt_BMP},
                                             {WIA_IPA_ICM_PROFILE_NAME, std::string("any")},
                                             {kTestBlob, four}})),
              "");
    std::vector<ScanProperty> read;
    ASSERT_EQ(Failure(m_device.Read("Top", {WIA_IPA_FORMAT, kTestBlob, WIA_IPS_XPOS}, read)), "");
    EXPECT_EQ(read[0].value, PropertyValue(WiaImgFmt_BMP));
    EXPECT_EQ(read[1].value, PropertyValue(four));
    EXPECT_EQ(read[2].value, PropertyValue(850));
    EXPECT_EQ(TestScript().Count("drvValidateItemProperties"), 1) << "one write, one validation";
}

TEST_F(Properties, TheDriverMakesTheOthersFit) {
    ASSERT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_XPOS, 50}})), "");
    ASSERT_EQ(Failure(m_device.Write("", {{WIA_IPS_XRES, 400}})), "") << "the image is meant";
    EXPECT_EQ(Number(WIA_IPS_YRES), 400);
    EXPECT_EQ(Number(WIA_IPS_XPOS), 200) << "50 x 400 / 100, by the value before the write";
    EXPECT_EQ(Number(WIA_IPS_XEXTENT), 3200) << "8.5 inch x 400 - 200";
    EXPECT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_XPOS, 3400}})), "") << "the range followed";
    EXPECT_NE(Failure(m_device.Write("Top", {{WIA_IPS_XPOS, 3401}})), "");
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

TEST_F(Properties, EachClientHasItsOwn) {
    CScanDevice other;
    ASSERT_EQ(Failure(m_client.Open("Test scanner", other)), "");
    EXPECT_EQ(TestScript().m_made, 1) << "one driver object for both";
    ASSERT_EQ(Failure(m_device.Write("Top", {{WIA_IPS_BRIGHTNESS, 70}})), "");
    std::vector<ScanProperty> read;
    ASSERT_EQ(Failure(other.Read("Top", {WIA_IPS_BRIGHTNESS}, read)), "");
    EXPECT_EQ(read[0].value, PropertyValue(0));
    m_device.Close();
    EXPECT_EQ(TestScript().Count("drvUnInitializeWia"), 1);
    EXPECT_EQ(Failure(other.Write("Top", {{WIA_IPS_BRIGHTNESS, 80}})), "");
}

}  // namespace
