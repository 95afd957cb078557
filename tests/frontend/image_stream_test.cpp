// The stream between band loop and engine.

#include "frontend/image_stream.h"

#include <gtest/gtest.h>

#include "platform/com_ptr.h"
#include "tests/support/engine_rig.h"

namespace {

class ImageStream : public testing::Test {
  protected:
    ImageStream() { m_stream->Reset(&m_rig.m_engine); }
    ~ImageStream() override {
        m_rig.m_engine.FireEnd();
        m_rig.m_engine.Stop();
    }
    void Write(const Bytes& bytes) {
        ULONG written = 99;
        EXPECT_EQ(m_stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written), S_OK);
        EXPECT_EQ(written, bytes.size());
    }
    // The engine says its header as soon as it is begun.
    std::size_t Starts() const {
        return m_rig.m_client.OfType(QL_IMAGE_CALLBACK_DIB_HEADER).size();
    }

    CEngineRig m_rig;
    ComPtr<CImageStream> m_stream{new CImageStream};
};

// Headers and palette may come in any pieces; the first write behind them is the first band, even
// when it is empty.
TEST_F(ImageStream, StartsTheEngineWithTheFirstBand) {
    const Bytes headers = BitmapHeaders(NoisePicture(5, 30, 8), -30);
    for (const bool inPieces : {true, false}) {
        m_stream->AddLines(7);
        m_stream->Reset(&m_rig.m_engine);
        EXPECT_EQ(m_stream->m_nLines + m_stream->m_cbWritten + m_stream->m_cbRead, 0u);
        for (std::size_t i = 0; inPieces && i < headers.size(); ++i)
            Write({headers[i]});
        if (!inPieces)
            Write(headers);
        const std::size_t before = Starts();
        Write(Bytes(inPieces ? 0 : 160));
        EXPECT_EQ(Starts(), before + 1);
        EXPECT_EQ(m_stream->m_cbRead, headers.size()) << "the rows wait for the feed";
        Write(Bytes(160));
        EXPECT_EQ(Starts(), before + 1) << "once an image";
        m_rig.m_engine.FireEnd();
        m_rig.m_engine.Stop();
    }
    EXPECT_EQ(Starts(), 2u);
}

TEST_F(ImageStream, NeverWaitsForBytes) {
    m_stream->Reset(nullptr);
    Write({1, 2, 3});
    BYTE target[8] = {};
    ULONG read = 99;
    EXPECT_EQ(m_stream->Read(target, 2, &read), S_OK);
    EXPECT_EQ(read, 2u);
    Write({4});
    EXPECT_EQ(m_stream->Read(target + 2, 6, &read), S_OK);
    EXPECT_EQ(read, 2u);
    EXPECT_EQ(Bytes(target, target + 5), (Bytes{1, 2, 3, 4, 0}));
    EXPECT_EQ(m_stream->Read(nullptr, 1, nullptr), S_OK) << "nothing to be had";
    EXPECT_EQ(m_stream->Write(nullptr, 1, nullptr), E_POINTER);
}

}  // namespace
