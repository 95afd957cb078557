// Pages that are pulled, by readers of every kind.
#include <thread>

#include "service/page_reader.h"
#include "tests/service/service_rig.h"

namespace {

class PageReader : public COpenServiceTest {
  protected:
    void SetUp() override {
        COpenServiceTest::SetUp();
        ASSERT_EQ(Failure(m_device.Write("Root", {{WIA_DPS_DOCUMENT_HANDLING_SELECT, FEEDER}})),
                  "");
    }
    void TearDown() override {
        static_cast<void>(m_reader.End());
        COpenServiceTest::TearDown();
    }
    void Start(int sheets, int pages = 0) {
        TestScript().m_sheets = sheets;
        ASSERT_EQ(Failure(m_reader.Start(m_device, "Top", pages)), "");
    }
    // The page's bytes from here on, in pieces.
    ScanStatus ReadRest(std::size_t piece, std::vector<BYTE>& bytes) {
        std::vector<BYTE> part(piece);
        for (;;) {
            std::size_t read = 0;
            const ScanStatus status = m_reader.Read(part.data(), piece, read);
            EXPECT_LE(read, piece);
            if (status.code != S_OK || read == 0)
                return status;
            bytes.insert(bytes.end(), part.begin(), part.begin() + static_cast<long>(read));
        }
    }
    void ExpectWholePages(int pages) {
        Start(pages);
        for (int number = 1; number <= pages; ++number) {
            ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
            ASSERT_TRUE(m_page);
            EXPECT_EQ(m_page->number, number);
            std::vector<BYTE> bytes;
            ASSERT_EQ(Failure(ReadRest(std::size_t{1} << (3 * number), bytes)), "");
            ExpectPicture(bytes);
        }
        ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
        EXPECT_FALSE(m_page);
        int scanned = 0;
        EXPECT_EQ(Failure(m_reader.End(&scanned)), "");
        EXPECT_EQ(scanned, pages);
    }

    CPageReader m_reader;
    std::optional<ScanPage> m_page;
    std::vector<BYTE> m_bytes;
};

TEST_F(PageReader, APageAfterTheOtherIsReadInPiecesOfAnySize) {
    ExpectWholePages(4);
    Start(2, 1);
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    ASSERT_EQ(Failure(ReadRest(1 << 20, m_bytes)), "");
    const auto write = [this] { return m_device.Write("Top", {{WIA_IPS_XRES, 200}}).code; };
    for (int i = 0; i < 5000 && write() == WIA_ERROR_BUSY; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(write(), S_OK) << "free behind the last page that was asked for";
}

TEST_F(PageReader, TheScanKeepsOneBandAheadAndFeedsNoSheetUnasked) {
    std::atomic<int> messages = 0;
    TestScript().m_acquire = [&](BYTE*, MINIDRV_TRANSFER_CONTEXT* transfer) {
        --TestScript().m_sheets;
        return DeliverTestPicture(transfer, [&] { ++messages; });
    };
    Start(3);
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    while (messages < 2)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(messages, 2) << "the header and the first rows are through, the next ones wait";
    ASSERT_EQ(Failure(ReadRest(100, m_bytes)), "");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(TestScript().m_sheets, 2) << "one page was asked for";
    // What nobody reads of a page is passed over.
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    EXPECT_EQ(m_page->number, 3);
    m_bytes.clear();
    ASSERT_EQ(Failure(ReadRest(100, m_bytes)), "");
    ExpectPicture(m_bytes);
}

TEST_F(PageReader, ACancelOrAnEndAtAnyMomentLeavesTheDeviceUsable) {
    // The first step asks for the page, each further one reads a piece; behind the page's end comes
    // the second page.
    const auto step = [this](int number) {
        std::size_t read = 0;
        BYTE piece[5000];
        ScanStatus status =
            number == 1 ? m_reader.NextPage(m_page) : m_reader.Read(piece, sizeof(piece), read);
        return number > 1 && status.code == S_OK && read == 0 ? m_reader.NextPage(m_page) : status;
    };
    for (int moment = 0; moment < 22; ++moment) {
        for (const bool cancels : {true, false}) {
            SCOPED_TRACE(moment);
            Start(2);
            for (int i = 1; i <= moment; ++i)
                ASSERT_EQ(Failure(step(i)), "");
            if (cancels) {
                m_reader.Cancel();
                EXPECT_EQ(step(2).code, S_FALSE);
                EXPECT_EQ(step(1).code, S_FALSE);
            }
            EXPECT_EQ(m_reader.End().code, S_FALSE);
        }
    }
    ExpectWholePages(1);
}

TEST_F(PageReader, OneThatIsAbandonedEndsTheScanAlsoOfADeviceThatIsClosed) {
    TestScript().m_sheets = 2;
    ASSERT_EQ(Failure(CPageReader().Start(m_device, "Top", 0)), "");
    Start(2);
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    m_device.Close();
    EXPECT_EQ(Failure(ReadRest(100, m_bytes)), "");
    static_cast<void>(m_reader.End());
    EXPECT_EQ(TestScript().m_objects, 0) << "the device went with its scan";
}

TEST_F(PageReader, AWaitForRowsEndsWhenAnotherThreadCancels) {
    TestScript().m_acquire = [](BYTE*, MINIDRV_TRANSFER_CONTEXT* transfer) {
        HRESULT hr = DeliverTestPicture(transfer, {}, 1);
        while (hr == S_OK)  // it never comes to a row
            hr = transfer->pIWiaMiniDrvCallBack->MiniDrvCallback(IT_MSG_STATUS, 4, 0, 0, 0,
                                                                 transfer, 0);
        return hr;
    };
    Start(1);
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    std::thread other([this] { m_reader.Cancel(); });
    EXPECT_EQ(ReadRest(10, m_bytes).code, S_FALSE);
    other.join();
}

TEST_F(PageReader, AFailureComesBehindTheBytesThatWereThere) {
    constexpr HRESULT kJam = MakeResult(0x8004000Au);
    TestScript().m_acquire = [](BYTE*, MINIDRV_TRANSFER_CONTEXT* transfer) {
        const HRESULT hr = DeliverTestPicture(transfer, {}, 2);
        return FAILED(hr) ? hr : kJam;
    };
    Start(1);
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    EXPECT_EQ(ReadRest(777, m_bytes).code, kJam);
    EXPECT_EQ(m_bytes.size(), 304u * 30) << "the whole rows of the band";
    EXPECT_EQ(m_reader.NextPage(m_page).code, kJam) << "and it stays so";
    EXPECT_EQ(m_reader.End().code, kJam);
}

TEST_F(PageReader, MeanwhileTheDeviceTurnsOthersAwayAndNobodyHangs) {
    CScanDevice second;
    ASSERT_EQ(Failure(m_client.Open("", second)), "");
    Start(1);
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    EXPECT_EQ(m_device.Write("Top", {{WIA_IPS_XRES, 200}}).code, WIA_ERROR_BUSY);
    CPageReader other;
    EXPECT_EQ(other.Start(second, "Top").code, WIA_ERROR_BUSY);
    const int ended = TestScript().Count("drvUnInitializeWia");
    second.Close();
    EXPECT_EQ(TestScript().Count("drvUnInitializeWia"), ended) << "not beside the scan";
    EXPECT_EQ(Failure(ReadRest(5000, m_bytes)), "");
    ExpectPicture(m_bytes);
    static_cast<void>(m_reader.End());
    EXPECT_EQ(TestScript().Count("drvUnInitializeWia"), ended + 1);
}

TEST_F(PageReader, WhatIsNoScanIsRefused) {
    EXPECT_EQ(m_reader.NextPage(m_page).code, E_UNEXPECTED);
    EXPECT_EQ(ReadRest(1, m_bytes).code, E_UNEXPECTED);
    EXPECT_EQ(m_reader.End().code, E_UNEXPECTED);
    Start(1);
    ASSERT_EQ(Failure(m_reader.NextPage(m_page)), "");
    EXPECT_EQ(ReadRest(0, m_bytes).code, E_INVALIDARG);
    ASSERT_EQ(Failure(m_reader.Start(m_device, "Bottom")), "") << "in place of the one before";
    EXPECT_EQ(m_reader.NextPage(m_page).code, E_INVALIDARG);
}

}  // namespace
