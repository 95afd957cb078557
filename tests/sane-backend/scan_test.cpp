// Pages through the operations of SANE.
#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <thread>

#include "tests/sane-backend/sane_rig.h"

namespace {

using SaneScan = CSaneTest;

TEST_F(SaneScan, GivesThePictureInEveryMode) {
    LayAndOpenSane();
    const std::pair<const char*, int> modes[] = {{"Color", 24}, {"Gray", 8}, {"Lineart", 1}};
    for (const auto& [mode, bits] : modes) {
        SCOPED_TRACE(mode);
        SetText(SANE_NAME_SCAN_MODE, mode);
        EXPECT_EQ(Parameters().bytes_per_line, (67 * bits + 7) / 8) << "ahead of the start";
        EXPECT_EQ(Parameters().lines, 50);
        ExpectScan(m_picture, bits, bits == 24 ? 1 : 5000);
    }
}

TEST_F(SaneScan, GivesAPageOfTheFeederAStartAndEndsWithNoDocuments) {
    LoadSheets(3);
    ExpectSides({0, 2, 4});
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_NO_DOCS);
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_NO_DOCS);
    EXPECT_TRUE(IsFree());
    // As many as were wanted, both sides.
    Act("load-2");
    SetText(SANE_NAME_SCAN_SOURCE, "ADF Duplex");
    SetWord("pages", 3);
    ExpectSides({0, 1, 2});
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_NO_DOCS);
}

TEST_F(SaneScan, ASheetOfWhichThereWasAPreviewWaitsForItsScan) {
    LoadSheets(2);
    for (const std::size_t side : {0, 2}) {
        SetWord(SANE_NAME_PREVIEW, SANE_TRUE);
        ExpectSides({side});
        EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_NO_DOCS) << "it would come again and again";
        sane_cancel(m_scanner);
        SetText("tone", "Automatic");
        SetText("tone", "Brightness");
        SetWord(SANE_NAME_PREVIEW, SANE_FALSE);
        ExpectSides({side});
    }
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_NO_DOCS);
    EXPECT_EQ(State().feeds, 2u);
}

// The job ends, and the scanner is others': also when the program does nothing more.
TEST_F(SaneScan, ACancelBetweenTwoPagesGivesTheScannerBack) {
    LoadSheets(2);
    ExpectSides({0});
    sane_cancel(m_scanner);
    for (int i = 0; i < 5000 && !IsFree(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(IsFree());
    EXPECT_EQ(Text(SANE_NAME_SCAN_SOURCE), "ADF");
    ExpectSides({2});
    // A setting between two pages: the job begins anew with what is left.
    Act("load-2");
    SetText(SANE_NAME_SCAN_MODE, "Gray");
    ExpectScan(m_sides[0], 8);
    SetText(SANE_NAME_SCAN_MODE, "Color");
    ExpectSides({2});
    // What changes nothing leaves the job alone, and the sheet's back with it.
    Act("load-2");
    SetText(SANE_NAME_SCAN_SOURCE, "ADF Duplex");
    ExpectSides({0});
    EXPECT_EQ(sane_control_option(m_scanner, 999, SANE_ACTION_SET_VALUE, nullptr, nullptr),
              SANE_STATUS_INVAL);
    EXPECT_EQ(TrySet(SANE_NAME_SCAN_MODE, "Nothing"), SANE_STATUS_INVAL);
    SANE_Word dpi = 290;
    EXPECT_EQ(SetWord(SANE_NAME_SCAN_RESOLUTION, dpi), SANE_INFO_INEXACT);
    EXPECT_EQ(dpi, 300);
    ExpectSides({1, 2, 3});
}

// Its preview would need the sheet twice.
TEST_F(SaneScan, AnInactiveWishForColourKeepsNoSheetFromItsScan) {
    LoadSheets(1, "[adf2]\nmodeFlags=0\n");
    SetWord("auto-color", SANE_TRUE);
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_UNSUPPORTED);
    SetText(SANE_NAME_SCAN_MODE, "Gray");
    ExpectScan(m_sides[0], 8);
}

TEST_F(SaneScan, ACancelAtAnyMomentEndsThePageAndLeavesTheScannerUsable) {
    LayAndOpenSane();
    for (const SANE_Int moment : {0, 1, 9000, 100000, 3000000}) {
        SCOPED_TRACE(moment);
        SetWord(SANE_NAME_SCAN_RESOLUTION, 300);
        SetMm(SANE_NAME_SCAN_BR_X, 215.9);
        SetMm(SANE_NAME_SCAN_BR_Y, 100);
        ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
        Bytes part(4096);
        for (SANE_Int all = 0, read = 0; all < moment; all += read)
            ASSERT_EQ(sane_read(m_scanner, part.data(), 4096, &read), SANE_STATUS_GOOD);
        sane_cancel(m_scanner);
        SANE_Int read = -1;
        EXPECT_EQ(sane_read(m_scanner, part.data(), 4096, &read), SANE_STATUS_CANCELLED);
        EXPECT_EQ(read, 0);
        SetPixels(67, 50);
        ExpectScan(m_picture);
    }
}

SANE_Handle g_toCancel = nullptr;

// While the program waits for lines that the scanner is slow to give.
TEST_F(SaneScan, ASignalsHandlerMayCancel) {
    InstallAndOpenSane("[behaviour]\nlinesPerSecond=40\n");
    SetMm(SANE_NAME_SCAN_BR_Y, 100);
    g_toCancel = m_scanner;
    struct sigaction action = {};
    action.sa_handler = [](int) { sane_cancel(g_toCancel); };
    sigaction(SIGUSR1, &action, nullptr);
    ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
    std::thread sender([reader = pthread_self()] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        pthread_kill(reader, SIGUSR1);
    });
    const auto begun = std::chrono::steady_clock::now();
    Bytes bytes;
    EXPECT_EQ(ReadRest(bytes), SANE_STATUS_CANCELLED);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5))
        << "the page takes 15";
    sender.join();
}

TEST_F(SaneScan, TheDescriptorTellsWhenThereIsSomethingToRead) {
    InstallAndOpenSane("[behaviour]\nlinesPerSecond=1000\n");
    SANE_Int fd = -1;
    EXPECT_EQ(sane_get_select_fd(m_scanner, &fd), SANE_STATUS_INVAL);
    EXPECT_EQ(sane_set_io_mode(m_scanner, SANE_TRUE), SANE_STATUS_INVAL);
    ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
    ASSERT_EQ(sane_get_select_fd(m_scanner, &fd), SANE_STATUS_GOOD);
    ASSERT_EQ(sane_set_io_mode(m_scanner, SANE_TRUE), SANE_STATUS_GOOD);
    // A call that doesn't wait says that there is nothing yet, and then the descriptor waits.
    std::size_t all = 0;
    int empty = 0;
    Bytes part(100000);
    for (SANE_Int read = -1;
         sane_read(m_scanner, part.data(), 100000, &read) == SANE_STATUS_GOOD;) {
        all += static_cast<std::size_t>(read);
        pollfd wait = {fd, POLLIN, 0};
        empty += read == 0;
        EXPECT_TRUE(read > 0 || poll(&wait, 1, 10000) == 1);
    }
    EXPECT_EQ(all, static_cast<std::size_t>(Parameters().bytes_per_line * Parameters().lines));
    EXPECT_GT(empty, 0);
}

TEST_F(SaneScan, FailuresAreToldInItsTerms) {
    const struct {
        const char* ini;  // behind the choice of the source
        const char* act;
        const char* source;
        SANE_Status status;
    } faults[] = {
        {"", "unload", "ADF", SANE_STATUS_NO_DOCS},
        {"", "open-hatch", "ADF", SANE_STATUS_COVER_OPEN},
        {"", "", "ADF", SANE_STATUS_JAMMED},
        {"[faults]\nStartScan=1+:12\n", "", "Flatbed", SANE_STATUS_IO_ERROR},
        {"[faults]\nLockScanner=1+:5\n", "", "Flatbed", SANE_STATUS_DEVICE_BUSY},
    };
    Install(Options());
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.status);
        std::filesystem::remove(m_folder + "/state");
        const std::string plain = "[feeder]\nsheets=2\n[behaviour]\njamAtSheet=2\n";
        SetIni(plain);
        m_scanner = OpenAnother();
        SetText(SANE_NAME_SCAN_SOURCE, fault.source);
        SetIni(plain + fault.ini);
        if (*fault.act)
            Act(fault.act);
        SANE_Status status = SANE_STATUS_GOOD;
        for (int page = 1; page <= 2 && status == SANE_STATUS_GOOD; ++page) {
            status = sane_start(m_scanner);
            Bytes bytes;
            EXPECT_EQ(status == SANE_STATUS_GOOD ? ReadRest(bytes) : SANE_STATUS_EOF,
                      SANE_STATUS_EOF);
        }
        EXPECT_EQ(status, fault.status);
        SANE_Int read = -1;
        BYTE byte = 0;
        EXPECT_EQ(sane_read(m_scanner, &byte, 1, &read), SANE_STATUS_INVAL);
        sane_close(m_scanner);
        SetIni({});
    }
}

TEST_F(SaneScan, APageThatBreaksOffEndsWithTheReasonBehindItsLastLine) {
    LoadSheets(2, "[behaviour]\njamAtLine=30\n");
    ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
    Bytes bytes;
    EXPECT_EQ(ReadRest(bytes), SANE_STATUS_JAMMED);
    EXPECT_EQ(bytes.size(), 64u * 3 * 60);
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_JAMMED);
    // With the sheet gone all is well.
    SetIni("[feeder]\nsheets=1\npage1=side0.bmp\n");
    Act("clear-jam");
    Act("load");
    ExpectSides({0});
    // The scanner is gone in the middle of a page.
    SetText(SANE_NAME_SCAN_SOURCE, "Flatbed");
    SetMm(SANE_NAME_SCAN_BR_Y, 297);
    SetIni("[faults]\nReadScan=2+:12\n");
    ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
    EXPECT_EQ(ReadRest(bytes), SANE_STATUS_IO_ERROR);
    SetIni({});
}

TEST_F(SaneScan, SeveralHandlesGoTheirOwnWaysAndNoneNeedsToBeClosed) {
    LayAndOpenSane();
    const SANE_Handle first = m_scanner;
    m_scanner = OpenAnother();
    ASSERT_NE(m_scanner, first);
    EXPECT_EQ(Word(SANE_NAME_SCAN_RESOLUTION), 150);
    SetText(SANE_NAME_SCAN_MODE, "Gray");
    ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
    EXPECT_EQ(sane_start(first), SANE_STATUS_DEVICE_BUSY);
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_DEVICE_BUSY) << "in mid-page";
    SANE_Word dpi = 300;
    EXPECT_EQ(TrySet(SANE_NAME_SCAN_RESOLUTION, &dpi), SANE_STATUS_DEVICE_BUSY);
    EXPECT_EQ(Text(SANE_NAME_SCAN_MODE), "Gray") << "can be asked for";
    sane_close(m_scanner);
    m_scanner = first;
    ExpectScan(m_picture);
    // The page of another one is left to sane_exit.
    ASSERT_EQ(sane_start(OpenAnother()), SANE_STATUS_GOOD);
}

TEST_F(SaneScan, CallsThatMakeNoSenseAreRefused) {
    InstallAndOpenSane();
    SANE_Handle none = nullptr;
    EXPECT_EQ(sane_open("no such scanner", &none), SANE_STATUS_INVAL);
    EXPECT_EQ(sane_open("", nullptr), SANE_STATUS_INVAL);
    EXPECT_EQ(sane_get_devices(nullptr, SANE_TRUE), SANE_STATUS_INVAL);
    BYTE byte = 0;
    SANE_Int number = 0;
    SANE_Parameters parameters;
    int stranger = 0;
    for (const SANE_Handle handle :
         {static_cast<SANE_Handle>(nullptr), static_cast<SANE_Handle>(&stranger)}) {
        EXPECT_EQ(sane_start(handle), SANE_STATUS_INVAL);
        EXPECT_EQ(sane_read(handle, &byte, 1, &number), SANE_STATUS_INVAL);
        EXPECT_EQ(sane_get_parameters(handle, &parameters), SANE_STATUS_INVAL);
        EXPECT_EQ(sane_get_option_descriptor(handle, 0), nullptr);
        EXPECT_EQ(sane_control_option(handle, 0, SANE_ACTION_GET_VALUE, &number, nullptr),
                  SANE_STATUS_INVAL);
        EXPECT_EQ(sane_set_io_mode(handle, SANE_TRUE), SANE_STATUS_INVAL);
        EXPECT_EQ(sane_get_select_fd(handle, &number), SANE_STATUS_INVAL);
        sane_cancel(handle);
        sane_close(handle);
    }
    EXPECT_EQ(sane_read(m_scanner, &byte, 1, &number), SANE_STATUS_INVAL) << "before a start";
    sane_cancel(m_scanner);
    EXPECT_EQ(sane_get_parameters(m_scanner, nullptr), SANE_STATUS_INVAL);
    ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
    EXPECT_EQ(sane_read(m_scanner, nullptr, 1, &number), SANE_STATUS_INVAL);
    EXPECT_EQ(sane_read(m_scanner, &byte, 1, nullptr), SANE_STATUS_INVAL);
    EXPECT_EQ(sane_read(m_scanner, &byte, -1, &number), SANE_STATUS_INVAL);
    EXPECT_EQ(sane_read(m_scanner, &byte, 0, &number), SANE_STATUS_GOOD);
    EXPECT_EQ(sane_get_select_fd(m_scanner, nullptr), SANE_STATUS_INVAL);
    sane_exit();
    EXPECT_EQ(sane_start(m_scanner), SANE_STATUS_INVAL);
    EXPECT_EQ(sane_open("", &none), SANE_STATUS_INVAL);
}

}  // namespace
