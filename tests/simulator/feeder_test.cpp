// Sheets, sides, jobs and what goes wrong with paper.
#include "tests/simulator/sim_rig.h"

namespace {

constexpr int kSheetWidth = 12;
constexpr int kSheetHeight = 30;
constexpr DWORD kLineBytes = kSheetWidth * 3;

// A device whose feeder holds small one-coloured sheets: sheet n has the value 10 n in front, and
// 10 n + 5 on its back.
class CFeederRig : public CDeviceRig {
  public:
    CFeederRig(const std::string& model, int sheets, const std::string& behaviour = {}) {
        std::string ini = "[simulator]\nmodel=" + model + "\n[device]\nlampWarmUpFlatbed=0\n" +
                          "[behaviour]\n" + behaviour +
                          "\n[feeder]\nlid=0,0,0\nsheets=" + std::to_string(sheets) + '\n';
        for (int i = 1; i <= sheets; ++i) {
            const std::string page = "page" + std::to_string(i);
            AddSide(page + ".bmp", 10 * i);
            AddSide(page + "b.bmp", 10 * i + 5);
            ini += page + '=' + page + ".bmp\n" + page + ".back=" + page + "b.bmp\n";
        }
        SetIni(ini);
    }

  private:
    void AddSide(const std::string& name, int value) {
        WritePicture(Path() + '/' + name, kSheetWidth, kSheetHeight, 300,
                     Bytes(kLineBytes * kSheetHeight, static_cast<std::uint8_t>(value)));
    }
};

class CFeederSession : public CSessionRig {
  public:
    explicit CFeederSession(const CDeviceRig& rig) : CSessionRig(rig) {
        Prepare(OSTREL_SOURCE_FEEDER);
    }

    bool HasPaper() {
        BOOL paper = FALSE;
        EXPECT_EQ(Do(&IOstrelADF2::IsPaperInADF, &paper), 0u);
        return paper != FALSE;
    }
    DWORD Feed() { return Do(&IOstrelADF2::ADF2PaperFeed, &m_length); }
    DWORD SetMode(DWORD mode) { return Do(&IOstrelADF2::SetADFMode, mode); }
    void EndJob() { EXPECT_EQ(Do(&IOstrelADF2::EndADF2Job), 0u); }

    // Scans a side as the driver does, the mode behind the start. The value of its first pixel, or
    // minus the code that the start failed with.
    int ScanSide(DWORD mode = OSTREL_ADF_MODE_SHEET_THROUGH, DWORD scanFlags = 0) {
        auto params = Window(0, 0, kSheetWidth, 100, 300, OSTREL_SOURCE_FEEDER);
        params.scanFlags = scanFlags;
        if (const DWORD code = Do(&IOstrelDevice::StartScan, &params))
            return -static_cast<int>(code);
        EXPECT_EQ(SetMode(mode), 0u);
        EXPECT_EQ(Do(&IOstrelDevice::BeginRead), 0u);
        Bytes data(kLineBytes * 100);
        DWORD got = 0;
        m_status = Read(data.data(), static_cast<DWORD>(data.size()), &got);
        m_lines = got / kLineBytes;
        EXPECT_EQ(Do(&IOstrelDevice::EndScan), 0u);
        return data[0];
    }

    DWORD m_length = 99;  // of the sheet that was fed, tenths of an inch
    DWORD m_status = 0;   // that ended the last side
    DWORD m_lines = 0;    // of it
};

TEST(Feeder, MeasuresItsSheetsAndKeepsThatOfAPreview) {
    CFeederRig rig("SIM300A", 2);
    CFeederSession session(rig);
    EXPECT_EQ(session.Feed(), 0u);
    EXPECT_EQ(session.m_length, 1u) << "30 lines at 300 dpi";
    EXPECT_EQ(session.ScanSide(), 10);
    EXPECT_EQ(session.m_status, OSTREL_ADF_END_OF_PAGE);
    EXPECT_EQ(session.m_lines, 30u);
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH, OSTREL_SCAN_PREVIEW), 20)
        << "a start feeds by itself";
    EXPECT_TRUE(session.HasPaper()) << "a sheet in the slot counts, also the last one";
    EXPECT_EQ(session.ScanSide(), 20);
    EXPECT_EQ(session.Feed(), OSTREL_ADF_EMPTY);
    EXPECT_EQ(session.ScanSide(), -static_cast<int>(OSTREL_ADF_EMPTY));
    EXPECT_EQ(rig.State().violations, 0u);
}

TEST(Feeder, TurnsEachSheetInDuplex) {
    // Through a slot the sheet counts as paper until its last side is scanned; on the glass only
    // its second side does.
    for (const char* model : {"SIM300A", "SIM500D"}) {
        const bool slot = std::string(model) == "SIM300A";
        CFeederRig rig(model, 2);
        CFeederSession session(rig);
        for (int sheet = 1; sheet <= 2; ++sheet) {
            EXPECT_EQ(session.Feed(), 0u);
            EXPECT_EQ(session.HasPaper(), slot || sheet < 2) << model << sheet;
            EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_DUPLEX), 10 * sheet) << model;
            EXPECT_TRUE(session.HasPaper()) << "the second side is due";
            EXPECT_EQ(session.Feed(), 0u);
            EXPECT_EQ(rig.State().feeds, static_cast<unsigned>(sheet)) << "and nothing is fed";
            EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_DUPLEX), 10 * sheet + 5) << model;
        }
        EXPECT_FALSE(session.HasPaper());
        EXPECT_EQ(session.m_status, slot ? OSTREL_ADF_END_OF_PAGE : OSTREL_NO_ERROR);
        EXPECT_EQ(session.m_lines, slot ? 30u : 100u) << "the lid goes on around a laid sheet";
    }
}

TEST(Feeder, TakesAnUnscannedSheetBackWhenAJobEnds) {
    CFeederRig rig("SIM500D", 2);
    {
        CFeederSession session(rig);
        EXPECT_EQ(session.Feed(), 0u);
        session.EndJob();
        EXPECT_EQ(rig.State().sheetsInTray, 2u);
        EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_GLASS), 10);
        // A job that was given up between the sides: the back is lost with its sheet.
        EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_DUPLEX), 20);
        session.EndJob();
        rig.Act("load");
        EXPECT_EQ(session.Feed(), 0u);
    }
    CFeederSession next(rig);
    EXPECT_EQ(next.ScanSide(OSTREL_ADF_MODE_GLASS), 10) << "the session that had fed it is gone";
}

TEST(Feeder, FailsAsPaperDoes) {
    CFeederRig rig("SIM300A", 3, "jamAtSheet=2");
    CFeederSession session(rig);
    rig.Act("open-hatch");
    EXPECT_EQ(session.Feed(), OSTREL_ADF_HATCH_OPEN);
    EXPECT_EQ(session.ScanSide(), -static_cast<int>(OSTREL_ADF_HATCH_OPEN));
    rig.Act("close-hatch");
    EXPECT_EQ(session.ScanSide(), 10);
    EXPECT_EQ(session.Feed(), OSTREL_ADF_JAMMED);
    EXPECT_EQ(session.Feed(), OSTREL_ADF_JAMMED) << "until somebody clears it";
    rig.Act("clear-jam");
    rig.Act("load-1");
    EXPECT_EQ(session.Feed(), 0u);
    EXPECT_EQ(session.SetMode(OSTREL_ADF_MODE_GLASS), OSTREL_INVALID_PARAMETER);
}

}  // namespace
