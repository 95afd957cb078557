// Lays pictures beside each other, two in a row, each with a title: for the demo, in which people
// compare them.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "pictures/picture_reader.h"
#include "pictures/picture_writer.h"
#include "platform/bitmap_headers.h"
#include "simulator/drawn_medium.h"
#include "simulator/stroke_font.h"

namespace {

constexpr int kColumns = 2;
constexpr int kGap = 16;        // pixels around a cell
constexpr int kCapHeight = 16;  // of a title
constexpr int kTitleHeight = kCapHeight + kGap;
constexpr CRgb kWhite = {255, 255, 255};
constexpr CRgb kBlack = {0, 0, 0};

struct CTitled {
    std::string m_title;
    int m_width;
    int m_height;
    std::vector<std::uint8_t> m_rgb;
};

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what);
}

CTitled ReadTitled(const char* title, const char* path) {
    std::string error;
    const auto reader = OpenPicture(path, &error);
    if (!reader)
        Fail(std::string(path) + ' ' + error);
    const CPictureInfo& info = reader->Info();
    const std::size_t channels = static_cast<std::size_t>(info.m_bitsPerPixel) / 8;
    CTitled picture{title, info.m_width, info.m_height, {}};
    std::vector<std::uint8_t> line(reader->LineBytes());
    for (std::int32_t y = 0; y < info.m_height; ++y) {
        if (!reader->ReadLines(line.data(), 1))
            Fail(std::string(path) + ' ' + reader->Error());
        // Blue first, or gray.
        for (std::size_t at = 0; at < line.size(); at += channels) {
            for (std::size_t color = 3; color-- > 0;)
                picture.m_rgb.push_back(line[at + std::min(color, channels - 1)]);
        }
    }
    return picture;
}

int TitleWidth(const std::string& title) {
    CStrokeFont font(kCapHeight);
    int width = 0;
    for (const char letter : title)
        width += font.Measure(letter).m_advance;
    return width;
}

void WriteSheet(CDrawnMedium& sheet, const std::string& path) {
    std::string error;
    const auto writer = CreatePictureWriter(path, {}, &error);
    if (!writer)
        Fail(path + ' ' + error);
    const BITMAPINFOHEADER info = MakeInfoHeader(sheet.Width(), sheet.Height(), 24);
    bool done = writer->Begin(info, {});
    std::vector<std::uint8_t> row(static_cast<std::size_t>(BitmapStride(info)));
    for (std::int32_t y = 0; done && y < sheet.Height(); ++y) {
        sheet.ReadLine(y, row.data());
        for (std::size_t at = 0; at + 2 < row.size(); at += 3)
            std::swap(row[at], row[at + 2]);
        done = writer->Write(row.data(), row.size());
    }
    if (!done || !writer->Finish())
        Fail(path + ' ' + writer->Error());
}

void Run(const std::vector<const char*>& arguments) {
    std::vector<CTitled> pictures;
    for (std::size_t i = 1; i + 1 < arguments.size(); i += 2)
        pictures.push_back(ReadTitled(arguments[i], arguments[i + 1]));
    int width = 0;
    int height = 0;
    for (const CTitled& picture : pictures) {
        width = std::max({width, picture.m_width, TitleWidth(picture.m_title)});
        height = std::max(height, picture.m_height);
    }
    const int rows = (static_cast<int>(pictures.size()) + kColumns - 1) / kColumns;
    const int rowHeight = kTitleHeight + height + kGap;
    CDrawnMedium sheet(kGap + kColumns * (width + kGap), kGap + rows * rowHeight, 0, kWhite);
    int index = 0;
    for (const CTitled& picture : pictures) {
        const int left = kGap + index % kColumns * (width + kGap);
        const int top = kGap + index / kColumns * rowHeight;
        sheet.AddText(left, top, kCapHeight, kBlack, picture.m_title);
        sheet.AddPicture(left, top + kTitleHeight, picture.m_width, picture.m_height,
                         picture.m_rgb.data(), static_cast<std::size_t>(picture.m_width) * 3);
        ++index;
    }
    WriteSheet(sheet, arguments[0]);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4 || argc % 2 != 0) {
        std::fprintf(stderr, "side_by_side FILE TITLE PICTURE [TITLE PICTURE ...]\n");
        return 2;
    }
    try {
        Run({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "side_by_side: %s\n", error.what());
        return 1;
    }
}
