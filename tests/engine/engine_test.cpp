// The engine object: its commands, how it is fed, what its clients are told, and how it takes
// faults.

#include "engine/engine.h"

#include <gtest/gtest.h>

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

using Command = HRESULT (CQLEngine::*)();
constexpr Command kCommands[] = {&CQLEngine::FireFeed,  &CQLEngine::FireEnd,
                                 &CQLEngine::FireBegin, &CQLEngine::FireAnalyse,
                                 &CQLEngine::Stop,      &CQLEngine::Start};

class Engine : public testing::Test {
  protected:
    Engine() {
        m_rig.FilterNothing();
        m_before = SetMessageBoxHook([this](HWND, LPCSTR text, LPCSTR, UINT) {
            m_shown.push_back(text);
            return IDOK;
        });
    }
    ~Engine() override { SetMessageBoxHook(m_before); }

    std::size_t Messages() const { return m_client.m_messages.size(); }
    void ExpectNextImageIsWhole() {
        m_client.m_act = nullptr;
        EXPECT_EQ(m_rig.RunStream(Page(30), {20}).size(), 30 * kRow);
    }

    CEngineRig m_rig;
    CQLEngine& m_engine = m_rig.m_engine;
    CTestClient& m_client = m_rig.m_client;
    CTestBoard m_board{m_engine.Tree()};
    std::vector<std::string> m_shown;  // message boxes

  private:
    MessageBoxHook m_before;
};

TEST_F(Engine, ChecksArguments) {
    std::uint32_t id = 0;
    EXPECT_EQ(m_engine.AddClient(nullptr, &id), E_POINTER);
    EXPECT_EQ(m_engine.AddClient(&m_client, nullptr), E_POINTER);
    EXPECT_EQ(m_engine.RemoveClient(0), E_INVALIDARG);
    EXPECT_EQ(m_engine.RemoveClient(99), S_OK);
    EXPECT_EQ(m_engine.SetInputStream(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_engine.SetOutputStream(nullptr), E_INVALIDARG);
}

// ---- Feeding

TEST_F(Engine, FiveLinesStayBehindWhileMoreAreExpected) {
    // Lines of the page, those of each feed, lines that are left, lines of the bands.
    const struct {
        std::vector<std::int32_t> feeds;
        std::vector<std::uint32_t> left;
        Sizes bands;
    } cases[] = {{{20, 20, 0, 5}, {5, 5, 0, 0}, {15, 20, 5, 5}},
                 {{20, 10}, {5, 0}, {15, 15}},  // not above the mark of 15
                 {{40, 0}, {5, 0}, {35, 5}},    // the mark is set anew for each image
                 {{12, 0, 1, 1}, {5, 0, 1, 0}, {7, 5, 2}}};
    for (const auto& c : cases) {
        m_client.m_messages.clear();
        std::int32_t lines = 0;
        for (const std::int32_t feed : c.feeds)
            lines += feed;
        CTestStream stream(Page(lines));
        m_rig.Begin(stream);
        for (std::size_t i = 0; i < c.feeds.size(); ++i) {
            m_rig.Feed(stream, c.feeds[i]);
            EXPECT_EQ(stream.m_nLines, c.left[i]) << lines << ", feed " << i;
        }
        Sizes bands = m_client.BandSizes();
        std::for_each(bands.begin(), bands.end(), [](std::size_t& size) { size /= kRow; });
        ASSERT_EQ(bands, c.bands);
        const auto percent = 100 * c.bands[0] / static_cast<std::size_t>(lines);
        EXPECT_EQ(m_client.OfType(2)[1]->m_percent, percent) << "done before the band";
        EXPECT_EQ(m_rig.Get(QL_ATTR_LINES_DONE), lines);
        m_rig.Finish();
        EXPECT_EQ(Messages(), 1 + c.bands.size()) << "an image with bands has no end message";
    }
}

TEST_F(Engine, AFeedTakesWhatThereIsUnlessTheOutputIsHeld) {
    CTestStream stream(Page(60));
    m_rig.Begin(stream);
    m_board.Put(QL_ATTR_HOLD_OUTPUT, 1);
    m_rig.Feed(stream, 20);
    EXPECT_EQ(stream.m_nLines, 20u);
    m_board.Put(QL_ATTR_HOLD_OUTPUT, 0);
    m_rig.Feed(stream, 20);
    EXPECT_EQ(stream.m_nLines, 5u) << "as many as the first feed would have left";
    m_engine.FireFeed();
    EXPECT_EQ(stream.m_nLines, 0u) << "nothing new came: all";
    stream.AddLines(20);
    stream.m_nLines = 0x80000000u;
    m_engine.FireFeed();
    EXPECT_EQ(m_client.Rows().size(), 60 * kRow);
    EXPECT_EQ(stream.m_nLines, 0x80000000u - 20);
}

// ---- The end of an image

TEST_F(Engine, MissingLinesAreDeliveredWhiteAndNotPadded) {
    // By output type and lines that came: 9 x 24 / 8, 9 x 8 / 8, 9 x 1 / 8 bytes, rounded down.
    for (const auto& [type, came, bytes] :
         {std::tuple{3u, 0u, 27u}, {3, 80, 27}, {2, 0, 9}, {0, 0, 1}}) {
        m_engine.SetValue(QL_ATTR_OUTPUT_TYPE, type);
        CTestStream stream(NoisePicture(9, 100));
        m_rig.Begin(stream);
        m_rig.Feed(stream, static_cast<std::int32_t>(came));
        m_engine.FireFeed();
        m_client.m_messages.clear();
        m_rig.Finish();
        ASSERT_EQ(Messages(), 100u - came + (came == 0)) << "one more tells that no band came";
        for (std::size_t i = 0; i < 100u - came; ++i) {
            EXPECT_EQ(m_client.m_messages[i].m_type, QL_IMAGE_CALLBACK_DIB_BUFFER);
            EXPECT_EQ(m_client.m_messages[i].m_percent, 99u);
            EXPECT_EQ(m_client.m_messages[i].m_bytes, Bytes(bytes, 0xFF));
        }
    }
}

TEST_F(Engine, ACancelledImageIsNotFilledOn) {
    // The message at which S_FALSE is answered, and the bands that came then; others go on.
    for (const std::size_t at : {1u, 2u, 7u}) {
        m_client.m_messages.clear();
        m_client.m_act = [&](const auto&) { return Messages() < at ? E_FAIL : S_FALSE; };
        CTestStream stream(Page(100));
        m_rig.Begin(stream);
        m_rig.Feed(stream, at == 1 ? 0 : 20);
        m_rig.Finish();
        EXPECT_EQ(m_client.BandSizes().size(), at - 1);
        EXPECT_EQ(m_client.OfType(QL_IMAGE_CALLBACK_DONE).size(), at == 1 ? 1u : 0u);
        ExpectNextImageIsWhole();
    }
}

TEST_F(Engine, ClientsMayLeaveAndJoinAndTheLastAnswerDecides) {
    CTestClient second, third;
    std::uint32_t secondId = 0, thirdId = 0;
    m_engine.AddClient(&second, &secondId);
    m_client.m_act = [](const auto&) { return S_FALSE; };
    EXPECT_EQ(m_rig.RunStream(Page(40), {20}).size(), 40 * kRow) << "the second wants to go on";
    EXPECT_EQ(second.Rows(), m_client.Rows());
    m_client.m_act = [&](const auto&) {
        m_engine.RemoveClient(m_rig.m_clientId);
        m_engine.RemoveClient(secondId);
        m_engine.AddClient(&third, &thirdId);
        return S_OK;
    };
    second.m_messages.clear();
    EXPECT_EQ(m_rig.RunStream(Page(8), {20}), Bytes());
    EXPECT_EQ(Messages() + second.m_messages.size(), 1u);
    EXPECT_EQ(third.OfType(QL_IMAGE_CALLBACK_DIB_HEADER).size(), 0u) << "joined during the header";
    EXPECT_EQ(third.Rows().size(), 8 * kRow);
}

// ---- Commands out of turn

TEST_F(Engine, ACommandFromInsideACallbackDoesNothingAndAStopWaits) {
    for (const std::uint32_t at : {QL_IMAGE_CALLBACK_DIB_HEADER, QL_IMAGE_CALLBACK_DIB_BUFFER}) {
        m_client.m_messages.clear();
        CTestStream stream(Page(40));
        m_client.m_act = [&](const CTestClient::Message& message) {
            if (message.m_type == at) {
                for (const auto command : kCommands)
                    std::invoke(command, m_engine);
            }
            return S_OK;
        };
        m_rig.Begin(stream);
        m_rig.Feed(stream, 20);
        m_rig.Feed(stream, 20);
        m_engine.FireEnd();
        EXPECT_EQ(Messages(), at) << "the run is over with that message";
        m_engine.Stop();
        ExpectNextImageIsWhole();
    }
}

TEST_F(Engine, CommandsDoNothingWithoutABegin) {
    CQLEngine bare;
    for (const auto command : kCommands)
        std::invoke(command, bare);
    CTestStream stream(Page(40));
    m_engine.SetInputStream(&stream);
    for (const bool started : {false, true}) {
        if (started)
            m_engine.Start();
        m_rig.Feed(stream, 10);
        m_engine.FireEnd();
        EXPECT_EQ(Messages(), 0u);
    }
    m_engine.FireBegin();
    m_engine.FireFeed();
    for (int i = 0; i < 2; ++i) {
        m_engine.FireEnd();
        m_engine.FireFeed();
        EXPECT_EQ(Messages(), 2u + 25);
    }
}

TEST_F(Engine, ASecondBeginStartsTheImageOver) {
    m_board.Hear({QL_ATTR_SOURCE_FIRST_READ});
    CTestStream stream(Page(60));
    m_rig.Begin(stream);
    for (const std::size_t lines : {40u, 10u}) {
        m_rig.Feed(stream, static_cast<std::int32_t>(lines));
        EXPECT_EQ(m_board.Heard().size(), 1u) << "the one before was closed";
        m_client.m_messages.clear();
        m_engine.FireBegin();
        EXPECT_EQ(m_client.OfType(QL_IMAGE_CALLBACK_DIB_HEADER).size(), 1u);
        EXPECT_EQ(m_rig.Get(QL_ATTR_LINES_DONE), 0);
    }
    m_engine.FireEnd();
    EXPECT_EQ(m_client.BandSizes().size(), 60u) << "nothing is left of the first one's bands";
}

TEST_F(Engine, ARunThatIsLeftOpenForgetsItsStream) {
    // By a stop, and by another stream without one; the old stream is gone then.
    for (const bool stops : {true, false}) {
        CTestStream next(Page(30));
        {
            CTestStream stream(Page(60));
            m_rig.Begin(stream);
            m_rig.Feed(stream, 40);
            m_engine.SetInputStream(&stream);  // the same one changes nothing
            EXPECT_EQ(m_rig.Get(QL_ATTR_LINES_DONE), 35);
            stops ? m_engine.Stop() : m_engine.SetInputStream(&next);
        }
        EXPECT_EQ(m_engine.GetValue(QL_ATTR_INPUT_STREAM) == 0, stops);
        EXPECT_EQ(m_rig.Get(QL_ATTR_SOURCE_PRESENT), 0);
        // Colour queries go up the chain: to no source that is gone.
        EXPECT_EQ(m_rig.Get(QL_ATTR_DETECT_RUN), 0);
        m_client.m_messages.clear();
        m_engine.FireFeed();
        m_engine.FireBegin();
        m_engine.FireEnd();
        EXPECT_EQ(m_client.BandSizes().size(), 0u) << "no fill for an image that is forgotten";
        m_rig.Begin(next);
        m_rig.Feed(next, 30);
        EXPECT_EQ(m_client.Rows().size(), 25 * kRow);
        m_rig.Finish();
    }
}

// ---- Sources that can't be had, and the output stream

TEST_F(Engine, ASourceThatCanNotBeHadEndsTheRunEmpty) {
    m_board.Hear({QL_ATTR_STATUS});
    CTestPicture picture = Page(20);
    picture.m_width = 0;
    CByteStream stream(BitmapHeaders(picture, -20));
    m_rig.Begin(stream);
    EXPECT_EQ(m_shown, std::vector<std::string>{"Bad BMP file (must be valid 24-bit BMP file)."});
    EXPECT_EQ(m_board.Heard().size(), 1u);
    m_engine.FireFeed();
    m_rig.Finish();
    EXPECT_EQ(Messages(), 1u);
    ASSERT_EQ(m_client.OfType(QL_IMAGE_CALLBACK_DONE).size(), 1u);
    EXPECT_EQ(m_client.m_messages[0].m_percent, 100u);
    ExpectNextImageIsWhole();
    for (const std::size_t shown : {1u, 2u}) {
        m_engine.Start();
        m_engine.FireOpenAnalysed();
        m_rig.Finish();
        EXPECT_EQ(m_shown.size(), shown) << "nothing to read from is no news, a missing file is";
        SetBenchSource("/nowhere/at-all.bmp");
    }
    RegClearProcessValues();
}

TEST_F(Engine, AnOutputStreamReceivesABitmapFileInPlaceOfTheClients) {
    CByteStream output({});
    m_engine.SetOutputStream(&output);
    m_rig.RunStream(NoisePicture(5, 6, 8), {20});
    const Bytes& file = output.All();
    ASSERT_EQ(file.size(), 14u + 40 + 1024 + 6 * 8);
    EXPECT_EQ(Bytes(file.begin(), file.begin() + 6), (Bytes{'B', 'M', 54 + 6 * 8, 0, 0, 0}));
    EXPECT_EQ(file[10], 54u) << "the palette isn't counted";
    EXPECT_EQ(file[22], 0x100 - 6) << "top line first";
    ASSERT_EQ(Messages(), 1u) << "no band went to the clients";
}

}  // namespace
