// Whole runs, from picture file to picture file.
#include "tools/process/run.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/pictures/picture_files.h"

namespace {

using Names = std::vector<std::string>;

// What the default settings make of a linear 8-bit sample: the value in 16 bits without rounding
// up, the sRGB curve, the high byte.
std::uint8_t Encoded(int sample16) {
    const double x = sample16 / 65535.0;
    const double y = x <= 0.00304 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
    return static_cast<std::uint8_t>(static_cast<int>(y * 65535.0 + 0.5) >> 8);
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

TEST_F(Process, TheHeaderIsTheEnginesOwn) {
    Lay(TestBitmap(37, 23, 24));
    const std::pair<const char*, DWORD> cases[] = {
        {"Data Type=0", 2}, {"Data Type=2", 256}, {"Data Type=3", 0}};
    for (const auto& [type, colors] : cases) {
        CProcessJob job = Job("out.bmp");
        job.m_properties = {type};
        const Bytes bytes = Run(job);
        BITMAPINFOHEADER info = {};
        std::memcpy(&info, bytes.data() + sizeof(BITMAPFILEHEADER), sizeof(info));
        EXPECT_EQ(info.biClrUsed, colors) << type;
        EXPECT_EQ(info.biClrImportant, colors) << type << ": all of them are";
    }
}

TEST_F(Process, ThePropertiesAreReadBeforeTheAttributesAreWritten) {
    Lay(TestBitmap(8, 8, 24));
    CProcessJob job = Job("out.bmp");
    job.m_properties = {"4103=2"};
    const Bytes gray = Run(job);
    job.m_properties = {"4103=0"};
    EXPECT_NE(Run(job), gray);
    job.m_attributes = {"OUTPUT_TYPE=3", "OUTPUT_TYPE=2"};
    EXPECT_EQ(Run(job), gray) << "the last write holds";
}

TEST_F(Process, BothRoadsAndEveryBandGiveTheSameBytes) {
    for (const std::int32_t height : {1, 9, 27}) {
        for (const char* property : {"Data Type=3", "Data Type=2", "Data Type=0", "TMA Select=1"}) {
            Lay(TestBitmap(9, height, 24));
            CProcessJob fromFile = FileJob("file.bmp");
            fromFile.m_properties = {property};
            const Bytes expected = Run(fromFile);
            CProcessJob job = Job("stream.bmp");
            job.m_properties = {property};
            for (job.m_bandLines = 1; job.m_bandLines <= 28; ++job.m_bandLines)
                ASSERT_EQ(Run(job), expected) << height << ": " << job.m_bandLines << " at a time";
        }
    }
    Lay(TestBitmap(33, 31, 8));
    CProcessJob gray = Job("out.bmp");
    const Bytes bytes = Run(gray);
    EXPECT_EQ(bytes[1078], Encoded(TestSample(0, 30, 0) << 8)) << "the last line comes first";
    gray.m_bandLines = 7;
    EXPECT_EQ(Run(gray), bytes) << "gray pictures are told line by line";
}

TEST_F(Process, EveryPictureFormatTakesBothRoads) {
    Lay(TestBitmap(13, 21, 24));
    const Bytes expected = Run(Job("direct.bmp"));
    // Of another kind than the engine's reader takes: it goes through a temporary file.
    CBitmapFile longHeader = TestBitmap(13, -21, 24);
    longHeader.m_info.biSize = 108;
    longHeader.m_gap.resize(108 - 40);
    longHeader.Settle();
    WriteBytes(m_folder / "long.bmp", longHeader.All());
    const Names before = m_folder.Names();
    for (const bool fromFile : {false, true}) {
        CProcessJob job = Job("out.bmp");
        job.m_input = m_folder / "long.bmp";
        job.m_fromFile = fromFile;
        EXPECT_EQ(Run(job), expected) << fromFile;
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
    // usual threshold of 28671; 51 parts of the one and 49 of the other are 18810.
    CBitmapFile picture = CBitmapFile::Make(40, 40, 24);
    std::ranges::fill(picture.m_rows, std::uint8_t{0x64});
    for (std::int32_t line = 0; line < 4; ++line)
        std::fill_n(picture.Line(line), 120, std::uint8_t{0x30});
    Lay(picture);
    CProcessJob job = FileJob("out.bmp");
    job.m_properties = {"Data Type=0"};
    EXPECT_EQ(Run(job)[62], 0) << "paper below the threshold is black";
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
