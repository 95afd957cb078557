// Whole runs, from picture file to picture file.
#include "tools/process/run.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "tests/pictures/picture_files.h"

namespace {

using Names = std::vector<std::string>;
using Settings = std::vector<std::string>;

// What the default settings make of a linear 8-bit sample: the value in 16 bits without rounding
// up, the sRGB curve, the high byte.
std::uint8_t Encoded(int sample16) {
    const double x = sample16 / 65535.0;
    const double y = x <= 0.00304 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(static_cast<int>(y * 65535.0 + 0.5) >> 8);
}

// Gray by 0.3, 0.59 and 0.11 in parts of 1024, of samples in 16 bits.
int GrayOf(std::int32_t x, std::int32_t line) {
    const auto sample = [&](int channel) { return TestSample(x, line, channel) << 8; };
    return (307 * sample(2) + 604 * sample(1) + 113 * sample(0)) >> 10;
}

class Process : public testing::Test {
  protected:
    CProcessJob Job(const std::string& output) {
        CProcessJob job;
        job.m_input = m_input;
        job.m_output = m_folder / output;
        return job;
    }
    CProcessJob FileJob(const std::string& output) {
        CProcessJob job = Job(output);
        job.m_fromFile = true;
        return job;
    }
    void Lay(const CBitmapFile& bitmap) { WriteBytes(m_input, bitmap.All()); }
    Bytes Run(const CProcessJob& job) {
        std::string error;
        EXPECT_EQ(RunProcess(job, &error), CProcessResult::Done) << error;
        return ReadBytes(job.m_output);
    }

    CTempFolder m_folder;
    const std::string m_input = m_folder / "in.bmp";
};

TEST_F(Process, ColorIsEncodedForScreens) {
    CBitmapFile picture = TestBitmap(37, 23, 24);
    picture.m_info.biXPelsPerMeter = picture.m_info.biYPelsPerMeter = 11811;
    Lay(picture);
    CBitmapFile expected = CBitmapFile::Make(37, 23, 24);
    expected.m_info.biSizeImage = static_cast<DWORD>(expected.m_rows.size());
    expected.m_info.biXPelsPerMeter = expected.m_info.biYPelsPerMeter = 11811;
    std::ranges::fill(expected.m_rows, std::uint8_t{0xFF});  // padding is white
    for (std::int32_t line = 0; line < 23; ++line) {
        for (std::int32_t i = 0; i < 37 * 3; ++i)
            expected.Line(line)[i] = Encoded(picture.Line(line)[i] << 8);
    }
    EXPECT_EQ(Run(Job("out.bmp")), expected.All());
    CProcessJob inverted = Job("inverted.bmp");
    inverted.m_attributes = {"QL_ATTR_INVERT=true"};
    for (std::int32_t line = 0; line < 23; ++line) {
        for (std::int32_t i = 0; i < 37 * 3; ++i)
            expected.Line(line)[i] = static_cast<std::uint8_t>(255 - expected.Line(line)[i]);
    }
    EXPECT_EQ(Run(inverted), expected.All());
}

// Decoding takes the lowest linear sample that encodes to a value, so that encoding gives it back.
TEST_F(Process, AnEncodedPictureComesOutAsItWentIn) {
    CBitmapFile picture = CBitmapFile::Make(256, 3, 24);
    for (std::int32_t line = 0; line < 3; ++line) {
        for (std::int32_t i = 0; i < 256 * 3; ++i)
            picture.Line(line)[i] = static_cast<std::uint8_t>(i / 3 + line * (i % 3));
    }
    Lay(picture);
    CProcessJob job = Job("out.bmp");
    job.m_encoded = true;
    const Bytes bytes = Run(job);
    ASSERT_EQ(bytes.size(), picture.All().size());
    EXPECT_TRUE(std::equal(picture.m_rows.begin(), picture.m_rows.end(), bytes.begin() + 54));
}

TEST_F(Process, GrayWeighsTheChannels) {
    Lay(TestBitmap(37, 23, 24));
    CProcessJob job = Job("out.bmp");
    job.m_properties = {"Data Type=2"};
    const Bytes bytes = Run(job);
    CBitmapFile expected = CBitmapFile::Make(37, 23, 8);
    ASSERT_EQ(bytes.size(), expected.All().size());
    for (std::int32_t line = 0; line < 23; ++line) {
        for (std::int32_t x = 0; x < 37; ++x) {
            ASSERT_EQ(bytes[1078 + 40 * static_cast<std::size_t>(22 - line) +
                            static_cast<std::size_t>(x)],
                      Encoded(GrayOf(x, line)))
                << x << ", " << line;
        }
    }
}

TEST_F(Process, LineArtIsWhiteAboveTheThreshold) {
    Lay(TestBitmap(37, 23, 24));
    // Threshold 55 stands for 56 x 512 - 1; a brightness other than 0 for (1000 - b) x 32.768.
    const std::pair<Settings, int> cases[] = {{{"Data Type=0"}, 28671},
                                              {{"Data Type=0", "Brightness=500"}, 16384}};
    for (const auto& [properties, threshold] : cases) {
        CProcessJob job = Job("out.bmp");
        job.m_properties = properties;
        const Bytes bytes = Run(job);
        ASSERT_EQ(bytes.size(), 62u + 8u * 23u);
        EXPECT_EQ(Bytes(bytes.begin() + 54, bytes.begin() + 62),
                  (Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
        for (std::int32_t line = 0; line < 23; ++line) {
            for (std::int32_t x = 0; x < 37; ++x) {
                const std::uint8_t byte = bytes[62 + 8 * static_cast<std::size_t>(22 - line) +
                                                static_cast<std::size_t>(x) / 8];
                ASSERT_EQ(byte >> (7 - x % 8) & 1, GrayOf(x, line) > threshold)
                    << x << ", " << line;
            }
        }
    }
}

TEST_F(Process, ThePropertiesAreReadBeforeTheAttributesAreWritten) {
    Lay(TestBitmap(8, 8, 24));
    CProcessJob line = Job("line.bmp");
    line.m_properties = {"4103=0"};
    CProcessJob gray = Job("gray.bmp");
    gray.m_properties = {"4103=2"};
    const Bytes expected = Run(gray);
    gray.m_properties = {"4103=0"};
    gray.m_attributes = {"OUTPUT_TYPE=3", "OUTPUT_TYPE=2"};
    EXPECT_EQ(Run(gray), expected) << "the last write holds";
    EXPECT_NE(Run(line), expected);
}

TEST_F(Process, BothRoadsAndEveryBandGiveTheSameBytes) {
    const auto expectSame = [this](std::int32_t width, std::int32_t height,
                                   const Settings& properties,
                                   const std::vector<std::int32_t>& bands) {
        Lay(TestBitmap(width, height, 24));
        CProcessJob fromFile = FileJob("file.bmp");
        fromFile.m_properties = properties;
        const Bytes expected = Run(fromFile);
        CProcessJob job = Job("stream.bmp");
        job.m_properties = properties;
        for (const std::int32_t band : bands) {
            job.m_bandLines = band;
            ASSERT_EQ(Run(job), expected) << height << " lines, " << band << " at a time";
        }
    };
    // Every number of lines at which the engine's feed rule changes.
    for (const std::int32_t height : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 20, 21, 26})
        expectSame(5, height, {}, {1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 20, 64});
    for (const Settings& properties :
         {Settings{"Data Type=2"}, Settings{"Data Type=0"}, Settings{"TMA Select=1"}}) {
        for (const std::int32_t height : {1, 9, 27})
            expectSame(9, height, properties, {1, 5, 20});
    }
    std::vector<std::int32_t> all(64);
    std::iota(all.begin(), all.end(), 1);
    expectSame(33, 67, {}, all);
}

TEST_F(Process, GrayPicturesGiveTheSameBytesAtEveryBand) {
    Lay(TestBitmap(33, 31, 8));
    CProcessJob job = Job("out.bmp");
    const Bytes bytes = Run(job);
    ASSERT_EQ(bytes.size(), 1078u + 36u * 31u);
    EXPECT_EQ(bytes[1078], Encoded(TestSample(0, 30, 0) << 8)) << "the last line comes first";
    for (job.m_bandLines = 1; job.m_bandLines <= 64; job.m_bandLines += 7)
        ASSERT_EQ(Run(job), bytes) << job.m_bandLines << " at a time";
}

TEST_F(Process, EveryPictureFormatTakesBothRoads) {
    Lay(TestBitmap(13, 21, 24));
    const Bytes expected = Run(Job("direct.bmp"));
    // Of other kinds than the engine's reader takes: they go through a temporary file.
    CBitmapFile longHeader = TestBitmap(13, -21, 24);
    longHeader.m_info.biSize = 108;
    longHeader.m_gap.resize(108 - 40);
    longHeader.Settle();
    WriteBytes(m_folder / "long.bmp", longHeader.All());
    Bytes pnm = {'P', '6', ' ', '1', '3', ' ', '2', '1', ' ', '2', '5', '5', '\n'};
    for (std::int32_t line = 0; line < 21; ++line) {
        for (std::int32_t x = 0; x < 13; ++x) {
            for (int c = 2; c >= 0; --c)
                pnm.push_back(TestSample(x, line, c));
        }
    }
    WriteBytes(m_folder / "picture.pnm", pnm);
    const Names before = m_folder.Names();
    for (const char* name : {"long.bmp", "picture.pnm"}) {
        for (const bool fromFile : {false, true}) {
            CProcessJob job = Job("out.bmp");
            job.m_input = m_folder / name;
            job.m_fromFile = fromFile;
            EXPECT_EQ(Run(job), expected) << name;
        }
    }
    std::filesystem::remove(m_folder / "out.bmp");
    EXPECT_EQ(m_folder.Names(), before);
    Lay(TestBitmap(3, 3, 8));
    std::string error;
    EXPECT_EQ(RunProcess(FileJob("out.bmp"), &error), CProcessResult::BadInput);
    EXPECT_EQ(error, m_input +
                         ": is a gray picture of 8 bits a pixel; --from-file reads colour "
                         "ones of 24 bits");
}

TEST_F(Process, AnAnalysisPassFindsTheThreshold) {
    // A tenth of the picture is ink (samples 0x3000), the rest paper (0x6400), both below the
    // usual threshold of 28671: all black. 51 parts of the one and 49 of the other are 18810.
    CBitmapFile picture = CBitmapFile::Make(40, 40, 24);
    std::ranges::fill(picture.m_rows, std::uint8_t{0x64});
    for (std::int32_t line = 0; line < 4; ++line)
        std::fill_n(picture.Line(line), 120, std::uint8_t{0x30});
    Lay(picture);
    CProcessJob job = FileJob("out.bmp");
    job.m_properties = {"Data Type=0"};
    const Bytes plain = Run(job);
    EXPECT_TRUE(std::all_of(plain.begin() + 62, plain.end() - 320,
                            [](std::uint8_t byte) { return byte == 0 || byte == 0xFF; }));
    EXPECT_EQ(plain[62], 0) << "paper below the threshold is black";
    job.m_analyse = true;
    const Bytes found = Run(job);
    EXPECT_EQ(found[62], 0xFF) << "the last line is paper";
    EXPECT_EQ(found[62 + 8 * 39], 0) << "the first line is ink";
}

TEST_F(Process, ACancelAtAnyMomentLeavesNoOutput) {
    Lay(TestBitmap(20, 50, 24));
    for (const bool fromFile : {false, true}) {
        CProcessResult result = CProcessResult::Cancelled;
        int polls = 0;
        for (; result == CProcessResult::Cancelled; ++polls) {
            CProcessJob job = Job("out.bmp");
            job.m_fromFile = fromFile;
            int left = polls;
            job.m_cancelled = [&left] { return left-- <= 0; };
            std::string error;
            result = RunProcess(job, &error);
            if (result == CProcessResult::Cancelled) {
                ASSERT_EQ(m_folder.Names(), Names{"in.bmp"}) << polls;
            }
            ASSERT_LT(polls, 1000);
        }
        EXPECT_EQ(result, CProcessResult::Done);
        EXPECT_GT(polls, 3) << "it is asked more than once";
        EXPECT_EQ(m_folder.Names(), (Names{"in.bmp", "out.bmp"}));
        std::filesystem::remove(m_folder / "out.bmp");
    }
}

TEST_F(Process, ProgressRisesToTheEnd) {
    Lay(TestBitmap(20, 200, 24));
    std::vector<unsigned> percents;
    CProcessJob job = Job("out.bmp");
    job.m_progress = [&percents](unsigned percent) { percents.push_back(percent); };
    Run(job);
    ASSERT_EQ(percents.size(), 11u) << "ten bands, and the five lines that were held back";
    EXPECT_TRUE(std::ranges::is_sorted(percents));
    // A band is announced with the lines that are done before it: 15 behind the first of 20.
    EXPECT_EQ(percents[0], 0u);
    EXPECT_EQ(percents[1], 7u);
    EXPECT_EQ(percents[10], 97u);
}

}  // namespace
