// The stream between band loop and engine.

#include "frontend/image_stream.h"

#include <gtest/gtest.h>

#include "platform/com_ptr.h"
#include "tests/support/engine_rig.h"

namespace {

class ImageStream : public testing::Test {
  protected:
    ImageStream() {
        m_stream->Reset(&m_rig.m_engine);
        m_rig.m_client.m_act = [this](const CTestClient::Message&) {
            m_headers = m_rig.m_client.OfType(QL_IMAGE_CALLBACK_DIB_HEADER).size();
            return S_OK;
        };
    }
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
    bool Started() const { return m_headers != 0; }

    CEngineRig m_rig;
    ComPtr<CImageStream> m_stream{new CImageStream};
    std::size_t m_headers = 0;
};

TEST_F(ImageStream, StartsTheEngineWithTheFirstRowsBehindTheHeaders) {
    const CTestPicture picture = NoisePicture(5, 30);
    const Bytes headers = BitmapHeaders(picture, -30);
    Write({headers.begin(), headers.begin() + 14});
    Write({headers.begin() + 14, headers.end()});
    EXPECT_EQ(m_stream->m_cbWritten, 54u);
    EXPECT_FALSE(Started());
    Write(Bytes(16 * 20));
    EXPECT_TRUE(Started());
    EXPECT_EQ(m_stream->m_cbRead, 54u) << "the rows wait for the feed";
    Write(Bytes(16 * 10));
    EXPECT_EQ(m_headers, 1u) << "once an image";
}

TEST_F(ImageStream, WaitsForThePalette) {
    const CTestPicture picture = NoisePicture(5, 30, 8);
    const Bytes headers = BitmapHeaders(picture, -30);
    Write({headers.begin(), headers.begin() + 54});
    Write({headers.begin() + 54, headers.end() - 1});
    Write({headers.end() - 1, headers.end()});
    EXPECT_FALSE(Started()) << "the write that brings the last colour isn't a band";
    Write({});
    EXPECT_TRUE(Started()) << "one of nothing is";
}

TEST_F(ImageStream, HeadersMayComeInAnyPieces) {
    const Bytes headers = BitmapHeaders(NoisePicture(5, 30), -30);
    for (const std::uint8_t byte : headers)
        Write({byte});
    EXPECT_FALSE(Started());
    Write(Bytes(16));
    EXPECT_TRUE(Started());
    m_rig.m_engine.FireEnd();
    m_rig.m_engine.Stop();

    m_stream->AddLines(7);
    m_stream->Reset(&m_rig.m_engine);
    EXPECT_EQ(m_stream->m_nLines, 0u);
    EXPECT_EQ(m_stream->m_cbWritten, 0u);
    EXPECT_EQ(m_stream->m_cbRead, 0u);
    m_headers = 0;
    m_rig.m_client.m_messages.clear();
    Bytes both = headers;
    both.resize(headers.size() + 16);
    Write(both);
    EXPECT_FALSE(Started()) << "headers and rows at once are still the headers' write";
    Write(Bytes(16));
    EXPECT_TRUE(Started()) << "on the next image as well";
}

TEST_F(ImageStream, GivesItsBytesInOrderAndNeverWaits) {
    m_stream->Reset(nullptr);
    Bytes expected;
    Bytes got;
    std::uint32_t seed = 1;
    for (int round = 0; round < 300; ++round) {
        seed = seed * 1664525u + 1013904223u;
        const Bytes piece(seed >> 16 & 0x3FF, static_cast<std::uint8_t>(seed >> 8));
        Write(piece);
        expected.insert(expected.end(), piece.begin(), piece.end());
        Bytes target(seed >> 20 & 0x7FF);
        ULONG read = 99;
        EXPECT_EQ(m_stream->Read(target.data(), static_cast<ULONG>(target.size()), &read), S_OK);
        EXPECT_EQ(read, std::min(target.size(), expected.size() - got.size()));
        got.insert(got.end(), target.begin(), target.begin() + read);
        EXPECT_EQ(m_stream->m_cbRead, got.size());
    }
    Bytes rest(1 << 20);
    ULONG read = 0;
    EXPECT_EQ(m_stream->Read(rest.data(), 1 << 20, &read), S_OK);
    got.insert(got.end(), rest.begin(), rest.begin() + read);
    EXPECT_EQ(got, expected);
    EXPECT_EQ(m_stream->Read(rest.data(), 1, &read), S_OK);
    EXPECT_EQ(read, 0u);
    EXPECT_EQ(m_stream->Read(rest.data(), 1, nullptr), S_OK);
    EXPECT_EQ(m_stream->Write(nullptr, 1, nullptr), E_POINTER);
    EXPECT_EQ(m_stream->Read(nullptr, 1, nullptr), S_OK) << "nothing to be had";
}

TEST_F(ImageStream, IsAStreamAndNothingElse) {
    void* object = this;
    EXPECT_EQ(m_stream->QueryInterface(IID_IStream, nullptr), E_POINTER);
    EXPECT_EQ(m_stream->QueryInterface(IID_IClassFactory, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    for (const IID& iid : {IID_IUnknown, IID_IStream}) {
        EXPECT_EQ(m_stream->QueryInterface(iid, &object), S_OK);
        EXPECT_EQ(static_cast<IStream*>(object), m_stream.Get());
        EXPECT_EQ(m_stream->Release(), 1u);
    }
    EXPECT_EQ(m_stream->SetSize({}), S_OK);
    EXPECT_EQ(m_stream->Commit(0), E_NOTIMPL);
    IStream* clone = nullptr;
    EXPECT_EQ(m_stream->Clone(&clone), E_NOTIMPL);
}

}  // namespace
