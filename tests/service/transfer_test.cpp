// Pages, whatever driver and client do.
#include <cstring>
#include <stdexcept>

#include "platform/com_ptr.h"
#include "tests/service/service_rig.h"

namespace {

class Transfer : public COpenServiceTest {
  protected:
    ScanStatus Scan(CPageStore& sink, ScanOptions options = {}) {
        return m_device.Scan("Top", options, sink);
    }
};

TEST_F(Transfer, APageComesAsWholeRowsBehindItsHeader) {
    CPageStore sink;
    ASSERT_EQ(Failure(Scan(sink)), "");
    ASSERT_EQ(sink.m_pages.size(), 1u);
    EXPECT_EQ(sink.m_pages[0].info.biHeight, kTestLines);
    EXPECT_TRUE(sink.m_pages[0].topDown);
    ExpectPicture(sink.m_bytes[0]);
    EXPECT_EQ(sink.m_whole, 1);
    EXPECT_TRUE(std::is_sorted(sink.m_progress.begin(), sink.m_progress.end()));
    EXPECT_EQ(TestScript().Count("drvWriteItemProperties"), 1) << "the settings go ahead";
    EXPECT_EQ(TestScript().Count("Lock"), TestScript().Count("Unlock"));
}

TEST_F(Transfer, ABufferIsNeverTooSmallNorBeyondReason) {
    LONG wanted = -5;
    TestScript().m_read = [&](BYTE* context) {
        wiasWritePropLong(context, WIA_IPA_MIN_BUFFER_SIZE, wanted);
    };
    CPageStore sink;
    EXPECT_EQ(Number(WIA_IPA_MIN_BUFFER_SIZE), wanted);
    EXPECT_EQ(Failure(Scan(sink)), "");
    wanted = 0x7FFFFFFF;
    EXPECT_EQ(Number(WIA_IPA_MIN_BUFFER_SIZE), wanted);
    EXPECT_EQ(Scan(sink).code, WIA_ERROR_INVALID_DRIVER_RESPONSE);
}

TEST_F(Transfer, AFlagCancelsFromAnyThreadAtTheNextMessage) {
    std::atomic<bool> cancel = false;
    CPageStore sink;
    sink.m_onProgress = [&] { cancel = true; };
    EXPECT_EQ(Scan(sink, {.cancel = &cancel}).code, S_FALSE);
    EXPECT_EQ(sink.m_progress.size(), 1u);
    EXPECT_EQ(Scan(sink, {.cancel = &cancel}).code, S_FALSE) << "before it begins";
    EXPECT_EQ(sink.m_progress.size(), 1u);
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
        [&](auto* t) { return header(t, 9999, -9999, 24, 0), data(t, 40, t->lBufferSize + 1); },
        [&](auto* t) { return data(t, 0, -1); },
        [&](auto* t) { return data(t, 4, 40); },
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
        EXPECT_EQ(sink.m_whole, 0);
    }
    const std::pair<Send, HRESULT> ends[] = {
        {[](auto*) { return S_OK; }, WIA_ERROR_INVALID_DRIVER_RESPONSE},  // no picture
        {[&](auto* t) { return header(t, 10, -2, 24, 0), data(t, 40, 32); },
         WIA_ERROR_INVALID_DRIVER_RESPONSE},       // one row of two
        {[](auto*) { return S_FALSE; }, S_FALSE},  // the driver's own cancel
        {[&](auto* t) {
             MINIDRV_TRANSFER_CONTEXT other = *t;
             EXPECT_EQ(data(&other, 0, 40), E_INVALIDARG) << "a context that isn't the transfer's";
             return DeliverTestPicture(t);
         },
         S_OK},
    };
    for (const auto& [send, result] : ends) {
        CPageStore sink;
        TestScript().m_acquire = [&](BYTE*, MINIDRV_TRANSFER_CONTEXT* t) { return send(t); };
        EXPECT_EQ(Scan(sink).code, result);
    }
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
