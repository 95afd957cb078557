// Pages on both media, whatever driver and client do.
#include <cstring>
#include <stdexcept>

#include "platform/com_ptr.h"
#include "service/page_count.h"
#include "tests/service/service_rig.h"

namespace {

class Transfer : public CServiceTest {
  protected:
    void SetUp() override {
        CServiceTest::SetUp();
        InstallAndOpen();
        m_folder = TestFolder() + "/pages";
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directory(m_folder);
    }
    void UseFiles(CPageStore& sink) {
        ASSERT_EQ(Failure(m_device.Write("Top", {{WIA_IPA_TYMED, TYMED_FILE}})), "");
        sink.m_folder = m_folder;
    }
    ScanStatus Scan(CPageStore& sink, ScanOptions options = {}) {
        return m_device.Scan("Top", options, sink, &m_scanned);
    }
    std::size_t FilesLeft() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(m_folder), {}));
    }

    std::string m_folder;
    int m_scanned = -1;
};

TEST_F(Transfer, APageComesAsWholeRowsBehindItsHeader) {
    CPageStore sink;
    ASSERT_EQ(Failure(Scan(sink)), "");
    EXPECT_EQ(m_scanned, 1);
    ASSERT_EQ(sink.m_pages.size(), 1u);
    EXPECT_EQ(sink.m_pages[0].info.biWidth, kTestWidth);
    EXPECT_EQ(sink.m_pages[0].info.biHeight, kTestLines);
    EXPECT_TRUE(sink.m_pages[0].topDown);
    ExpectPicture(sink.m_bytes[0]);
    EXPECT_EQ(sink.m_ended.size(), 1u);
    EXPECT_TRUE(std::is_sorted(sink.m_progress.begin(), sink.m_progress.end()));
    EXPECT_EQ(TestScript().Count("drvWriteItemProperties"), 1) << "the settings go ahead";
    EXPECT_EQ(TestScript().Count("drvLockWiaDevice"), TestScript().Count("drvUnLockWiaDevice"));
}

TEST_F(Transfer, ABufferHasTheSizeThatTheItemWantsWithinReason) {
    MINIDRV_TRANSFER_CONTEXT seen = {};
    LONG wanted = 0;
    TestScript().m_acquire = [&](BYTE*, MINIDRV_TRANSFER_CONTEXT* transfer) {
        seen = *transfer;
        std::memset(transfer->pTransferBuffer, 0, static_cast<std::size_t>(seen.lBufferSize));
        return DeliverTestPicture(transfer);
    };
    TestScript().m_read = [&](BYTE* context) {
        wiasWritePropLong(context, WIA_IPA_MIN_BUFFER_SIZE, wanted);
    };
    CPageStore sink;
    for (const auto& [wish, size] : {std::pair<LONG, LONG>{70000, 70000}, {-5, 65536}}) {
        wanted = wish;
        EXPECT_EQ(Number(WIA_IPA_MIN_BUFFER_SIZE), wish);
        ASSERT_EQ(Failure(Scan(sink)), "");
        EXPECT_EQ(seen.lBufferSize, size);
    }
    wanted = 0x7FFFFFFF;
    EXPECT_EQ(Number(WIA_IPA_MIN_BUFFER_SIZE), wanted);
    EXPECT_EQ(Scan(sink).code, WIA_ERROR_INVALID_DRIVER_RESPONSE);
}

TEST_F(Transfer, AFileAppearsWholeOrNotAtAll) {
    CPageStore sink;
    UseFiles(sink);
    const std::string file = m_folder + "/page1.bmp";
    WriteWholeFile(file, "what was there");
    TestScript().m_acquire = [](BYTE*, MINIDRV_TRANSFER_CONTEXT*) {
        return MakeResult(0x8004000Au);
    };
    EXPECT_EQ(Scan(sink).code, MakeResult(0x8004000Au));
    EXPECT_EQ(ReadWholeFile(file), "what was there");
    TestScript().m_acquire = nullptr;
    ASSERT_EQ(Failure(Scan(sink)), "");
    EXPECT_EQ(ReadWholeFile(file).size(), 40u + kTestStride * kTestLines);
    EXPECT_EQ(FilesLeft(), 1u);
    ASSERT_EQ(sink.m_ended.size(), 1u);
    EXPECT_EQ(sink.m_ended[0].file, file);

    sink.m_folder = m_folder + "/missing";
    TestScript().m_sheets = 1;
    const ScanStatus status = Scan(sink);
    EXPECT_EQ(status.code, MakeResult(0x80070003u));
    EXPECT_NE(status.text.find("/missing/page1.bmp"), std::string::npos) << status.text;
    sink.m_folder.clear();
    EXPECT_EQ(Scan(sink).code, E_INVALIDARG) << "no name";
    EXPECT_EQ(FilesLeft(), 1u);
}

TEST_F(Transfer, AFlagCancelsFromAnyThreadAtTheNextMessage) {
    std::atomic<bool> cancel = false;
    CPageStore sink;
    sink.m_onProgress = [&] { cancel = true; };
    const ScanStatus status = Scan(sink, {.cancel = &cancel});
    EXPECT_EQ(status.code, S_FALSE);
    EXPECT_EQ(status.text, "the scan was cancelled");
    EXPECT_EQ(sink.m_progress.size(), 1u);
    EXPECT_EQ(Scan(sink, {.cancel = &cancel}).code, S_FALSE) << "before it begins";
    EXPECT_EQ(sink.m_progress.size(), 1u);
    EXPECT_EQ(m_scanned, 0);
}

TEST(Pages, AreCountedByTheFeederTheOptionAndTheProperty) {
    EXPECT_EQ(PagesOfScan({}, {}, 0), 1) << "the glass has one";
    EXPECT_EQ(PagesOfScan(FLATBED, 7, 3), 1);
    EXPECT_EQ(PagesOfScan(FEEDER, 0, -1), 0) << "all";
    EXPECT_EQ(PagesOfScan(FEEDER, 2, -1), 2);
    EXPECT_EQ(PagesOfScan(FEEDER, {}, -1), 1) << "as the property's default";
    EXPECT_EQ(PagesOfScan(DUPLEX, 2, 0), 0) << "the option goes ahead of the property";
    EXPECT_EQ(PagesOfScan(DUPLEX, 2, 4), 4);
}

// A driver that sends what it shouldn't.
TEST_F(Transfer, NonsenseEndsThePageWithAClearResult) {
    using Send = std::function<HRESULT(MINIDRV_TRANSFER_CONTEXT*)>;
    const auto data = [](MINIDRV_TRANSFER_CONTEXT* t, LONG offset, LONG length) {
        return t->pIWiaMiniDrvCallBack->MiniDrvCallback(IT_MSG_DATA, 4, 0, offset, length, t, 0);
    };
    const auto header = [&](MINIDRV_TRANSFER_CONTEXT* t, LONG width, LONG height, WORD bits,
                            DWORD colors) {
        const BITMAPINFOHEADER info = {40, width, height, 1, bits, 0, 0, 0, 0, colors, 0};
        std::memcpy(t->pTransferBuffer, &info, sizeof(info));
        return data(t, 0, 40);
    };
    const Send sends[] = {
        [&](auto* t) { return data(t, 0, t->lBufferSize + 1); },
        [&](auto* t) { return data(t, 0, -1); },
        [&](auto* t) { return data(t, 4, 40); },
        [&](auto* t) { return header(t, 0, -1, 24, 0); },
        [&](auto* t) { return header(t, 0x7FFFFFFF, -1, 24, 0); },
        [&](auto* t) { return header(t, 10, std::numeric_limits<LONG>::min(), 24, 0); },
        [&](auto* t) { return header(t, 10, -1, 23, 0); },
        [&](auto* t) { return header(t, 10, -1, 8, 256); },  // a palette that didn't come
        [&](auto* t) { return header(t, 10, -1, 24, 0xFFFFFFFFu); },
        [&](auto* t) { return header(t, 1, -1, 24, 0), data(t, 40, 5); },  // more than its rows
    };
    for (const Send& send : sends) {
        CPageStore sink;
        TestScript().m_acquire = [&](BYTE*, MINIDRV_TRANSFER_CONTEXT* transfer) {
            EXPECT_EQ(send(transfer), S_FALSE) << "the driver is stopped";
            EXPECT_EQ(header(transfer, 10, -1, 24, 0), S_FALSE) << "and not heard again";
            return S_OK;
        };
        EXPECT_EQ(Scan(sink).code, WIA_ERROR_INVALID_DRIVER_RESPONSE);
        EXPECT_TRUE(sink.m_ended.empty());
    }
    const auto scanWith = [&](const Send& send) {
        CPageStore sink;
        TestScript().m_acquire = [&](BYTE*, MINIDRV_TRANSFER_CONTEXT* t) { return send(t); };
        return Scan(sink).code;
    };
    EXPECT_EQ(scanWith([](auto*) { return S_OK; }), WIA_ERROR_INVALID_DRIVER_RESPONSE)
        << "no picture";
    EXPECT_EQ(scanWith([&](auto* t) { return header(t, 10, -2, 24, 0), data(t, 40, 32); }),
              WIA_ERROR_INVALID_DRIVER_RESPONSE)
        << "one row of two";
    EXPECT_EQ(scanWith([](auto*) { return S_FALSE; }), S_FALSE) << "the driver's own cancel";
    EXPECT_EQ(scanWith([](auto* t) {
                  MINIDRV_TRANSFER_CONTEXT other = *t;
                  const auto hr =
                      t->pIWiaMiniDrvCallBack->MiniDrvCallback(IT_MSG_DATA, 4, 0, 0, 40, &other, 0);
                  EXPECT_EQ(hr, E_INVALIDARG) << "a context that isn't the transfer's";
                  return DeliverTestPicture(t);
              }),
              S_OK);
}

TEST_F(Transfer, AReceiverThatFailsOrReachesBackHarmsNobody) {
    CPageStore sink;
    sink.m_throwInRows = true;
    const ScanStatus status = Scan(sink);
    EXPECT_EQ(status.code, E_FAIL);
    EXPECT_NE(status.text.find("no room"), std::string::npos);

    CPageStore curious;
    curious.m_onProgress = [&] {
        if (!m_device.IsOpen())
            return;
        std::vector<ScanProperty> properties;
        EXPECT_EQ(m_device.Read("Top", {}, properties).code, WIA_ERROR_BUSY);
        EXPECT_EQ(m_device.Write("Top", {{WIA_IPS_XRES, 200}}).code, WIA_ERROR_BUSY);
        CScanDevice second;
        EXPECT_EQ(m_client.Open("", second).code, WIA_ERROR_BUSY);
        m_device.Close();
    };
    ComPtr<IWiaMiniDrvCallBack> kept;
    TestScript().m_acquire = [&](BYTE*, MINIDRV_TRANSFER_CONTEXT* transfer) {
        kept = ComPtr<IWiaMiniDrvCallBack>(transfer->pIWiaMiniDrvCallBack);
        return DeliverTestPicture(transfer);
    };
    EXPECT_EQ(Failure(Scan(curious)), "") << "the device goes when the scan has ended";
    EXPECT_EQ(TestScript().m_objects, 0);
    EXPECT_EQ(kept->MiniDrvCallback(IT_MSG_STATUS, 4, 50, 0, 0, nullptr, 0), S_FALSE)
        << "behind the page it answers with stop";
}

}  // namespace
