// Sheets, sides, jobs and what goes wrong with paper.
#include "tests/simulator/sim_rig.h"

namespace {

constexpr int kSheetWidth = 12;
constexpr int kSheetHeight = 30;

// A device whose feeder holds small one-coloured sheets: sheet n has the value 10 n in front, and
// 10 n + 5 on its back.
class CFeederRig : public CDeviceRig {
  public:
    explicit CFeederRig(const std::string& model, int sheets, const std::string& more = {}) {
        std::string ini = "[simulator]\nmodel=" + model + "\n[behaviour]\nrecord=1\n" + more +
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
                     Bytes(kSheetWidth * kSheetHeight * 3, static_cast<std::uint8_t>(value)));
    }
};

class CFeederSession : public CSessionRig {
  public:
    explicit CFeederSession(const CDeviceRig& rig) : CSessionRig(rig) {
        m_adf = Facet<IOstrelADF2>(IID_IOstrelADF2);
        EXPECT_TRUE(m_adf);
        Prepare(OSTREL_SOURCE_FEEDER);
    }

    bool HasPaper() {
        BOOL paper = FALSE;
        EXPECT_EQ(m_adf->IsPaperInADF(Session(), &paper, Error()), S_OK) << Code();
        return paper != FALSE;
    }
    // 0 or the code.
    DWORD Feed(DWORD* length = nullptr) {
        DWORD own = 0;
        return FAILED(m_adf->ADF2PaperFeed(Session(), length ? length : &own, Error())) ? Code()
                                                                                        : 0;
    }
    DWORD SetMode(DWORD mode) {
        return FAILED(m_adf->SetADFMode(Session(), mode, Error())) ? Code() : 0;
    }
    void EndJob() { EXPECT_EQ(m_adf->EndADF2Job(Session(), Error()), S_OK) << Code(); }

    // Scans a side as the driver does, the mode behind the start. The value of its first pixel, or
    // minus the code that the start failed with.
    int ScanSide(DWORD mode, DWORD scanFlags = 0) {
        auto params = Window(0, 0, kSheetWidth, 100, 300, OSTREL_SOURCE_FEEDER);
        params.scanFlags = scanFlags;
        if (FAILED((*this)->StartScan(Session(), &params, Error())))
            return -static_cast<int>(Code());
        EXPECT_EQ(SetMode(mode), 0u);
        EXPECT_EQ((*this)->BeginRead(Session(), Error()), S_OK);
        Bytes data(kSheetWidth * 3 * 100);
        DWORD got = 0;
        EXPECT_EQ((*this)->ReadScan(Session(), data.data(), static_cast<DWORD>(data.size()), &got,
                                    &m_status),
                  S_OK);
        m_lines = got / (kSheetWidth * 3);
        EXPECT_EQ((*this)->EndScan(Session(), Error()), S_OK);
        return data[0];
    }
    DWORD Status() const { return m_status; }  // that ended the last side
    DWORD LinesRead() const { return m_lines; }

  private:
    ComPtr<IOstrelADF2> m_adf;
    DWORD m_status = 0;
    DWORD m_lines = 0;
};

TEST(Feeder, GivesItsSheetsInTheirOrderAndIsEmptyThen) {
    CFeederRig rig("SIM300A", 3);
    CFeederSession session(rig);
    for (int sheet = 1; sheet <= 3; ++sheet) {
        EXPECT_TRUE(session.HasPaper());
        DWORD length = 99;
        EXPECT_EQ(session.Feed(&length), 0u);
        EXPECT_EQ(length, 1u) << "30 lines at 300 dpi";
        EXPECT_TRUE(session.HasPaper()) << "a sheet in the slot counts, also the last one";
        EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH), 10 * sheet);
        EXPECT_EQ(session.Status(), OSTREL_ADF_END_OF_PAGE);
        EXPECT_EQ(session.LinesRead(), 30u);
    }
    EXPECT_FALSE(session.HasPaper());
    EXPECT_EQ(session.Feed(), OSTREL_ADF_EMPTY);
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH), -static_cast<int>(OSTREL_ADF_EMPTY));
    rig.Act("load");
    EXPECT_TRUE(session.HasPaper()) << "loaded anew";
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH), 10) << "a start feeds by itself";
    EXPECT_EQ(rig.State().feeds, 4u);
    EXPECT_EQ(rig.State().violations, 0u);
}

TEST(Feeder, TurnsEachSheetInDuplex) {
    // Through a slot the sheet counts as paper until its last side is scanned; on the glass only
    // its second side does.
    for (const char* model : {"SIM300A", "SIM500D"}) {
        const bool slot = std::string(model) == "SIM300A";
        CFeederRig rig(model, 2, "[device]\nlampWarmUpFlatbed=0\n");
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
        EXPECT_EQ(session.Status(), slot ? OSTREL_ADF_END_OF_PAGE : OSTREL_NO_ERROR);
        EXPECT_EQ(session.LinesRead(), slot ? 30u : 100u) << "the lid goes on around a laid sheet";
    }
}

TEST(Feeder, KeepsASheetThroughAPreview) {
    CFeederRig rig("SIM300A", 1);
    CFeederSession session(rig);
    EXPECT_EQ(session.Feed(), 0u);
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH, OSTREL_SCAN_PREVIEW), 10);
    EXPECT_TRUE(session.HasPaper());
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH), 10) << "the same sheet";
    EXPECT_FALSE(session.HasPaper());
}

TEST(Feeder, TakesAnUnscannedSheetBackWhenAJobEnds) {
    CFeederRig rig("SIM500D", 2, "[device]\nlampWarmUpFlatbed=0\n");
    {
        CFeederSession session(rig);
        EXPECT_EQ(session.Feed(), 0u);
        EXPECT_EQ(session.Feed(), 0u) << "the sheet that lies there stays";
        EXPECT_EQ(rig.State().feeds, 1u);
        session.EndJob();
        EXPECT_EQ(rig.State().sheetsInTray, 2u);
        EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_GLASS), 10);
        // A job that was given up between the sides: the back is lost with its sheet.
        EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_DUPLEX), 20);
        session.EndJob();
        EXPECT_FALSE(session.HasPaper());
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
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH),
              -static_cast<int>(OSTREL_ADF_HATCH_OPEN));
    rig.Act("close-hatch");
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH), 10);
    EXPECT_EQ(session.Feed(), OSTREL_ADF_JAMMED);
    EXPECT_EQ(session.Feed(), OSTREL_ADF_JAMMED) << "until somebody clears it";
    rig.Act("clear-jam");
    rig.Act("load-1");
    EXPECT_EQ(session.Feed(), 0u);
    rig.Act("unload");
    EXPECT_EQ(session.ScanSide(OSTREL_ADF_MODE_SHEET_THROUGH), 10) << "this sheet was in already";
    EXPECT_EQ(session.Feed(), OSTREL_ADF_EMPTY);
    EXPECT_EQ(session.SetMode(OSTREL_ADF_MODE_GLASS), OSTREL_INVALID_PARAMETER);
    EXPECT_EQ(session.SetMode(7), OSTREL_INVALID_PARAMETER);
}

TEST(Feeder, JamsInTheMiddleOfAPage) {
    CFeederRig rig("SIM300A", 1, "jamAtLine=20");
    CFeederSession session(rig);
    const auto params = Window(0, 0, kSheetWidth, 30, 300, OSTREL_SOURCE_FEEDER);
    ASSERT_EQ(session->StartScan(session.Session(), &params, session.Error()), S_OK);
    ASSERT_EQ(session->BeginRead(session.Session(), session.Error()), S_OK);
    Bytes data(kSheetWidth * 3 * 30);
    DWORD got = 0;
    EXPECT_EQ(session->ReadScan(session.Session(), data.data(), static_cast<DWORD>(data.size()),
                                &got, session.Error()),
              S_OK);
    EXPECT_EQ(got, kSheetWidth * 3 * 20u);
    EXPECT_EQ(session.Code(), OSTREL_NO_ERROR);
    EXPECT_EQ(session->ReadScan(session.Session(), data.data(), 100, &got, session.Error()),
              E_FAIL);
    EXPECT_EQ(got, 0u);
    EXPECT_EQ(session.Code(), OSTREL_ADF_JAMMED);
    EXPECT_EQ(session->EndScan(session.Session(), session.Error()), S_OK);
    rig.Act("load");
    EXPECT_EQ(session.Feed(), OSTREL_ADF_JAMMED);
}

}  // namespace
