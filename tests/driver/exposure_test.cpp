// Automatic exposure: a preview through the driver, and the scan with what it found.
#include <numeric>

#include "service/exposure.h"
#include "tests/driver/scan_rig.h"

namespace {

class Exposure : public CScanTest {
  protected:
    // Grays up to an eighth of full scale, with less blue.
    static Picture DarkPicture() {
        Picture picture = RandomPicture(600, 300);
        for (std::size_t i = 0; i < picture.samples.size(); ++i)
            picture.samples[i] = static_cast<BYTE>(i / 3 * 13 % 32 * (i % 3 == 2 ? 3 : 4) / 4);
        return picture;
    }
    CDeviceProperties Properties() {
        CDeviceProperties properties;
        EXPECT_EQ(Failure(CDeviceProperties::Read(m_device, properties)), "");
        return properties;
    }
    // Whatever it finds, the settings are those of before.
    std::optional<FoundExposure> Find(const AutoWish& wish, HRESULT code = S_OK) {
        const CDeviceProperties before = Properties();
        std::optional<FoundExposure> found;
        const ScanStatus status = FindExposure(m_device, wish, &m_cancel, found);
        EXPECT_EQ(status.code, code) << status.text;
        for (const PropertyChange& change : Properties().ChangesSince(before))
            ADD_FAILURE() << change.after.name << " has changed";
        return found;
    }
    double Brightness() {
        CPages pages;
        EXPECT_EQ(Failure(Scan(pages)), "");
        const Bytes& rows = pages.m_pages.at(0).rows;
        return std::accumulate(rows.begin(), rows.end(), 0.0) / static_cast<double>(rows.size());
    }

    std::atomic<bool> m_cancel = false;
};

// 18 % of the light is 118 when encoded, and so much is aimed at; the mean of encoded values lies
// below that, and blue behind. Without it the mean is that of half an eighth of the light, a
// quarter brighter by the usual white: 78 at most.
TEST_F(Exposure, OfADarkPictureMakesItBright) {
    OpenWith(DarkPicture(), 300, "[behaviour]\nrecord=1\n");
    SetWindow(600, 300, 33, 17, 1000, 255);
    // Neighbours stand for themselves: sharpened noise would be brighter.
    Set({{QL_PROP_SMOOTHING, 0}, {QL_PROP_SHARPEN_LEVEL, 5}});
    const double plain = Brightness();
    EXPECT_LT(plain, 78);
    for (const LONG medium : {TYMED_FILE, TYMED_CALLBACK}) {
        UseMedium(medium);
        const auto found = Find({.expose = true});
        ASSERT_TRUE(found && found->hasTone && found->hasColor);
        EXPECT_EQ(found->highlight, 100);
        // From yellow, (1, 1, 0.75), the correction leads towards blue.
        EXPECT_GT(-0.5 * found->hueX + 0.87 * found->hueY, 1);
        EXPECT_EQ(Failure(ApplyExposure(m_device, *found, {})), "");
    }
    EXPECT_NEAR(Brightness(), 105, 15);
    // 1000 pixels of 600 dpi are 125 of 75, for which this device scans twice as many.
    EXPECT_NE(Calls().find("source 0, 250 x 12"), std::string::npos) << "a quick look";
    Find({.tone = true, .color = true});
    m_cancel = true;
    EXPECT_FALSE(Find({.tone = true}, S_FALSE));
    EXPECT_TRUE(IsFree());
}

TEST_F(Exposure, KeepsTheSheetOfTheFeeder) {
    Lay(DarkPicture(), 300, "sheet.bmp");
    InstallAndOpen("[feeder]\nsheets=1\npage1=sheet.bmp\n");
    Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}}, "Root");
    Set({{WIA_IPS_XEXTENT, 600}});
    EXPECT_TRUE(Find({.tone = true}));
    CPages pages;
    EXPECT_EQ(Failure(Scan(pages, 0)), "");
    EXPECT_EQ(pages.m_pages.size(), 1u);
    EXPECT_EQ(State().feeds, 1u);
}

TEST_F(Exposure, FindsNothingWhereThereIsNothing) {
    OpenWith({64, Bytes(64 * 64 * 3, 90)});
    SetWindow(300, 300, 0, 0, 60, 60);
    EXPECT_FALSE(Find({.tone = true, .color = true})) << "one shade";
    SetMode(1);
    EXPECT_FALSE(Find({.tone = true, .color = true})) << "line art has no tones";
}

}  // namespace
