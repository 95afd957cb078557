// Whole runs, from picture file to picture file.
#include "tools/process/run.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <set>

#include "pictures/picture_writer.h"
#include "tests/pictures/picture_files.h"

namespace {

using Names = std::vector<std::string>;

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

// Decoding takes the lowest linear sample that encodes to a value, so that encoding gives it back.
// The levels are those that correct nothing.
TEST_F(Process, AnEncodedPictureComesOutAsItWentIn) {
    CBitmapFile picture = CBitmapFile::Make(256, 3, 24);
    picture.m_info.biXPelsPerMeter = picture.m_info.biYPelsPerMeter = 11811;
    for (std::int32_t line = 0; line < 3; ++line) {
        for (std::int32_t i = 0; i < 256 * 3; ++i)
            picture.Line(line)[i] = static_cast<std::uint8_t>(i / 3 + line * (i % 3));
    }
    Lay(picture);
    CProcessJob job = Job("out.bmp");
    job.m_encoded = true;
    job.m_attributes = {"HIGHLIGHT=0"};  // full scale is white
    picture.m_info.biSizeImage = static_cast<DWORD>(picture.m_rows.size());
    EXPECT_EQ(Run(job), picture.All());
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

// One colour makes the first entry of its own palette, and nothing is left to diffuse.
TEST_F(Process, AnAdaptivePaletteComesFromAPassOfItsOwn) {
    CBitmapFile picture = CBitmapFile::Make(40, 12, 24);
    for (std::size_t i = 0; i < picture.m_rows.size(); ++i)
        picture.m_rows[i] = static_cast<std::uint8_t>(40 + i % 3 * 70);
    Lay(picture);
    CProcessJob plain = Job("plain.bmp");
    plain.m_encoded = true;
    const Bytes colors = Run(plain);
    for (const auto& [fromFile, analyse] : {std::pair{false, false}, {true, false}, {true, true}}) {
        CProcessJob job = Job("out.bmp");
        job.m_encoded = true;
        job.m_fromFile = fromFile;
        job.m_analyse = analyse;
        job.m_palette.emplace().m_kind = QL_PALETTE_ADAPTIVE;
        const Bytes bytes = Run(job);
        ASSERT_EQ(bytes.size(), 54u + 1024 + 40 * 12);
        EXPECT_EQ(std::count(bytes.begin() + 54 + 1024, bytes.end(), 0), 40 * 12) << fromFile;
        EXPECT_TRUE(analyse || std::equal(&bytes[54], &bytes[54] + 3, &colors[54])) << fromFile;
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

TEST_F(Process, FiltersAreTheAttributesOfTheirStages) {
    Lay(TestBitmap(40, 12, 24));
    const struct {
        ScanFilters filters;
        Names attributes;
    } cases[] = {
        {{.sharpening = 4}, {"SHARPEN_LEVEL=4"}},
        {{.sharpening = 5}, {"SHARPEN_LEVEL=5"}},
        {{.smoothing = 0}, {"NOISE_SMOOTH_ON=false"}},
        {{.smoothing = 2}, {"SMOOTH_ON=true"}},
        {{.streaks = 2}, {"DESTREAK_B=2"}},
        {{.streaks = 1, .streakDetail = 1}, {"DESTREAK_B=1", "DESTREAK_C=1", "DESTREAK_D=1"}},
        {{.streaks = 1, .streakDetail = 3}, {"DESTREAK_B=1", "DESTREAK_D=3"}}};
    std::set<Bytes> results = {Run(Job("plain.bmp"))};
    for (const auto& c : cases) {
        CProcessJob filtered = Job("a.bmp"), written = Job("b.bmp");
        filtered.m_filters = c.filters;
        written.m_attributes = c.attributes;
        EXPECT_EQ(Run(filtered), Run(written)) << c.attributes.back();
        results.insert(Run(filtered));
    }
    EXPECT_EQ(results.size(), 1 + std::size(cases));
}

TEST_F(Process, BothRoadsAndEveryBandGiveTheSameBytes) {
    for (const std::int32_t height : {1, 27}) {
        for (const char* property : {"Data Type=3", "Data Type=0"}) {
            Lay(TestBitmap(9, height, 24));
            CProcessJob fromFile = FileJob("file.bmp");
            CProcessJob job = Job("stream.bmp");
            fromFile.m_properties = job.m_properties = {property};
            const Bytes expected = Run(fromFile);
            for (job.m_bandLines = 1; job.m_bandLines <= 28; ++job.m_bandLines)
                ASSERT_EQ(Run(job), expected) << height << ": " << job.m_bandLines << " at a time";
        }
    }
    Lay(TestBitmap(33, 31, 8));
    CProcessJob gray = Job("out.bmp");
    gray.m_encoded = true;
    gray.m_attributes = {"HIGHLIGHT=0"};
    const Bytes bytes = Run(gray);
    EXPECT_EQ(bytes[1078], TestSample(0, 30, 0)) << "the last line comes first";
    gray.m_bandLines = 7;
    EXPECT_EQ(Run(gray), bytes) << "gray pictures are told line by line";
}

// Mirrored and turned half round, lines change places and pixels don't.
TEST_F(Process, APictureIsMirroredAndTurned) {
    CBitmapFile picture = TestBitmap(16, 20, 24);
    picture.m_info.biXPelsPerMeter = 11811;
    picture.m_info.biYPelsPerMeter = 5906;
    Lay(picture);
    const Bytes plain = Run(Job("out.bmp"));
    for (CProcessJob job : {Job("turned.bmp"), FileJob("turned.bmp")}) {
        job.m_mirror = true;
        job.m_rotate = 180;
        Bytes expected = plain;
        for (std::ptrdiff_t line = 0; line < 20; ++line)
            std::copy_n(plain.begin() + 54 + 48 * line, 48, expected.end() - 48 * (line + 1));
        EXPECT_EQ(Run(job), expected);
        job.m_rotate = 90;
        BITMAPINFOHEADER info = {};
        std::memcpy(&info, Run(job).data() + sizeof(BITMAPFILEHEADER), sizeof(info));
        EXPECT_EQ(
            (std::array{info.biWidth, info.biHeight, info.biXPelsPerMeter, info.biYPelsPerMeter}),
            (std::array<LONG, 4>{20, 16, 5906, 11811}));
    }
    Lay(TestBitmap(9, 2, 24));
    CProcessJob job = Job("small.bmp");
    job.m_rotate = 90;
    std::string error;
    EXPECT_EQ(RunProcess(job, &error), CProcessResult::BadInput);
    EXPECT_EQ(error, m_input + ": only a picture of at least 3 pixels and lines can be turned");
}

TEST_F(Process, BothResolutionsGoFromTheFileToTheResult) {
    CBitmapFile picture = TestBitmap(16, 20, 24);
    picture.m_info.biXPelsPerMeter = 11811;
    picture.m_info.biYPelsPerMeter = 6001;
    Lay(picture);
    for (CProcessJob job : {Job("out.bmp"), FileJob("out.bmp")}) {
        for (const auto& [angle, x, y] : {std::array{0, 11811, 6001}, {90, 6001, 11811}}) {
            job.m_rotate = angle;
            BITMAPINFOHEADER info = {};
            std::memcpy(&info, Run(job).data() + sizeof(BITMAPFILEHEADER), sizeof(info));
            EXPECT_EQ(info.biXPelsPerMeter, x) << angle;
            EXPECT_EQ(info.biYPelsPerMeter, y) << angle;
        }
    }
}

// The pages of one file, with a picture each, come out as those pictures do by themselves.
TEST_F(Process, EveryPageOfAFileIsAPictureOfItsOwn) {
    std::string error;
    const std::string tiff = m_folder / "in.tif";
    const auto writer = CreatePictureWriter(tiff, {}, &error);
    std::vector<Bytes> alone;
    for (const std::int32_t page : {1, 2, 3}) {
        CBitmapFile picture = TestBitmap(10 * page, -20, 24);
        picture.m_info.biXPelsPerMeter = picture.m_info.biYPelsPerMeter = 11811;
        Lay(picture);
        alone.push_back(Run(Job("alone.bmp")));
        picture.m_info.biHeight = 20;
        ASSERT_TRUE(writer->Begin(picture.m_info, {}));
        ASSERT_TRUE(writer->Write(picture.m_rows.data(), picture.m_rows.size()));
        ASSERT_TRUE(writer->EndPage());
    }
    ASSERT_TRUE(writer->Finish());
    std::vector<unsigned> percents;
    for (CProcessJob job : {Job("page-%02d.bmp"), FileJob("page-%02d.bmp")}) {
        job.m_input = tiff;
        job.m_progress = [&](unsigned percent) { percents.push_back(percent); };
        ASSERT_EQ(RunProcess(job, &error), CProcessResult::Done) << error;
        for (int page = 1; page <= 3; ++page) {
            const std::string name = m_folder / ("page-0" + std::to_string(page) + ".bmp");
            EXPECT_EQ(ReadBytes(name), alone[static_cast<std::size_t>(page - 1)]) << page;
            std::filesystem::remove(name);
        }
        EXPECT_TRUE(std::ranges::is_sorted(percents));
        percents.clear();
    }
    CProcessJob job = Job("all.tif");
    job.m_input = tiff;
    Run(job);
    EXPECT_EQ(CountTiffPages(job.m_output), 3);
    job.m_output = m_folder / "one.bmp";
    EXPECT_EQ(RunProcess(job, &error), CProcessResult::BadInput);
    EXPECT_NE(error.find("in.tif: has 3 pages, and "), std::string::npos) << error;
    job.m_page = 4;
    EXPECT_EQ(RunProcess(job, &error), CProcessResult::BadInput);
    EXPECT_EQ(error, tiff + ": has 3 pages; there is no --page 4");
    job.m_page = 2;
    EXPECT_EQ(Run(job), alone[1]);

    // Of a job that breaks off, files of a page each stay where they are whole.
    std::filesystem::resize_file(tiff, std::filesystem::file_size(tiff) - 300);
    const Names before = m_folder.Names();
    for (const char* output : {"page-%d.bmp", "all.pdf"}) {
        job = Job(output);
        job.m_input = tiff;
        EXPECT_EQ(RunProcess(job, &error), CProcessResult::BadInput);
        EXPECT_NE(error.find("it ends early"), std::string::npos) << error;
        EXPECT_EQ(m_folder.Names(), before) << "nothing begins on a file with pages missing";
    }
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
    // All is paper, but darker than the usual threshold of 28671.
    CBitmapFile picture = CBitmapFile::Make(40, 40, 24);
    std::ranges::fill(picture.m_rows, std::uint8_t{0x64});
    std::fill_n(picture.Line(3), 120 * 4, std::uint8_t{0x30});  // the first lines are ink
    Lay(picture);
    CProcessJob job = FileJob("out.bmp");
    job.m_properties = {"Data Type=0"};
    EXPECT_EQ(Run(job)[62], 0);
    job.m_analyse = true;
    EXPECT_EQ(Run(job)[62], 0xFF) << "the last line is paper";
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

}  // namespace
