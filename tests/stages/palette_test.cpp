// Palettes: the tables, how one is chosen and made from an image, and what lines become with it.

#include <random>
#include <set>

#include "stages/palette.h"
#include "stages/range_clip.h"
#include "tests/support/stage_rig.h"

namespace {

using Color = std::array<int, 3>;

std::vector<Color> ColorsOf(const QLPaletteTable& table) {
    std::vector<Color> colors;
    for (int i = 0; i < table.m_count; ++i) {
        const auto& c = table.m_entries[i].m_colors;
        colors.push_back({c[0], c[1], c[2]});
    }
    return colors;
}

QLPaletteTable TableOf(const std::vector<Color>& colors) {
    QLPaletteTable table;
    InitIdentity(&table);
    for (const Color& c : colors)
        AddColor(&table, c[0], c[1], c[2]);
    return table;
}

// ---- Tables

TEST(PaletteTable, FixedPalettesHoldTheirColoursOnceEach) {
    QLPaletteTable table;
    FillSystem(&table);
    const auto system = ColorsOf(table);
    EXPECT_EQ(std::set(system.begin(), system.end()).size(), 256u);
    // Places by hand: red slowest in the cube, then the classics and four ramps.
    const std::pair<int, Color> kPlaces[] = {
        {0, {255, 255, 255}}, {1, {255, 255, 204}},   {36, {204, 255, 255}}, {215, {0, 0, 0}},
        {222, {0, 0, 128}},   {223, {192, 192, 192}}, {231, {34, 34, 34}},   {255, {0, 0, 34}}};
    for (const auto& [place, color] : kPlaces) {
        EXPECT_EQ(system[static_cast<std::size_t>(place)], color) << place;
        EXPECT_EQ(table.m_entries[place].m_index, place);
    }
    FillCube(&table);
    EXPECT_EQ(ColorsOf(table), std::vector(system.begin(), system.begin() + 216));
    for (const auto& [count, second, last] :
         {std::tuple{2, 255, 255}, {16, 17, 255}, {256, 1, 255}, {3, 128, 255}}) {
        FillGrayRamp(&table, count);
        EXPECT_EQ(table.m_count, count);
        EXPECT_EQ(table.m_entries[1].m_colors[0], second);
        EXPECT_EQ(table.m_entries[count - 1].m_colors[2], last);
    }
    for (const auto& [asked, count] : {std::pair{0, 0}, {1, 1}, {-3, 0}, {999, 256}}) {
        FillGrayRamp(&table, asked);
        EXPECT_EQ(table.m_count, count);
    }
}

// From nothing: 3 + 14 grays, 192 of the cube, since 22 to 214 are counted, 3 x 14 of the ramps.
TEST(PaletteTable, AShortOneIsFilledUpAsFarAsThereIsRoom) {
    QLPaletteTable table = TableOf({});
    FillRest(&table);
    auto colors = ColorsOf(table);
    ASSERT_EQ(colors.size(), 251u);
    EXPECT_EQ(std::set(colors.begin(), colors.end()).size(), 251u);
    EXPECT_EQ(colors[3], (Color{238, 238, 238}));
    EXPECT_EQ(colors[17], (Color{255, 255, 204}));
    // Of the 195 of the cube that aren't gray or pure the last three are left out.
    EXPECT_EQ(colors[208], (Color{0, 51, 204}));
    EXPECT_EQ(colors[209], (Color{238, 0, 0}));
    EXPECT_EQ(colors[250], (Color{0, 0, 17}));
    table = TableOf(std::vector<Color>(250, Color{1, 2, 3}));
    FillRest(&table);
    EXPECT_EQ(table.m_count, 256) << "repeated colours keep their room";
    EXPECT_EQ(ColorsOf(table)[255], (Color{204, 204, 204}));
    table = TableOf({{255, 255, 255}, {238, 238, 238}});
    FillRest(&table);
    EXPECT_EQ(table.m_count, 251) << "what is there already isn't added";
}

TEST(PaletteTable, OneFromOutsideIsMadeSound) {
    QLPaletteTable table = TableOf({{1, 2, 3}, {4, 999, 6}, {7, 8, 9}});
    table.m_entries[0].m_index = 2;
    table.m_entries[2].m_index = 0;
    MakeSound(&table);
    EXPECT_EQ(ColorsOf(table)[1], (Color{4, 255, 6}));
    EXPECT_EQ(table.m_entries[0].m_index, 2) << "an order of its own stays";
    for (const auto& [index, count] : {std::pair{3, 3}, {1, 3}, {60000, 3}, {1, 500}}) {
        QLPaletteTable bad = table;
        bad.m_entries[0].m_index = static_cast<std::uint16_t>(index);
        bad.m_count = static_cast<std::uint16_t>(count);
        MakeSound(&bad);
        EXPECT_EQ(bad.m_count, std::min(count, 256));
        EXPECT_EQ(bad.m_entries[0].m_index, 0) << index;
    }
    table.m_count = 0xFFFF;  // -1
    MakeSound(&table);
    EXPECT_EQ(table.m_count, 0);
}

// ---- Dithering

struct PaletteTest : StageTest<CPaletteStage> {
    PaletteTest() {
        m_board.Put(QL_ATTR_OUTPUT_TYPE, 4);
        m_board.Put(QL_ATTR_THRESHOLD, 28160);
    }
    void Use(const std::vector<Color>& colors) {
        const QLPaletteTable table = TableOf(colors);
        m_board.SetValue(QL_ATTR_PALETTE_USER, PointerWord(&table));
        m_board.SetValue(QL_ATTR_PALETTE_KIND, QL_PALETTE_USER);
    }
    Bytes Run(const Samples& samples, std::size_t width, std::uint32_t type = QL_PIXEL_RGB16) {
        const CPass pass = RunLines(m_stage, type, width, BytesOf(samples), QL_LAYOUT_INTERNAL);
        EXPECT_EQ(pass.m_status, QL_OK);
        return pass.m_bytes;
    }
    const std::uint8_t* Cells() {
        m_board.Notify(QL_ATTR_PALETTE_CHANGED);
        return WordPointer<const QLDitherLookup>(m_board.GetValue(QL_ATTR_PALETTE_TABLE_C))
            ->m_cells;
    }
    std::vector<Color> Table(std::int32_t id) {
        return ColorsOf(*WordPointer<const QLPaletteTable>(m_board.GetValue(id)));
    }
};

// By hand, threshold 110 of 255, to and fro:
//   128 -> 1, carry -63; 65 -> 0, 33; 161 -> 1, -47; 81 -> 0, 41
//   back from the right: 169 -> 1, -3; 125 -> 1, -112; 16 -> 0, 40; 168 -> 1
TEST_F(PaletteTest, HalftoneDividesAtTheThresholdAndDiffuses) {
    m_board.Put(QL_ATTR_OUTPUT_TYPE, 1);
    const Samples gray(8, 128 << 8 | 77);
    EXPECT_EQ(Run(gray, 4, QL_PIXEL_GRAY16), (Bytes{0xA0, 0xB0}));
    EXPECT_EQ(m_stage.GetOutputFormat()->m_pixelType, std::uint32_t{QL_PIXEL_HALFTONE});
    EXPECT_EQ(m_stage.GetOutputFormat()->m_bitsPerPixel, 1u);
    m_board.Put(QL_ATTR_THRESHOLD, 0x8100);
    EXPECT_EQ(Cells()[0x80], 0);
    EXPECT_EQ(Cells()[0x81], 1);
    EXPECT_EQ(Table(QL_ATTR_PALETTE_TABLE_B), (std::vector<Color>{{0, 0, 0}, {255, 255, 255}}));
    for (const std::uint64_t type : {0, 2, 3}) {
        m_board.Put(QL_ATTR_OUTPUT_TYPE, type);
        EXPECT_EQ(RunGray(m_stage, gray), gray) << "passes with type " << type;
    }
}

TEST_F(PaletteTest, GrayLinesUseTheGraysOfThePaletteAndLeaveItWhole) {
    const std::vector<Color> colors = {{255, 255, 255}, {9, 9, 200}, {128, 128, 128}, {0, 0, 0}};
    Use(colors);
    Run({0}, 1, QL_PIXEL_GRAY16);
    const std::uint8_t* cells = Cells();
    // Halfway the higher one: (64 - 0)^2 = (64 - 128)^2.
    for (const auto& [value, index] : {std::pair{0, 0}, {63, 0}, {64, 1}, {191, 1}, {192, 2}})
        EXPECT_EQ(cells[value], index) << value;
    EXPECT_EQ(m_stage.GetOutputFormat()->m_palette->m_count, 3);
    Run({0, 0, 0}, 1);
    EXPECT_EQ(Table(QL_ATTR_PALETTE_TABLE_B), colors) << "of the next colour image";
    Use({{255, 0, 0}, {0, 0, 255}});
    EXPECT_EQ(Run({0x1000, 0xF000}, 2, QL_PIXEL_GRAY16), (Bytes{1, 0})) << "the darker is first";
    std::vector<Color> grays;
    for (int i = 255; i >= 0; --i)
        grays.push_back({i, i, i});
    Use(grays);
    EXPECT_EQ(Run({0xFF00, 0, 0}, 1), Bytes{76}) << "77/256 of red, by a sorted palette";
}

// Places by hand. Black and white reach five cells at most; behind that the nearest to the corner.
TEST_F(PaletteTest, ColourCellsGoToTheEntryThatReachesThemFirst) {
    Use({{0, 0, 0}, {255, 255, 255}, {71, 71, 71}, {88, 71, 71}, {71, 71, 71}});
    const std::uint8_t* cells = Cells();
    const std::pair<int, int> kCells[] = {{0x000, 0}, {0x004, 0}, {0xFFF, 1},
                                          {0xCDC, 1}, {0x444, 2}, {0x644, 3},
                                          {0x544, 2}, {0xBBB, 1}, {0x999, 3}};
    for (const auto& [cell, index] : kCells)
        EXPECT_EQ(cells[cell], index) << std::hex << cell;
    EXPECT_EQ(cells[0xF00], 3);
}

TEST_F(PaletteTest, AnyPaletteTakesLines) {
    Samples samples(37 * 3 * 5);
    std::mt19937 random(3);
    std::ranges::generate(samples, [&] { return static_cast<std::uint16_t>(random()); });
    for (const int count : {0, 1, 2, 255, 256}) {
        const std::vector<Color> colors(static_cast<std::size_t>(count), Color{200, 100, 50});
        Use(colors);
        const Bytes indices = Run(samples, 37);
        EXPECT_EQ(std::ranges::count(indices, 0), 37 * 5) << "the first of many alike";
        EXPECT_EQ(ColorsOf(*m_stage.GetOutputFormat()->m_palette), colors);
    }
}

// By the generator: 12354 x 2 = 24708; 49416 ^ 0x457 = 50527; 35518 ^ 0x457 = 36585: of these the
// bits of 0x30 are 0, 16 and 32. 100 is black, carry 50; 20 + 50 + 16 is black, carry 35;
// 50 + 35 + 32 is white, and without the noise black.
TEST_F(PaletteTest, NoiseAndDirectionAreThoseOfTheAttributes) {
    m_board.Put(QL_ATTR_OUTPUT_TYPE, 1);
    for (const auto& [mask, bits] : {std::pair{0x30, 0x20}, {0, 0}}) {
        m_board.SetValue(QL_ATTR_PALETTE_MODE, IntegerWord(mask));
        EXPECT_EQ(Run({100 << 8, 20 << 8, 50 << 8}, 3, QL_PIXEL_GRAY16)[0], bits);
    }
    // The second line from the left: 169 -> 1, carry -107; 21 -> 0, 43; 171 -> 1, -89; 39 -> 0.
    m_board.SetValue(QL_ATTR_PALETTE_FLAG, 0);
    EXPECT_EQ(Run(Samples(8, 128 << 8), 4, QL_PIXEL_GRAY16), (Bytes{0xA0, 0xA0}));
}

TEST_F(PaletteTest, AKindAsksForIndexedOutputAndTellsOfTheChange) {
    m_board.Put(QL_ATTR_OUTPUT_TYPE, 2);
    m_board.Hear({QL_ATTR_PALETTE_CHANGED});
    m_board.SetValue(QL_ATTR_PALETTE_KIND, QL_PALETTE_CUBE);
    EXPECT_EQ(m_board.Heard(), Ids{QL_ATTR_PALETTE_CHANGED});
    EXPECT_EQ(m_board.GetInteger(QL_ATTR_OUTPUT_TYPE), 4);
    EXPECT_EQ(Table(QL_ATTR_PALETTE_TABLE_A).size(), 216u);
    const LOGPALETTE* record = m_stage.LogPalette();
    EXPECT_EQ(record->palVersion, 768);
    EXPECT_EQ(record->palNumEntries, 216);
    EXPECT_EQ(record->palPalEntry[215].peBlue, 0);
    EXPECT_EQ(record->palPalEntry[1].peBlue, 204);
    m_board.SetValue(QL_ATTR_PALETTE_KIND, 0);
    EXPECT_EQ(Table(QL_ATTR_PALETTE_TABLE_A).size(), 216u) << "the one in force stays";
    m_board.SetValue(QL_ATTR_PALETTE_USER, 0);
    m_board.Put(QL_ATTR_OUTPUT_TYPE, 0);
    m_board.Notify(QL_ATTR_PALETTE_REBUILD);
    EXPECT_EQ(m_stage.LogPalette()->palNumEntries, 2) << "black and white";
}

// ---- The image's own palette

// Cells are numbered by blue, green, red. Exchange of each place with every fuller one behind it
// isn't stable: of the counts 1, 1, 2 the first two come out the other way round.
TEST(AdaptivePalette, TakesTheFullestCellsAndJoinsTheOthersToTheNearest) {
    const auto build = [](const std::vector<std::pair<Color, int>>& counts, int entries) {
        const auto palette = std::make_unique<CAdaptivePalette>();
        for (const auto& [color, count] : counts) {
            for (int i = 0; i < count; ++i) {
                Samples pixel;
                for (const int c : color)
                    pixel.push_back(static_cast<std::uint16_t>(c << 8 | 0x80));
                palette->Collect(pixel.data(), 1);
            }
        }
        QLPaletteTable table;
        EXPECT_EQ(palette->Build(&table), entries);
        return ColorsOf(table);
    };
    EXPECT_EQ(build({}, 0).size(), 251u) << "general colours alone";
    auto colors = build({{{0, 0, 0}, 1}, {{16, 0, 0}, 1}, {{32, 0, 0}, 2}}, 3);
    colors.resize(3);
    EXPECT_EQ(colors, (std::vector<Color>{{32, 0, 0}, {16, 0, 0}, {0, 0, 0}}));
    // 240 cells of two pixels each and one of a pixel, which joins the first, one step below; then
    // all cells there are.
    std::vector<std::pair<Color, int>> counts;
    for (int i = 0; i < 240; ++i)
        counts.push_back({{i % 16 * 16, i / 16 * 16, 0}, 2});
    counts.push_back({{0, 0, 25}, 1});
    colors = build(counts, 240);
    EXPECT_EQ(colors[0], (Color{0, 0, 8})) << "(2 x 0 + 25) / 3";
    EXPECT_EQ(colors[239], (Color{15 * 16, 14 * 16, 0}));
    counts.clear();
    for (int i = 0; i < 4096; ++i)
        counts.push_back({{i % 16 * 16, i / 16 % 16 * 16, i / 256 * 16}, 1});
    EXPECT_EQ(build(counts, 240).size(), 240u);
}

// Two pixels of 16 and 31 have the mean 24, rounded up; red comes thrice, and so first.
TEST_F(PaletteTest, ACollectingPassMakesThePaletteOfTheNext) {
    const Samples page = {0xFFFF, 0, 0, 0xFFFF, 0, 0, 0xFFFF, 0, 0,
                          0x1000, 0, 0, 0x1F00, 0, 0, 0,      0, 0xFFFF};
    const auto own = [&] {
        auto colors = Table(QL_ATTR_PALETTE_TABLE_A);
        colors.resize(3);
        return colors;
    };
    m_board.SetValue(QL_ATTR_PALETTE_KIND, QL_PALETTE_ADAPTIVE);
    Run(page, 3);
    EXPECT_EQ(own()[1], (Color{255, 255, 204})) << "the system's, as nobody has asked";
    m_board.Notify(QL_ATTR_PALETTE_COLLECT);
    Run(page, 3);
    EXPECT_EQ(own(), (std::vector<Color>{{255, 0, 0}, {24, 0, 0}, {0, 0, 255}}));
    EXPECT_EQ(Run(page, 3)[5], 2);
    const QLRect corner = {1, 1, 2, 9};
    m_board.SetValue(QL_ATTR_PALETTE_RECT, PointerWord(&corner));
    m_board.Notify(QL_ATTR_PALETTE_COLLECT);
    QLAttribTree tree;
    CLineSource source(&tree, QL_PIXEL_RGB16, 3, BytesOf(page), QL_LAYOUT_INTERNAL);
    source.m_failAtLine = 1;
    m_stage.SetUpstream(&source);
    RunPass(m_stage, 1);
    m_stage.SetUpstream(nullptr);
    EXPECT_EQ(own()[0], (Color{255, 0, 0})) << "a pass that was cut short makes none";
    Run(page, 3);
    // 31 and blue, one pixel each; 16 lies outside.
    EXPECT_EQ(own(), (std::vector<Color>{{31, 0, 0}, {0, 0, 255}, {0, 0, 0}}));
}

// ---- Range clip

// In the rectangle: both ends, the samples next to them, and colours that have both in them.
TEST(RangeClip, MarksTheEndsInItsRectangleAndFollowsTheInversion) {
    const Samples gray = {65535, 65279, 65280, 255, 256, 0};
    const Samples color = {0, 0, 0, 65280, 10, 10, 255, 300, 65279, 256, 256, 65279};
    // Switches, inversion; lines 0 and 2 stay, and so does the first column.
    // clang-format off
    const struct { int high, low, invert; Samples gray, color; } kCases[] = {
        {0, 0, 0, gray, color},
        {1, 0, 0, {65535, 65279, 0, 255, 256, 0}, {0, 0, 0, 0, 0, 0, 255, 300, 65279, 256, 256, 65279}},
        {0, 1, 0, {65535, 65279, 65280, 65535, 256, 65535},
            {0, 0, 0, 65535, 65535, 65535, 65535, 65535, 65535, 256, 256, 65279}},
        {1, 1, 1, {65535, 65279, 0, 65535, 256, 65535},
            {0, 0, 0, 0, 0, 0, 65535, 65535, 65535, 256, 256, 65279}},
        {0, 1, 1, {65535, 65279, 0, 255, 256, 0}, {0, 0, 0, 0, 0, 0, 255, 300, 65279, 256, 256, 65279}}};
    // clang-format on
    for (const auto& c : kCases) {
        QLAttribTree tree;
        CTestBoard board(&tree);
        CRangeClipStage stage(&tree);
        const QLRect rect = {1, 1, 2, 99};
        board.Put(QL_ATTR_CLIP_RECT, PointerWord(&rect));
        board.Put(QL_ATTR_INVERT, IntegerWord(c.invert));
        board.SetValue(QL_ATTR_CLIP_HIGH, IntegerWord(c.high));
        board.SetValue(QL_ATTR_CLIP_LOW, IntegerWord(c.low));
        for (const std::uint32_t type : {QL_PIXEL_GRAY16, QL_PIXEL_RGB16}) {
            const bool isGray = type == QL_PIXEL_GRAY16;
            const Samples& line = isGray ? gray : color;
            Samples page;
            Samples expected;
            for (int y = 0; y < 3; ++y) {
                const Samples& marked = y != 1 ? line : isGray ? c.gray : c.color;
                page.insert(page.end(), line.begin(), line.end());
                expected.insert(expected.end(), marked.begin(), marked.end());
            }
            const std::size_t width = isGray ? 6 : 4;
            EXPECT_EQ(
                SamplesOf(
                    RunLines(stage, type, width, BytesOf(page), QL_LAYOUT_INTERNAL, 2).m_bytes),
                expected)
                << c.high << c.low << c.invert;
        }
    }
}

}  // namespace
