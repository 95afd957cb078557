// Pages at resolutions that a scanner lacks.

#include <nlohmann/json.hpp>
#include <numeric>
#include <random>

#include "tests/tools/device_commands.h"
#include "tools/area_mean.h"

namespace {

using Json = nlohmann::json;

// A picture of samples, `channels` a pixel.
struct CSamples {
    int width = 0;
    int height = 0;
    int channels = 1;
    Bytes bytes;

    int At(int x, int y, int channel) const {
        return bytes[static_cast<std::size_t>((y * width + x) * channels + channel)];
    }
};

// The sum over the finest grid that both pictures share, `from` x `from` of its parts a pixel.
std::int64_t PlainSum(const CSamples& picture, int x, int y, int channel, CSizeRatio across,
                      CSizeRatio along) {
    std::int64_t sum = 0;
    for (int v = y * along.from; v < (y + 1) * along.from; ++v) {
        for (int u = x * across.from; u < (x + 1) * across.from; ++u)
            sum += picture.At(u / across.to, v / along.to, channel);
    }
    return sum;
}

// Of bits, whether the ones have a third of the area.
CSamples PlainMean(const CSamples& picture, CSizeRatio across, CSizeRatio along,
                   bool isBits = false) {
    CSamples mean = {across.Of(picture.width), along.Of(picture.height), picture.channels, {}};
    const std::int64_t area = std::int64_t{across.from} * along.from;
    for (int y = 0; y < mean.height; ++y) {
        for (int x = 0; x < mean.width; ++x) {
            for (int channel = 0; channel < mean.channels; ++channel) {
                const std::int64_t sum = PlainSum(picture, x, y, channel, across, along);
                const std::int64_t value = isBits ? 3 * sum >= area : (2 * sum + area) / (2 * area);
                mean.bytes.push_back(static_cast<std::uint8_t>(value));
            }
        }
    }
    return mean;
}

TEST(AreaMean, IsThatOfThePartsUnderEachPixel) {
    std::mt19937 random(7);
    const struct {
        int bits;
        int width, height;
        CSizeRatio across, along;
    } table[] = {
        {8, 30, 31, {150, 100, 30}, {150, 100, 31}},
        {24, 29, 12, {150, 75, 29}, {300, 250, 12}},
        {24, 60, 40, {150, 72, 60}, {}},
        {8, 151, 9, {150, 149, 151}, {9600, 75, 9}},  // the height becomes one row
        {1, 37, 30, {300, 200, 37}, {150, 75, 30}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(std::to_string(row.bits) + ": " + std::to_string(row.width));
        CSamples source = {row.width, row.height, row.bits == 24 ? 3 : 1, {}};
        source.bytes.resize(static_cast<std::size_t>(row.width * row.height * source.channels));
        for (auto& byte : source.bytes)
            byte = static_cast<std::uint8_t>(row.bits == 1 ? random() % 2 : random() % 256);
        const CSamples expected = PlainMean(source, row.across, row.along, row.bits == 1);
        CAreaMean mean(row.bits, 1, row.width, row.across, row.along);
        int made = 0;
        for (int y = 0; y < row.height; ++y) {
            Bytes line;
            for (int i = 0; i < row.width * source.channels; ++i) {
                const int value = source.At(i / source.channels, y, i % source.channels);
                if (row.bits != 1)
                    line.push_back(static_cast<std::uint8_t>(value));
                else if (i % 8 == 0)
                    line.push_back(static_cast<std::uint8_t>(value << 7));
                else
                    line.back() |= static_cast<std::uint8_t>(value << (7 - i % 8));
            }
            const auto result = mean.Add(line.data());
            if (result.empty())
                continue;
            for (int i = 0; i < expected.width * source.channels; ++i) {
                const int byte = result[static_cast<std::size_t>(row.bits == 1 ? i / 8 : i)];
                EXPECT_EQ(row.bits == 1 ? byte >> (7 - i % 8) & 1 : byte,
                          expected.At(i / source.channels, made, i % source.channels));
            }
            ++made;
        }
        EXPECT_EQ(made, expected.height);
    }
}

class Reduction : public DeviceCommands {};

// Of a PNM file of bytes.
CSamples ReadPnm(const std::string& path) {
    CSamples picture;
    std::ifstream in(path, std::ios::binary);
    std::string kind;
    int white = 0;
    in >> kind >> picture.width >> picture.height >> white;
    in.get();
    picture.channels = kind == "P6" ? 3 : 1;
    picture.bytes.assign(std::istreambuf_iterator<char>(in), {});
    return picture;
}

// The scanner has 150 and 300 dots per inch.
TEST_F(Reduction, IsTheMeanOfTheNextHigherScanOnEachMediumAndTurned) {
    Install();
    // A window of 75 x 50 mm: 295 x 197 pixels at 100 dots per inch, of 443 x 296 at 150.
    for (const char* how : {"", " --medium file", " --mode gray --rotate 180"}) {
        SCOPED_TRACE(how);
        const std::string scan = std::string("scan --area 10,20,75,50mm -q") + how;
        ASSERT_EQ(Run(scan + " -o @small.pnm --resolution 100").code, 0);
        ASSERT_EQ(
            Run(std::string("scan -q --resolution 150 --area 59,118,443,296px -o @a.pnm") + how)
                .code,
            0);
        const CSamples small = ReadPnm(Page("small.pnm"));
        EXPECT_EQ(small.width, 295);
        EXPECT_EQ(small.height, 197);
        const CSizeRatio ratio(3, 2, 443);
        EXPECT_EQ(small.bytes, PlainMean(ReadPnm(Page("a.pnm")), ratio, ratio).bytes);
    }
}

TEST_F(Reduction, IsToldWithBothResolutionsAndRefusedWhereItCant) {
    Install();
    const struct {
        const char* options;
        int code;
        const char* words;
    } table[] = {
        {"--resolution 100", 0, "850 x 1170 pixels at 100 dpi, reduced from 150\n"},
        {"--resolution 300x100 --rotate 90", 0, "1170 x 2550 pixels at 100 x 300 dpi, reduced"},
        {"--resolution 75 --mode lineart --format pdf", 0, "637 x 877 pixels at 75 dpi, reduced"},
        {"--resolution 150x300", 0, "1275 x 3510 pixels at 150 x 300 dpi\n"},
        {"--resolution 100 --exact", 1, "can't do 100 dpi from this source, but 150, 300"},
        {"--resolution 100 --mode dither", 1, "a dithered picture can't be made smaller; it does"},
        {"--resolution 100 --palette cube", 1, "indexed colours can't be made smaller"},
        {"--resolution 9999", 1, "can't do 9999 dpi from this source, but 150, 300"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.options);
        const Result result = Run(std::string("scan -o @a.jpg ") + row.options);
        EXPECT_EQ(result.code, row.code);
        EXPECT_TRUE(Has(result.out + result.error, row.words)) << result.out << result.error;
    }
}

// What is told ahead is what the scan then makes, and nothing is left of telling it.
TEST_F(Reduction, ADryRunTellsThePageThatWouldCome) {
    Install();
    for (const char* options : {"--resolution 100x200 --paper a6 --rotate 270 --mode gray",
                                "--palette cube --area 1,1,2,3in", "--preview --mode lineart"}) {
        SCOPED_TRACE(options);
        const std::string scan = std::string("scan --json -o @a.tif ") + options;
        const std::uint32_t scans = State().scans;
        const Json told = Json::parse(Run(scan + " --dry-run").out);
        EXPECT_EQ(State().scans, scans);
        EXPECT_EQ(Pages(), Names{});
        const Json page = Json::parse(Run(scan).out);
        for (const char* name : {"source", "mode", "resolution", "pixels", "reducedFrom", "file"})
            EXPECT_EQ(told.value(name, Json()), page.value(name, Json())) << name;
        EXPECT_EQ(told["pages"], 1);
        std::filesystem::remove(Page("a.tif"));
    }
    const Json feeder = Json::parse(Run("scan --dry-run --json --source feeder -o @%3d.jpg").out);
    EXPECT_EQ(feeder["pages"], 0);
    EXPECT_EQ(feeder["file"], Page("001.jpg"));
    EXPECT_EQ(feeder["window"]["height"], 279.4);
}

}  // namespace
