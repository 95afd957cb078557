// Jobs of the feeder, page by page.
#include "tests/driver/scan_rig.h"

namespace {

class Feeder : public CScanTest {
  protected:
    // Sheets of random pictures, one or two sides each. The second side of all is shorter.
    void Begin(unsigned sheets, LONG select, const std::string& behaviour = {}) {
        std::string ini = "[feeder]\nsheets=" + std::to_string(sheets) + '\n';
        for (unsigned i = 0; i < 2 * sheets; ++i) {
            m_sides.push_back(RandomPicture(64, i == 2 ? 30 : 60, 10 + i));
            const std::string name = "side" + std::to_string(i) + ".bmp";
            Lay(m_sides.back(), 300, name);
            ini += "page" + std::to_string(i / 2 + 1) + (i % 2 ? ".back=" : "=") + name + '\n';
        }
        InstallAndOpen(ini + "[behaviour]\nrecord=1\n" + behaviour);
        Select(select);
    }
    void SetPreview(LONG on) { Set({{WIA_DPS_PREVIEW, on}}, "Root"); }
    void Select(LONG select) {
        Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, select}}, "Root");
        Set({{WIA_IPS_XEXTENT, 64}});
    }
    // The call behind the last page, which the device doesn't hear of.
    void ExpectSpent() {
        EXPECT_TRUE(IsFree()) << "the job has ended with its last page";
        const std::string calls = Calls();
        CPages none;
        EXPECT_EQ(Scan(none, 1).code, WIA_ERROR_PAPER_EMPTY);
        EXPECT_EQ(none.m_calls, 0);
        EXPECT_EQ(Calls(), calls);
        EXPECT_EQ(Number(WIA_DPS_DOCUMENT_HANDLING_STATUS, "Root"), FLAT_READY);
    }

    std::vector<Picture> m_sides;
};

TEST_F(Feeder, GivesItsPagesUntilItIsEmpty) {
    Begin(3, FEEDER);
    EXPECT_EQ(Number(WIA_IPA_NUMBER_OF_LINES), 60);
    ExpectSheets({m_sides[0], m_sides[2], m_sides[4]}, 3);
    ExpectSpent();
    // Loaded anew it goes on, to the end of what is there.
    Act("load-2");
    ExpectSheets({m_sides[0], m_sides[2]});
    Act("load-3");
    EXPECT_EQ(Number(WIA_DPS_DOCUMENT_HANDLING_STATUS, "Root"), FEED_READY) << "a read asks";
    ExpectSheets({m_sides[0]}, 1);
    // A job that was left behind doesn't keep the device.
    Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED}}, "Root");
    EXPECT_TRUE(IsFree());
}

TEST_F(Feeder, GivesBothSidesFrontFirst) {
    Begin(2, DUPLEX);
    ExpectSheets(m_sides);
    Act("load-1");
    ExpectSheets({m_sides[0], m_sides[1]});
}

TEST_F(Feeder, LeavesTheOtherSheetsWhenCancelled) {
    Begin(2, FEEDER);
    const auto cancel = [this] {
        CPages pages;
        pages.m_stopAt = 2;
        EXPECT_EQ(Scan(pages, 0).code, S_FALSE);
        EXPECT_TRUE(IsFree()) << "nobody knows whether the job goes on";
    };
    cancel();
    ExpectSheets({m_sides[2]});
    Act("load-1");
    cancel();
    ExpectSpent();
}

TEST_F(Feeder, WithoutPaperHoldsNothing) {
    Begin(1, FLATBED);
    Act("unload");
    Select(FEEDER);
    EXPECT_EQ(Number(WIA_IPS_YEXTENT), 1755) << "the flatbed's is kept";
    CPages none;
    EXPECT_EQ(Scan(none, 1).code, WIA_ERROR_PAPER_EMPTY);
    EXPECT_TRUE(IsFree());
    SetIni("[faults]\nIsPaperInADF=1+:12\n");
    EXPECT_EQ(static_cast<std::uint32_t>(Scan(none, 1).code), 0x80040007u)
        << "not to know is not to be empty";
    EXPECT_EQ(Calls().find("StartScan"), std::string::npos);
    EXPECT_EQ(none.m_calls, 0);
}

TEST_F(Feeder, ThatFailsBetweenTwoPagesIsGivenBack) {
    Begin(2, FEEDER);
    ExpectSheets({m_sides[0]}, 1);
    Act("open-hatch");
    CPages none;
    EXPECT_EQ(static_cast<std::uint32_t>(Scan(none, 1).code), 0x8004000Eu);
    EXPECT_TRUE(IsFree());
    Act("close-hatch");
    ExpectSheets({m_sides[2]});
}

// The sheets behind it stay where they are.
TEST_F(Feeder, ThatJamsInMidPageEndsTheJob) {
    Begin(2, FEEDER, "jamAtLine=40\n");
    CPages pages;
    int scanned = -1;
    EXPECT_EQ(static_cast<std::uint32_t>(Scan(pages, 0, &scanned).code), 0x8004000Au);
    EXPECT_EQ(scanned, 0);
    EXPECT_EQ(pages.m_pages.size(), 1u);
    EXPECT_TRUE(IsFree());
    Act("clear-jam");  // the second sheet has fewer lines
    ExpectSheets({m_sides[2]});
}

// Also the last one, behind which the job would be over, and a back behind its front.
TEST_F(Feeder, KeepsASheetOfWhichThereWasAPreview) {
    Begin(2, FEEDER);
    for (const int side : {0, 2}) {
        SetPreview(1);
        ExpectSheets({m_sides[side]});
        ExpectSheets({m_sides[side]}, 1);
        SetPreview(0);
        EXPECT_FALSE(IsFree()) << "the sheet waits for its scan";
        ExpectSheets({m_sides[side]}, 1);
    }
    ExpectSpent();
    Act("load-1");
    Select(DUPLEX);
    SetPreview(1);
    ExpectSheets({m_sides[0]}, 1);
    SetPreview(0);
    ExpectSheets({m_sides[0], m_sides[1]});
    EXPECT_EQ(State().feeds, 3u);
}

TEST_F(Feeder, ThatKeepsNoSheetGivesNoPreview) {
    InstallAndOpen("[feeder]\nsheets=1\n[adf2]\nmodeFlags=0\n[behaviour]\nrecord=1\n");
    Select(FEEDER);
    SetPreview(1);
    CPages none;
    EXPECT_EQ(static_cast<std::uint32_t>(Scan(none, 1).code), 0x80040016u);
    EXPECT_EQ(Calls().find("StartScan"), std::string::npos);
    SetPreview(0);
    EXPECT_EQ(Failure(Scan(none, 1)), "");
    EXPECT_NE(Calls().find("StartScan"), std::string::npos);
}

}  // namespace
