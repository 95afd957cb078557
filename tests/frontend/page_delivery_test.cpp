// The finished page on its way to a client's callback.

#include "frontend/page_delivery.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "diag/log.h"
#include "engine/engine.h"
#include "platform/bitmap_headers.h"
#include "tests/support/noise_lines.h"

namespace {

// A client with a buffer, which keeps what it gets.
class Delivery : public testing::Test, public IWiaMiniDrvCallBack {
  protected:
    Delivery() {
        m_context.tymed = TYMED_CALLBACK;
        m_context.pIWiaMiniDrvCallBack = this;
    }
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT MiniDrvCallback(LONG reason, LONG, LONG, LONG offset, LONG length,
                            MINIDRV_TRANSFER_CONTEXT* told, LONG) override {
        EXPECT_TRUE(reason == IT_MSG_DATA && told == &m_context);
        EXPECT_EQ(offset, static_cast<LONG>(m_got.size()));
        m_parts.push_back(length);
        m_got.insert(m_got.end(), told->pTransferBuffer, told->pTransferBuffer + length);
        return m_act ? m_act() : S_OK;
    }
    void UseRoom(std::size_t bytes) {
        m_room = Bytes(bytes);
        m_context.pTransferBuffer = m_room.data();
        m_context.lBufferSize = static_cast<LONG>(bytes);
    }
    // A page of 10 rows of 184 bytes in one run. Whether all of it came, from the top.
    HRESULT Deliver(bool whole) {
        m_context.cbOffset = 0;
        m_got.clear();
        m_parts.clear();
        BITMAPINFOHEADER info = MakeInfoHeader(61, 10, 24);
        Bytes rows = Noise(1840);
        CPageDelivery delivery(m_context, m_log);
        delivery.Take(QL_IMAGE_CALLBACK_DIB_HEADER, 0, 40, reinterpret_cast<BYTE*>(&info));
        const HRESULT hr = delivery.Take(QL_IMAGE_CALLBACK_DIB_BUFFER, 50, 1840, rows.data());
        EXPECT_EQ(delivery.IsCancelled(), hr == S_FALSE);
        info.biHeight = -10;
        rows.insert(rows.begin(), reinterpret_cast<BYTE*>(&info),
                    reinterpret_cast<BYTE*>(&info + 1));
        EXPECT_EQ(m_got == rows, whole);
        return hr;
    }

    CLog m_log;
    MINIDRV_TRANSFER_CONTEXT m_context = {};
    Bytes m_room;
    std::function<HRESULT()> m_act;
    std::vector<LONG> m_parts;  // lengths of messages
    Bytes m_got;
};

TEST_F(Delivery, ComesInWholeRowsWhereOneFits) {
    for (const auto& [room, parts] : {std::pair{184u * 3 + 5, std::vector<LONG>{40, 552, 552}},
                                      {184, {40, 184, 184}},
                                      {183, {40, 183, 183}},
                                      {33, {33, 7, 33}}}) {
        UseRoom(room);
        EXPECT_EQ(Deliver(true), S_OK);
        EXPECT_TRUE(std::equal(parts.begin(), parts.end(), m_parts.begin())) << room;
    }
}

TEST_F(Delivery, FollowsTheClientsAnswersAndBuffers) {
    UseRoom(184);
    m_act = [this] { return m_parts.size() == 3 ? S_FALSE : S_OK; };
    EXPECT_EQ(Deliver(false), S_FALSE) << "between two parts";
    EXPECT_EQ(m_parts.size(), 3u);
    m_act = [] { return E_UNEXPECTED; };
    EXPECT_EQ(Deliver(true), E_UNEXPECTED) << "and stops nothing";
    m_act = [this] {
        m_context.pTransferBuffer = nullptr;
        return S_OK;
    };
    EXPECT_EQ(Deliver(false), E_POINTER) << "or taken away";
    EXPECT_EQ(m_parts.size(), 1u);
}

}  // namespace
