// The line routines, on bands between guard bytes.

#include "frontend/scan_lines.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/frontend/transfer_rig.h"

namespace {

constexpr BYTE kGuard = 0xC3;
constexpr std::size_t kGuardBytes = 64;

// Bytes with guards on both sides, looked at in the end.
class CGuarded {
  public:
    explicit CGuarded(const Bytes& bytes) : m_bytes(kGuardBytes, kGuard) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        m_bytes.insert(m_bytes.end(), kGuardBytes, kGuard);
    }
    ~CGuarded() {
        for (std::size_t i = 0; i < kGuardBytes; ++i) {
            EXPECT_EQ(m_bytes[i], kGuard);
            EXPECT_EQ(m_bytes[m_bytes.size() - 1 - i], kGuard);
        }
    }
    BYTE* Data() { return m_bytes.data() + kGuardBytes; }
    Bytes Content() const {
        return {m_bytes.begin() + kGuardBytes, m_bytes.end() - static_cast<long>(kGuardBytes)};
    }

  private:
    Bytes m_bytes;
};

Bytes Noise(std::size_t count, std::uint32_t seed = 7) {
    Bytes bytes(count);
    for (BYTE& byte : bytes) {
        seed = seed * 1664525u + 1013904223u;
        byte = static_cast<BYTE>(seed >> 24);
    }
    return bytes;
}

TEST(SwapRedBlue, ExchangesTheEndsOfEachPixelAndNoMore) {
    for (const std::size_t count : {0, 1, 2, 3, 4, 5, 47, 48, 49, 50, 51, 95, 96, 300, 302}) {
        const Bytes before = Noise(count);
        Bytes expected = before;
        for (std::size_t i = 0; i + 2 < count; i += 3)
            std::swap(expected[i], expected[i + 2]);
        CGuarded buffer(before);
        SwapRedBlue(buffer.Data(), count);
        EXPECT_EQ(buffer.Content(), expected) << count;
        SwapRedBlue(buffer.Data(), count);
        EXPECT_EQ(buffer.Content(), before) << count;
    }
}

TEST(PadScanLines, EveryLineBeginsAtAMultipleOfTheStride) {
    constexpr LONG kLine = 3001;
    constexpr LONG kStride = 3004;
    const Bytes lines = Noise(20 * kLine);
    Bytes room = lines;
    room.resize(20 * kStride, 0x11);
    CGuarded buffer(room);
    EXPECT_EQ(PadScanLines(buffer.Data(), 20 * kLine, kStride, kLine), 20 * kStride);
    const Bytes padded = buffer.Content();
    for (std::size_t n = 0; n < 20; ++n) {
        EXPECT_TRUE(std::equal(lines.begin() + static_cast<long>(n * kLine),
                               lines.begin() + static_cast<long>((n + 1) * kLine),
                               padded.begin() + static_cast<long>(n * kStride)))
            << "line " << n;
    }
    WhitenLineEnds(buffer.Data(), 20, kStride, kLine);
    const Bytes white = buffer.Content();
    for (std::size_t i = 0; i < white.size(); ++i)
        EXPECT_EQ(white[i], i % kStride < kLine ? padded[i] : 0xFF) << i;
}

TEST(PadScanLines, LeavesAlignedLinesAndRefusesNonsense) {
    const Bytes before = Noise(120);
    CGuarded buffer(before);
    EXPECT_EQ(PadScanLines(nullptr, 120, 12, 12), E_INVALIDARG);
    EXPECT_EQ(PadScanLines(buffer.Data(), 120, 0, 12), 0);
    EXPECT_EQ(PadScanLines(buffer.Data(), 120, 12, -1), 0);
    EXPECT_EQ(PadScanLines(buffer.Data(), 120, 12, 12), 120);
    EXPECT_EQ(PadScanLines(buffer.Data(), 120, 8, 12), 120) << "aligned, and not to be cut";
    EXPECT_EQ(PadScanLines(buffer.Data(), 120, std::numeric_limits<LONG>::max(), 3), E_INVALIDARG);
    EXPECT_EQ(PadScanLines(buffer.Data(), 2, 4, 3), 0) << "less than a line";
    EXPECT_EQ(buffer.Content(), before);
}

TEST(CutScanLines, KeepsTheBeginningOfEachLine) {
    const Bytes before = Noise(5 * 31);
    CGuarded buffer(before);
    CutScanLines(buffer.Data(), 5, 20, 31);
    const Bytes after = buffer.Content();
    for (std::size_t n = 0; n < 5; ++n) {
        for (std::size_t i = 0; i < 20; ++i)
            EXPECT_EQ(after[20 * n + i], before[31 * n + i]) << n << ", " << i;
    }
}

// A source's lines lie between guards that must not show; the target's padding must stay.
void ExpectScaled(std::size_t width, std::size_t lines, std::size_t targetWidth,
                  std::size_t targetLines, std::size_t samples) {
    const std::size_t stride = (width * samples + 3) / 4 * 4;
    const std::size_t targetStride = (targetWidth * samples + 3) / 4 * 4;
    // The last line ends with its last pixel: what a sanitizer guards begins there.
    const Bytes bytes = Noise(stride * (lines - 1) + width * samples);
    const auto source = std::make_unique<BYTE[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), source.get());
    CGuarded target(Bytes(targetStride * targetLines, kGuard));
    BilinearInterp(source.get(), target.Data(), static_cast<DWORD>(width),
                   static_cast<DWORD>(targetWidth), static_cast<DWORD>(lines),
                   static_cast<DWORD>(targetLines), static_cast<DWORD>(8 * samples));
    std::vector<Bytes> from;
    for (std::size_t y = 0; y < lines; ++y)
        from.emplace_back(bytes.begin() + static_cast<long>(y * stride),
                          bytes.begin() + static_cast<long>(y * stride + width * samples));
    Bytes expected;
    for (std::size_t y = 0; y < targetLines; ++y) {
        const Bytes line = PlainScale(from, width, samples, targetWidth, targetLines, y);
        expected.insert(expected.end(), line.begin(), line.end());
        expected.resize(targetStride * (y + 1), kGuard);
    }
    EXPECT_TRUE(Same(target.Content(), expected))
        << width << " x " << lines << " to " << targetWidth << " x " << targetLines << ", "
        << samples << " samples";
}

TEST(BilinearInterp, HasTheBitsOfThePlainForm) {
    const std::size_t kSizes[][4] = {
        {60, 20, 40, 13}, {60, 20, 40, 14}, {60, 20, 120, 40}, {1, 1, 1, 1},
        {1, 1, 7, 5},     {2, 2, 9, 11},    {9, 1, 5, 3},      {1, 9, 5, 3},
        {7, 13, 7, 13},   {600, 5, 523, 4}, {301, 3, 1000, 7}, {258, 20, 86, 1},
        {3, 20, 300, 2},  {40, 20, 20, 10}, {5, 7, 1, 1},      {4097, 3, 4098, 2}};
    for (const auto& size : kSizes) {
        for (const std::size_t samples : {3, 1})
            ExpectScaled(size[0], size[1], size[2], size[3], samples);
    }
}

// Beyond 2^24 a product of coordinates has no exact single-precision form, and a weight may be a
// little below 0.
TEST(BilinearInterp, HasThemOnTheWidestLinesToo) {
    ExpectScaled(40800, 2, 27211, 3, 3);
    ExpectScaled(51000, 2, 34000, 1, 1);
}

TEST(BilinearInterp, ByHand) {
    // Two pixels of 24 bits to four. The weights are halves: position 0.5 lies half way.
    const Bytes two = {10, 20, 30, 50, 60, 71, 0, 0, 90, 100, 110, 200, 210, 220, 0, 0};
    Bytes four(12 * 4, 0xEE);
    BilinearInterp(two.data(), four.data(), 2, 4, 2, 4, 24);
    const Bytes kExpected = {
        10, 20,  30,  30,  40,  50,  50,  60,  71,  50,  60,  71,    // line 0
        50, 60,  70,  87,  97,  107, 50,  60,  71,  50,  60,  71,    // half way to line 1
        90, 100, 110, 145, 155, 165, 200, 210, 220, 200, 210, 220,   // line 1
        50, 60,  70,  87,  97,  107, 200, 210, 220, 200, 210, 220};  // half way back up
    EXPECT_EQ(four, kExpected);

    // Halving the width takes each even pixel; gray lines at the bottom are copied.
    const Bytes gray = {1, 2, 3, 4, 11, 12, 13, 14};
    Bytes half(12, 0xEE);
    BilinearInterp(gray.data(), half.data(), 4, 2, 2, 3, 8);
    EXPECT_EQ(half, (Bytes{1, 3, 0xEE, 0xEE, 7, 9, 0xEE, 0xEE, 11, 13, 0xEE, 0xEE}))
        << "line 1 lies at 2/3: 1/3 of 1 and 2/3 of 11 are 7.67";
    for (const DWORD bits : {0, 1, 16, 32})
        BilinearInterp(gray.data(), half.data(), 4, 2, 2, 3, bits);
    BilinearInterp(gray.data(), half.data(), 4, 2, 0, 3, 8);
    BilinearInterp(gray.data(), half.data(), 0, 2, 2, 3, 8);
    EXPECT_EQ(half[0], 1) << "nothing was written";
}

Bytes BitmapFile(LONG width, LONG height, WORD bits, std::size_t rowBytes) {
    BITMAPFILEHEADER file = {};
    file.bfType = BITMAP_FILE_TYPE;
    file.bfOffBits = 62;
    BITMAPINFOHEADER info = {};
    info.biSize = sizeof(info);
    info.biWidth = width;
    info.biHeight = height;
    info.biBitCount = bits;
    Bytes bytes(62 + rowBytes, 0x55);
    std::memcpy(bytes.data(), &file, sizeof(file));
    std::memcpy(bytes.data() + sizeof(file), &info, sizeof(info));
    std::iota(bytes.begin() + 62, bytes.end(), BYTE{1});
    return bytes;
}

TEST(FlipBitmapRows, ReversesRowsAndKeepsTheHeader) {
    for (const LONG height : {3, -3}) {
        // 33 bits a row: a stride of 8.
        const Bytes before = BitmapFile(33, height, 1, 24);
        Bytes expected = before;
        for (std::size_t i = 0; i < 8; ++i)
            std::swap(expected[62 + i], expected[62 + 16 + i]);
        CGuarded file(before);
        EXPECT_EQ(FlipBitmapRows(file.Data(), before.size()), S_OK);
        EXPECT_EQ(file.Content(), expected);
    }
}

TEST(FlipBitmapRows, TouchesNothingOfAFileThatIsTooSmall) {
    for (const auto& [width, height] :
         {std::pair{LONG{33}, LONG{4}},
          {LONG{33}, std::numeric_limits<LONG>::min()},
          {std::numeric_limits<LONG>::max(), std::numeric_limits<LONG>::max()},
          {LONG{-1}, LONG{2}}}) {
        const Bytes before = BitmapFile(width, height, 32, 31);
        CGuarded file(before);
        EXPECT_EQ(FlipBitmapRows(file.Data(), before.size()), E_FAIL);
        EXPECT_EQ(FlipBitmapRows(file.Data(), 53), E_FAIL);
        EXPECT_EQ(file.Content(), before);
    }
}

}  // namespace
