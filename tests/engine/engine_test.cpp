// The engine object: its commands, what its clients are told, and how it takes faults.

#include "engine/engine.h"

#include <gtest/gtest.h>

#include "frame/stage.h"
#include "platform/module.h"
#include "tests/support/engine_rig.h"
#include "tests/support/stage_rig.h"

namespace {

using Sizes = std::vector<std::size_t>;

// 24-bit rows of 8 pixels: 24 bytes, no padding.
CTestPicture Page(std::int32_t lines) {
    return NoisePicture(8, lines);
}
constexpr std::size_t kRow = 24;

// Catches message boxes.
class CMessageBoxes {
  public:
    CMessageBoxes()
        : m_before(SetMessageBoxHook([this](HWND, LPCSTR text, LPCSTR caption, UINT) {
              m_shown.push_back(std::string(caption) + ": " + text);
              return IDOK;
          })) {}
    ~CMessageBoxes() { SetMessageBoxHook(m_before); }

    std::vector<std::string> m_shown;

  private:
    MessageBoxHook m_before;
};

TEST(Engine, ClientsGetAscendingIdsAndArgumentsAreChecked) {
    CQLEngine engine;
    EXPECT_EQ(engine.Init(), S_OK);
    EXPECT_EQ(engine.Init(), S_OK);
    CTestClient client;
    std::uint32_t id = 0;
    for (const std::uint32_t expected : {1u, 2u, 3u}) {
        EXPECT_EQ(engine.AddClient(&client, &id), S_OK);
        EXPECT_EQ(id, expected);
    }
    EXPECT_EQ(engine.AddClient(nullptr, &id), E_POINTER);
    EXPECT_EQ(engine.AddClient(&client, nullptr), E_POINTER);
    EXPECT_EQ(engine.RemoveClient(0), E_INVALIDARG);
    EXPECT_EQ(engine.RemoveClient(2), S_OK);
    EXPECT_EQ(engine.RemoveClient(99), S_OK);
    EXPECT_EQ(engine.SetInputStream(nullptr), E_INVALIDARG);
    EXPECT_EQ(engine.SetOutputStream(nullptr), E_INVALIDARG);
}

TEST(Engine, InitSetsTheStartValues) {
    CEngineRig rig;
    for (const std::int32_t id : {QL_ATTR_CHAIN_FLAG_116, QL_ATTR_CHAIN_FLAG_345,
                                  QL_ATTR_THRESHOLD_COLLECT, QL_ATTR_AUTO_THRESHOLD_ON})
        EXPECT_EQ(rig.Get(id), 1) << id;
    EXPECT_EQ(rig.Get(QL_ATTR_OUTPUT_TYPE), 3);
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_BITS), 8);
}

TEST(Engine, ASecondStartFiresNothingUntilStop) {
    CEngineRig rig;
    std::vector<std::string> log;
    CTestListener listener(rig.m_engine.Tree(), &log, "");
    listener.Subscribe(QL_ATTR_CMD_START);
    listener.Subscribe(QL_ATTR_CMD_STOP);
    rig.m_engine.Start();
    rig.m_engine.Start();
    EXPECT_EQ(log, (std::vector<std::string>{"20068"}));
    rig.m_engine.Stop();
    rig.m_engine.Start();
    EXPECT_EQ(log, (std::vector<std::string>{"20068", "20069", "20068"}));
}

TEST(Engine, TheHeaderDescribesTheFinishedImage) {
    CEngineRig rig;
    rig.RunStream(NoisePicture(9, 7), {20});
    BITMAPINFOHEADER header = rig.m_client.Header();
    EXPECT_EQ(header.biWidth, 9);
    EXPECT_EQ(header.biHeight, 7) << "positive for the client, whatever the stream's";
    EXPECT_EQ(header.biBitCount, 24);
    EXPECT_EQ(header.biSizeImage, 28u * 7);
    EXPECT_EQ(header.biXPelsPerMeter, 11811) << "300 dots per inch";
    EXPECT_EQ(rig.m_client.m_messages[0].m_type, QL_IMAGE_CALLBACK_DIB_HEADER);
    EXPECT_EQ(rig.m_client.m_messages[0].m_bytes.size(), 40u);

    rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, 2);
    rig.RunStream(NoisePicture(9, 7), {20});
    EXPECT_EQ(rig.m_client.m_messages[0].m_bytes.size(), 40u + 4 * 256);
    EXPECT_EQ(rig.m_client.m_messages[0].m_bytes[40 + 4 * 77 + 2], 77) << "a gray ramp";

    rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, 0);
    rig.RunStream(NoisePicture(9, 7), {20});
    header = rig.m_client.Header();
    EXPECT_EQ(header.biBitCount, 1);
    EXPECT_EQ(header.biClrUsed, 2u);
    EXPECT_EQ(header.biSizeImage, 4u * 7);
    const Bytes& block = rig.m_client.m_messages[0].m_bytes;
    EXPECT_EQ(Bytes(block.begin() + 40, block.end()), (Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
}

// ---- Feeding

TEST(EngineFeed, FiveLinesStayBehindWhileMoreAreExpected) {
    CEngineRig rig;
    CTestStream stream(Page(45));
    rig.Begin(stream);
    rig.Feed(stream, 20);
    EXPECT_EQ(stream.m_nLines, 5u);
    rig.Feed(stream, 20);
    EXPECT_EQ(stream.m_nLines, 5u);
    rig.m_engine.FireFeed();
    EXPECT_EQ(stream.m_nLines, 0u) << "no more than the mark: the end of the image";
    rig.Feed(stream, 5);
    ASSERT_EQ(rig.m_client.BandSizes(), (Sizes{15 * kRow, 20 * kRow, 5 * kRow, 5 * kRow}));
    EXPECT_EQ(rig.m_client.OfType(2)[1]->m_percent, 33u) << "15 of 45 were done before this band";
    EXPECT_EQ(rig.m_client.OfType(2)[3]->m_percent, 88u);
    EXPECT_EQ(rig.Get(QL_ATTR_LINES_DONE), 45);
    EXPECT_EQ(rig.Get(QL_ATTR_PERCENT_DONE), 100);
    rig.Finish();
    EXPECT_EQ(rig.m_client.OfType(3).size(), 0u) << "an image with bands has no end message";
    EXPECT_EQ(rig.m_client.m_messages.size(), 5u);
    EXPECT_EQ(rig.m_client.m_reservedSeen, 0u);
}

TEST(EngineFeed, ALastShortBandIsTakenWhole) {
    CEngineRig rig;
    CTestStream stream(Page(30));
    rig.Begin(stream);
    rig.Feed(stream, 20);
    rig.Feed(stream, 10);
    EXPECT_EQ(rig.m_client.BandSizes(), (Sizes{15 * kRow, 15 * kRow}))
        << "15 lines are not above the mark of 15";
    rig.Finish();
}

TEST(EngineFeed, TheMarkIsSetAnewForEachImage) {
    CEngineRig rig;
    for (int image = 0; image < 2; ++image) {
        rig.m_client.m_messages.clear();
        CTestStream stream(Page(image == 0 ? 20 : 60));
        rig.Begin(stream);
        rig.Feed(stream, image == 0 ? 20 : 40);
        EXPECT_EQ(stream.m_nLines, 5u);
        rig.m_engine.FireFeed();
        EXPECT_EQ(stream.m_nLines, 0u);
        rig.Finish();
    }
    EXPECT_EQ(rig.m_client.BandSizes().size(), 2u + 20)
        << "two bands, and 20 lines that never came";
}

TEST(EngineFeed, AFirstFeedOfFewLinesPassesNoneAndTheImageIsWhite) {
    for (const std::int32_t pending : {1, 2, 4, 5}) {
        CEngineRig rig;
        std::vector<std::string> log;
        CTestListener listener(rig.m_engine.Tree(), &log, "");
        listener.Subscribe(QL_ATTR_STATUS);
        CTestStream stream(Page(pending));
        rig.Begin(stream);
        const std::uint32_t read = stream.m_cbRead;
        rig.Feed(stream, pending);
        EXPECT_EQ(stream.m_nLines, static_cast<std::uint32_t>(pending));
        EXPECT_EQ(stream.m_cbRead, read);
        // One line isn't looked at; with 5 none are wanted (2), with fewer a negative count (22).
        EXPECT_EQ(log.size(), pending == 1 ? 0u : 1u);
        rig.Finish();
        EXPECT_EQ(rig.m_client.Rows(), Bytes(kRow * static_cast<std::size_t>(pending), 0xFF));
        EXPECT_EQ(rig.m_client.OfType(3).size(), 1u) << "no band went out";
    }
}

TEST(EngineFeed, AHeldOutputLeavesTheLinesInTheStream) {
    CEngineRig rig;
    CTestProvider hold(rig.m_engine.Tree());
    hold.Provide(QL_ATTR_HOLD_OUTPUT, 1);
    CTestStream stream(Page(20));
    rig.Begin(stream);
    rig.Feed(stream, 20);
    EXPECT_EQ(stream.m_nLines, 20u);
    hold.SetAttrib(QL_ATTR_HOLD_OUTPUT, 0);
    rig.m_engine.FireFeed();
    EXPECT_EQ(stream.m_nLines, 5u) << "the mark is that of the first feed";
    rig.Finish();
}

TEST(EngineFeed, ACountBeyondTheImageTakesWhatThereIs) {
    CEngineRig rig;
    CTestStream stream(Page(12));
    rig.Begin(stream);
    rig.Feed(stream, 12);
    stream.m_nLines = 0x80000000u;
    rig.m_engine.FireFeed();
    EXPECT_EQ(rig.m_client.Rows().size(), 12 * kRow);
    EXPECT_EQ(stream.m_nLines, 0x80000000u - 5);
    rig.Finish();
}

// ---- The end of an image

TEST(EngineEnd, MissingLinesAreDeliveredWhite) {
    CEngineRig rig;
    CTestStream stream(Page(100));
    rig.Begin(stream);
    rig.Feed(stream, 80);
    rig.m_engine.FireFeed();
    rig.m_client.m_messages.clear();
    rig.Finish();
    ASSERT_EQ(rig.m_client.m_messages.size(), 20u);
    for (const auto& message : rig.m_client.m_messages) {
        EXPECT_EQ(message.m_type, QL_IMAGE_CALLBACK_DIB_BUFFER);
        EXPECT_EQ(message.m_percent, 99u);
        EXPECT_EQ(message.m_bytes, Bytes(kRow, 0xFF));
    }
}

TEST(EngineEnd, WhiteLinesAreNotPaddedToRows) {
    // Width x bits / 8, rounded down: 9 x 24 / 8, 9 x 8 / 8, 9 x 1 / 8.
    constexpr struct {
        std::uint64_t type;
        std::size_t bytes;
    } kCases[] = {{3, 27}, {2, 9}, {0, 1}};
    for (const auto& row : kCases) {
        CEngineRig rig;
        rig.m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, row.type);
        CTestStream stream(NoisePicture(9, 3));
        rig.Begin(stream);
        rig.Finish();
        EXPECT_EQ(rig.m_client.BandSizes(), (Sizes{row.bytes, row.bytes, row.bytes}));
    }
}

TEST(EngineEnd, ACancelledImageIsNotFilled) {
    for (const std::uint32_t at : {QL_IMAGE_CALLBACK_DIB_HEADER, QL_IMAGE_CALLBACK_DIB_BUFFER}) {
        CEngineRig rig;
        rig.m_client.m_act = [at](const CTestClient::Message& message) {
            return message.m_type == at ? S_FALSE : S_OK;
        };
        CTestStream stream(Page(100));
        rig.Begin(stream);
        if (at == QL_IMAGE_CALLBACK_DIB_BUFFER)
            rig.Feed(stream, 20);
        rig.Finish();
        EXPECT_EQ(rig.m_client.BandSizes().size(), at == QL_IMAGE_CALLBACK_DIB_BUFFER ? 1u : 0u);
        EXPECT_EQ(rig.m_client.OfType(3).size(), at == QL_IMAGE_CALLBACK_DIB_BUFFER ? 0u : 1u);
        rig.m_client.m_act = nullptr;
        EXPECT_EQ(rig.RunStream(Page(30), {20}).size(), 30 * kRow) << "the next image is whole";
    }
}

TEST(EngineEnd, AClientStopsTheWhiteFillAndOtherAnswersDont) {
    CEngineRig rig;
    rig.m_client.m_act = [&rig](const CTestClient::Message&) {
        return rig.m_client.BandSizes().size() < 4 ? E_FAIL : S_FALSE;
    };
    CTestStream stream(Page(100));
    rig.Begin(stream);
    rig.Finish();
    EXPECT_EQ(rig.m_client.BandSizes().size(), 4u);
}

TEST(EngineClients, EachHearsEveryMessageAndTheLastAnswerDecides) {
    CEngineRig rig;
    CTestClient second;
    std::uint32_t id = 0;
    rig.m_engine.AddClient(&second, &id);
    rig.m_client.m_act = [](const CTestClient::Message&) { return S_FALSE; };
    CTestStream stream(Page(40));
    rig.Begin(stream);
    rig.Feed(stream, 20);
    rig.Finish();
    EXPECT_EQ(rig.m_client.m_messages.size(), 2u + 25) << "the second client wants to go on";
    EXPECT_EQ(second.Rows(), rig.m_client.Rows());
    rig.m_engine.RemoveClient(rig.m_clientId);
    rig.RunStream(Page(8), {20});
    EXPECT_EQ(rig.m_client.m_messages.size(), 0u);
}

TEST(EngineClients, MayLeaveAndJoinWhileTheyAreCalled) {
    CEngineRig rig;
    CTestClient second;
    CTestClient third;
    std::uint32_t secondId = 0;
    std::uint32_t thirdId = 0;
    rig.m_engine.AddClient(&second, &secondId);
    rig.m_client.m_act = [&](const CTestClient::Message&) {
        rig.m_engine.RemoveClient(rig.m_clientId);
        rig.m_engine.RemoveClient(secondId);
        rig.m_engine.AddClient(&third, &thirdId);
        return S_OK;
    };
    rig.RunStream(Page(8), {20});
    EXPECT_EQ(rig.m_client.m_messages.size(), 1u);
    EXPECT_EQ(second.m_messages.size(), 0u);
    EXPECT_EQ(third.OfType(QL_IMAGE_CALLBACK_DIB_HEADER).size(), 0u) << "joined during the header";
    EXPECT_EQ(third.Rows().size(), 8 * kRow);
}

TEST(EngineClients, ACommandFromInsideACallbackDoesNothingAndAStopWaits) {
    for (const std::uint32_t at : {QL_IMAGE_CALLBACK_DIB_HEADER, QL_IMAGE_CALLBACK_DIB_BUFFER}) {
        CEngineRig rig;
        CTestStream stream(Page(40));
        rig.m_client.m_act = [&](const CTestClient::Message& message) {
            if (message.m_type == at) {
                rig.m_engine.FireFeed();
                rig.m_engine.FireEnd();
                rig.m_engine.FireBegin();
                rig.m_engine.FireAnalyse();
                rig.m_engine.Stop();
                rig.m_engine.Start();
            }
            return S_OK;
        };
        rig.Begin(stream);
        rig.Feed(stream, 20);
        const std::size_t messages = rig.m_client.m_messages.size();
        EXPECT_EQ(messages, at == QL_IMAGE_CALLBACK_DIB_HEADER ? 1u : 2u);
        rig.Feed(stream, 20);
        rig.m_engine.FireEnd();
        EXPECT_EQ(rig.m_client.m_messages.size(), messages) << "the run is over";
        rig.m_engine.Stop();
        rig.m_client.m_act = nullptr;
        EXPECT_EQ(rig.RunStream(Page(30), {20}).size(), 30 * kRow);
    }
}

// ---- Commands out of turn

TEST(EngineCommands, DoNothingWithoutABegin) {
    CQLEngine bare;
    bare.FireBegin();
    bare.FireFeed();
    bare.FireEnd();
    bare.Stop();

    CEngineRig rig;
    rig.m_engine.FireFeed();
    rig.m_engine.FireEnd();
    rig.m_engine.FireAnalyse();
    EXPECT_TRUE(rig.m_client.m_messages.empty());
    std::vector<std::string> log;
    CTestListener listener(rig.m_engine.Tree(), &log, "");
    listener.Subscribe(QL_ATTR_STATUS);
    CTestStream stream(Page(40));
    rig.m_engine.SetInputStream(&stream);
    rig.m_engine.Start();
    rig.Feed(stream, 20);
    rig.m_engine.FireEnd();
    EXPECT_TRUE(rig.m_client.m_messages.empty());
    EXPECT_EQ(stream.m_nLines, 20u);
    EXPECT_TRUE(log.empty()) << "and nothing failed";
    rig.m_engine.FireBegin();
    rig.m_engine.FireFeed();
    rig.m_engine.FireEnd();
    const std::size_t messages = rig.m_client.m_messages.size();
    EXPECT_EQ(messages, 2u + 25);
    rig.m_engine.FireEnd();
    rig.m_engine.FireFeed();
    rig.m_engine.Stop();
    rig.m_engine.FireFeed();
    rig.m_engine.FireEnd();
    EXPECT_EQ(rig.m_client.m_messages.size(), messages);
}

TEST(EngineCommands, ASecondBeginStartsTheImageOver) {
    CEngineRig rig;
    std::vector<std::string> log;
    CTestListener listener(rig.m_engine.Tree(), &log, "");
    listener.Subscribe(QL_ATTR_SOURCE_FIRST_READ);
    CTestStream stream(Page(60));
    rig.Begin(stream);
    rig.Feed(stream, 40);
    rig.m_client.m_messages.clear();
    rig.m_engine.FireBegin();
    EXPECT_EQ(rig.m_client.OfType(QL_IMAGE_CALLBACK_DIB_HEADER).size(), 1u);
    EXPECT_EQ(rig.Get(QL_ATTR_LINES_DONE), 0);
    rig.m_engine.FireEnd();
    EXPECT_EQ(rig.m_client.BandSizes().size(), 60u) << "nothing is left of the first one's bands";
    for (const std::size_t firstReads : {2u, 3u}) {
        rig.m_engine.FireBegin();
        rig.Feed(stream, 10);
        EXPECT_EQ(log.size(), firstReads) << "each closes what was open";
    }
    rig.m_engine.Stop();
}

TEST(EngineCommands, AStopWithoutAnEndForgetsStreamAndImage) {
    CEngineRig rig;
    {
        CTestStream stream(Page(60));
        rig.Begin(stream);
        rig.Feed(stream, 40);
        rig.m_engine.Stop();
    }
    EXPECT_EQ(rig.m_engine.GetValue(QL_ATTR_INPUT_STREAM), 0u);
    EXPECT_EQ(rig.Get(QL_ATTR_SOURCE_PRESENT), 0);
    // Colour queries go up the chain: to no source that is gone.
    EXPECT_EQ(rig.Get(QL_ATTR_DETECT_RUN), 0);
    rig.m_client.m_messages.clear();
    rig.m_engine.FireBegin();
    rig.m_engine.FireEnd();
    EXPECT_EQ(rig.m_client.BandSizes().size(), 0u) << "no fill for an image that is forgotten";
    EXPECT_EQ(rig.RunStream(Page(30), {20}).size(), 30 * kRow);
}

// ---- Sources that can't be had

TEST(EngineSource, ABadStreamIsShownAndTheRunEndsEmpty) {
    CMessageBoxes boxes;
    CEngineRig rig;
    std::vector<std::string> log;
    CTestListener listener(rig.m_engine.Tree(), &log, "");
    listener.Subscribe(QL_ATTR_STATUS);
    CTestPicture picture = Page(20);
    picture.m_width = 0;
    CTestStream stream(BitmapHeaders(picture, -20));
    rig.Begin(stream);
    EXPECT_EQ(boxes.m_shown,
              (std::vector<std::string>{"Error: Bad BMP file (must be valid 24-bit BMP file)."}));
    EXPECT_EQ(log.size(), 1u) << "announced";
    rig.Feed(stream, 20);
    rig.Finish();
    ASSERT_EQ(rig.m_client.m_messages.size(), 1u);
    EXPECT_EQ(rig.m_client.m_messages[0].m_type, QL_IMAGE_CALLBACK_DONE);
    EXPECT_EQ(rig.m_client.m_messages[0].m_percent, 100u);
    EXPECT_EQ(rig.RunStream(Page(30), {20}).size(), 30 * kRow);
}

TEST(EngineSource, WithoutStreamAndBenchFileNothingIsShown) {
    CMessageBoxes boxes;
    CEngineRig rig;
    rig.m_engine.Start();
    rig.m_engine.FireOpenAnalysed();
    rig.Finish();
    EXPECT_TRUE(boxes.m_shown.empty());
    EXPECT_EQ(rig.m_client.OfType(QL_IMAGE_CALLBACK_DIB_HEADER).size(), 0u);
    CTestBenchFile::SetBench("/nowhere/at-all.bmp");
    rig.m_engine.Start();
    EXPECT_EQ(boxes.m_shown.size(), 1u);
    rig.m_engine.Stop();
    RegClearProcessValues();
}

TEST(EngineOutputStream, ReceivesABitmapFileInPlaceOfTheClients) {
    CEngineRig rig;
    CTestStream output{Bytes()};
    rig.m_engine.SetOutputStream(&output);
    rig.RunStream(NoisePicture(5, 6, 8), {20});
    const Bytes& file = output.All();
    ASSERT_EQ(file.size(), 14u + 40 + 1024 + 6 * 8);
    BITMAPFILEHEADER fileHeader;
    BITMAPINFOHEADER header;
    std::memcpy(&fileHeader, file.data(), sizeof(fileHeader));
    std::memcpy(&header, file.data() + 14, sizeof(header));
    EXPECT_EQ(fileHeader.bfType, BITMAP_FILE_TYPE);
    EXPECT_EQ(DWORD{fileHeader.bfOffBits}, 54u);
    EXPECT_EQ(DWORD{fileHeader.bfSize}, 54u + 6 * 8);
    EXPECT_EQ(header.biHeight, -6) << "top line first";
    ASSERT_EQ(rig.m_client.m_messages.size(), 1u) << "no band went to the clients";
    EXPECT_EQ(rig.m_client.m_messages[0].m_type, QL_IMAGE_CALLBACK_DONE);
}

}  // namespace
