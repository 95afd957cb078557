// Plots, looked at by their pixels.
#include <gtest/gtest.h>

#include <cmath>

#include "pictures/picture_reader.h"
#include "tests/pictures/picture_files.h"
#include "tools/plot/plot_file.h"
#include "tools/plot/tone_plots.h"
#include "tools/process/run.h"

// The library that finds the plots' font keeps its caches until the program ends.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig";
}

namespace {

// A plot as a picture of pixels.
class CPlotPixels {
  public:
    explicit CPlotPixels(const std::string& path) {
        std::string error;
        const auto reader = OpenPicture(path, &error);
        EXPECT_TRUE(reader) << error;
        m_lineBytes = reader->LineBytes();
        m_scale = reader->Info().m_width / kPlotWidth;
        m_rows.resize(m_lineBytes * static_cast<std::size_t>(reader->Info().m_height));
        EXPECT_TRUE(reader->ReadLines(m_rows.data(), reader->Info().m_height));
    }
    // The pixel where (x, y), shares of the axes, lie in a panel: 'r', 'g' or 'b' for the colour
    // that it has most of, 'w' for white, '.' for a gray.
    char At(double x, double y, int panel = 0) const {
        const double across = kFrameLeft + x * (kFrameRight - kFrameLeft);
        const double down = panel * kPanelHeight + kFrameBottom - y * (kFrameBottom - kFrameTop);
        const std::uint8_t* bgr = m_rows.data() + std::lround(down * m_scale) * m_lineBytes +
                                  3 * std::lround(across * m_scale);
        const auto [low, high] = std::minmax({bgr[0], bgr[1], bgr[2]});
        if (high - low < 25)
            return low > 250 ? 'w' : '.';
        return high == bgr[2] ? 'r' : high == bgr[1] ? 'g' : 'b';
    }
    // Is there a colour from `low` to `high` at this x?
    bool Finds(char color, double x, double low, double high, int panel = 0) const {
        for (double y = low; y <= high; y += 0.002) {
            if (At(x, y, panel) == color)
                return true;
        }
        return false;
    }

  private:
    double m_scale = 1;
    std::size_t m_lineBytes = 0;
    Bytes m_rows;
};

TEST(Plot, AxesEndAtWholeSteps) {
    for (const auto& [most, end] :
         {std::pair{0.0, 1.0}, {NAN, 1}, {55, 60}, {1.61, 1.8}, {20.1, 25}})
        EXPECT_NEAR(AxisUpTo(most, "%").m_most, end, 1e-9) << most;
}

// Three tenths of red at level 64, seven tenths at 191, blue all at 230. So few levels leave none
// out: the axis goes to 100 %.
TEST(Plot, AHistogramShowsTheSharesOfItsLevels) {
    const CTempFolder folder;
    CToneCounts counts;
    counts.m_channels.resize(3);
    counts.m_channels[0][64] = 300;
    counts.m_channels[0][191] = 700;
    counts.m_channels[2][230] = 1000;
    const CPlotPanel panel = HistogramPanel("Tones", "level", counts);
    EXPECT_EQ(panel.m_series[0].m_name, "red, mean 153");  // (3 x 64 + 7 x 191) / 10 = 152.9
    std::string error;
    ASSERT_TRUE(WritePlot(folder / "plot.png", {&panel, 1}, &error)) << error;
    const CPlotPixels plot(folder / "plot.png");
    for (const auto& [color, level, share] :
         {std::tuple{'r', 64, 0.3}, {'r', 191, 0.7}, {'b', 230, 1.0}}) {
        EXPECT_TRUE(plot.Finds(color, level / 255.0, share - 0.04, share));
        EXPECT_FALSE(plot.Finds(color, level / 255.0, share + 0.01, 0.99));
        EXPECT_EQ(plot.At((level + 5) / 255.0, share / 2), 'w');
    }
    EXPECT_EQ(plot.At(0.2, 0.5), '.') << "the grid";
    counts.m_channels[1].fill(10);
    counts.m_channels[1][128] = 2450;
    EXPECT_LT(HistogramPanel("Tones", "level", counts).m_y.m_most, 100) << "one is left out";
}

TEST(Plot, TheEndingChoosesTheFormat) {
    const CTempFolder folder;
    const CPlotPanel panel{"Title", "note", {"x", 1, 1}, {"y", 1, 1}, {{"one", kPlotRed, {0, 1}}}};
    std::string error;
    for (const auto& [name, begin] :
         {std::pair{"a.png", "\x89PNG"}, {"b.PDF", "%PDF-1"}, {"c.svg", "<?xml"}}) {
        ASSERT_TRUE(WritePlot(folder / name, {&panel, 1}, &error)) << error;
        EXPECT_EQ(ReadText(folder / name).find(begin), 0u) << name;
    }
    EXPECT_FALSE(WritePlot("a/b.jpg", {&panel, 1}, &error));
    EXPECT_EQ(error, "a/b.jpg: a plot is a .png, .pdf or .svg file");
    EXPECT_FALSE(WritePlot(folder / "none/plot.svg", {&panel, 1}, &error));
    EXPECT_EQ(error.find(folder / "none/plot.svg: can't be created"), 0u) << error;
}

TEST(Plot, CountsAreThoseOfThePixels) {
    CToneCounter counter;
    counter.Begin(MakeInfoHeader(2, 2, 24), {});
    counter.Add(Bytes{1, 2, 3, 1, 9, 3, 0, 0, 7, 2, 3, 1, 9, 3, 0, 0});
    EXPECT_EQ(counter.Counts().m_channels[0][3], 4u) << "red";
    EXPECT_EQ(counter.Counts().m_channels[2][1], 3u);
    const RGBQUAD palette[] = {{10, 10, 10, 0}, {200, 200, 200, 0}};
    counter.Begin(MakeInfoHeader(3, 1, 1), palette);
    counter.Add(Bytes{0xA0, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(counter.Counts().m_channels[0][200], 2u);
    EXPECT_EQ(counter.Counts().m_channels[0][10], 1u);
}

// ---- Of pictures

class ProcessPlots : public testing::Test {
  protected:
    ProcessPlots() {
        m_job.m_input = m_folder / "in.bmp";
        m_job.m_output = m_folder / "out.bmp";
    }
    // Grays from black up to an eighth of full scale, over and over.
    void LayDarkGrays() {
        CBitmapFile picture = CBitmapFile::Make(256, 24, 24);
        for (std::int32_t line = 0; line < 24; ++line) {
            for (std::int32_t i = 0; i < 256 * 3; ++i)
                picture.Line(line)[i] = static_cast<std::uint8_t>(i / 3 % 64 / 2);
        }
        WriteBytes(m_job.m_input, picture.All());
    }
    void Run() {
        std::string error;
        EXPECT_EQ(RunProcess(m_job, &error), CProcessResult::Done) << error;
    }
    double Brightness() {
        std::string error;
        CToneCounts counts;
        Run();
        EXPECT_TRUE(CountPicture(
            {.m_path = m_job.m_output, .m_name = {}}, [] { return false; }, &counts, &error))
            << error;
        return CToneCounts::Mean(counts.m_channels[1]);
    }

    CTempFolder m_folder;
    CProcessJob m_job;
};

// Without corrections an encoded picture stays as it is: the curves are the diagonal, and with the
// inversion the other one, and then dark grays lie at the other end. Mirroring turns pictures, not
// curves. Line art has a histogram too.
TEST_F(ProcessPlots, AreThoseOfTheRun) {
    LayDarkGrays();
    m_job.m_encoded = true;
    m_job.m_plots = {m_folder / "histogram.png", m_folder / "curves.png"};
    for (const bool inverts : {false, true}) {
        m_job.m_properties = {"Exposure Method=1"};
        m_job.m_attributes = {"QL_ATTR_MIRROR=true",
                              inverts ? "QL_ATTR_INVERT=true" : "QL_ATTR_INVERT=false"};
        Run();
        const CPlotPixels curves(m_job.m_plots.m_curves), tones(m_job.m_plots.m_histogram);
        for (const double x : {0.15, 0.55, 0.85}) {
            const double y = inverts ? 1 - x : x;
            EXPECT_TRUE(curves.Finds('b', x, y - 0.01, y + 0.01)) << x;
            EXPECT_FALSE(curves.Finds('b', x, 1 - y - 0.02, 1 - y + 0.02)) << x;
        }
        for (const int panel : {0, 1}) {
            const bool isBright = panel == 1 && inverts;
            EXPECT_EQ(tones.At(0.07, 0.55, panel) == 'w', isBright) << panel;
            EXPECT_EQ(tones.At(0.93, 0.55, panel) == 'w', !isBright) << panel;
        }
        m_job.m_properties = {"Data Type=0"};
        Run();
        EXPECT_EQ(CPlotPixels(m_job.m_plots.m_histogram).At(inverts ? 0.9975 : 0.0025, 0.5, 1),
                  '.');
    }
}

// Grays up to an eighth of full scale: as they are, an encoded mean of 64 or less. Exposure aims at
// a mean of 18 % of the light, which is 118 when encoded; the mean of the encoded values lies some
// way below that.
TEST_F(ProcessPlots, AnAutomaticExposureBrightensADarkPicture) {
    LayDarkGrays();
    std::string notice;
    m_job.m_notice = [&notice](const std::string& line) { notice = line; };
    const double plain = Brightness();
    EXPECT_LT(plain, 75);
    m_job.m_auto = {.color = true};
    EXPECT_NEAR(Brightness(), plain, 1) << "the levels stay";
    EXPECT_EQ(notice, "Hue X 0, Hue Y 0");
    m_job.m_auto = {.expose = true};
    EXPECT_NEAR(Brightness(), 110, 15);
    m_job.m_fromFile = true;
    EXPECT_NEAR(Brightness(), 110, 15);
    m_job.m_attributes = {"QL_ATTR_HIGHLIGHT=0", "QL_ATTR_MIDTONE=0"};
    EXPECT_LT(Brightness(), plain) << "what the command line says wins";
    EXPECT_EQ(notice.find("Exposure Method 1, Shadow Level"), 0u) << notice;
}

TEST_F(ProcessPlots, AnAutomaticExposureLeavesAssignedPropertiesAlone) {
    LayDarkGrays();
    std::string notice;
    m_job.m_notice = [&notice](const std::string& line) { notice = line; };
    m_job.m_rotate = 90;
    m_job.m_properties = {"Exposure Method=1", "Highlight Level=20", "Midtone Level=5",
                          "Shadow Level=-7"};
    Run();
    const Bytes assigned = ReadBytes(m_job.m_output);
    m_job.m_auto = {.tone = true};
    Run();
    EXPECT_EQ(ReadBytes(m_job.m_output), assigned);
    EXPECT_EQ(notice, "") << "nothing is to be told";
    for (const char* refused : {"Brightness=3", "Contrast=0", "Exposure Method=0"}) {
        m_job.m_properties = {refused};
        std::string error;
        EXPECT_EQ(RunProcess(m_job, &error), CProcessResult::BadInput) << refused;
    }
}

// An exposure that was asked for without a pass of its own holds for the next picture alone.
TEST_F(ProcessPlots, CurvesAreThoseThatThePictureGot) {
    LayDarkGrays();
    m_job.m_plots.m_curves = m_folder / "curves.png";
    Run();
    const Bytes plain = ReadBytes(m_job.m_plots.m_curves);
    m_job.m_attributes = {"QL_ATTR_AUTO_EXPOSE_COLOR=true"};
    Run();
    EXPECT_EQ(ReadBytes(m_job.m_plots.m_curves), plain);
}

}  // namespace
