#include "pictures/picture_options.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <limits>
#include <span>
#include <string_view>

#include "pictures/bitmap_layout.h"

namespace {

constexpr ECompression kTiffCompressions[] = {ECompression::None, ECompression::Lzw,
                                              ECompression::Deflate, ECompression::G4};
constexpr ECompression kPdfCompressions[] = {ECompression::Deflate, ECompression::G4,
                                             ECompression::Jpeg};
constexpr const char* kCompressionWords[] = {"", "none", "lzw", "deflate", "g4", "jpeg"};

constexpr std::int64_t kNoLimit = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMaxJpegSide = 65500;  // the library's own bound
constexpr std::int64_t kMaxPngSide = std::numeric_limits<std::int32_t>::max();

// In the order of EFileKind.
struct CKindRow {
    const char* m_name;
    bool m_holdsPages;
    std::span<const ECompression> m_compressions;  // those to choose from
    std::int64_t m_maxSide;
};
constexpr CKindRow kKinds[] = {
    {"BMP", false, {}, kNoLimit},
    {"PNM", false, {}, kNoLimit},
    {"PNG", false, {}, kMaxPngSide},
    {"JPEG", false, {}, kMaxJpegSide},
    {"TIFF", true, kTiffCompressions, kNoLimit},
    {"PDF", true, kPdfCompressions, kNoLimit},
};

struct CEnding {
    const char* m_ending;
    EFileKind m_kind;
};
constexpr CEnding kEndings[] = {
    {".bmp", EFileKind::Bmp},   {".pnm", EFileKind::Pnm},   {".png", EFileKind::Png},
    {".jpg", EFileKind::Jpeg},  {".jpeg", EFileKind::Jpeg}, {".tif", EFileKind::Tiff},
    {".tiff", EFileKind::Tiff}, {".pdf", EFileKind::Pdf},
};

const CKindRow& RowOf(EFileKind kind) {
    return kKinds[static_cast<std::size_t>(kind)];
}

const char* WordOf(ECompression compression) {
    return kCompressionWords[static_cast<std::size_t>(compression)];
}

// In lower case: ".PNG" is ".png".
std::string EndingOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension().string();
    std::ranges::transform(ending, ending.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    return ending;
}

bool Refuse(std::string* error, const std::string& line) {
    *error = line;
    return false;
}

bool IsJpegPacked(EFileKind kind, const CPictureOptions& options, int bitsPerPixel) {
    return kind == EFileKind::Pdf &&
           (options.m_compression == ECompression::Jpeg ||
            (options.m_compression == ECompression::Usual && bitsPerPixel > 1));
}

// Files whose own numbers end somewhere: bitmaps tell their size in 32 bits, PDF files the places
// of their objects in ten digits.
bool CheckBytes(EFileKind kind, bool isJpeg, std::int64_t bytes, std::string* error) {
    constexpr std::int64_t kMaxPdfBytes = 9'999'000'000;

    const std::string would = "would take " + std::to_string(bytes) + " bytes; ";
    if (kind == EFileKind::Bmp && bytes > kMaxBitmapFileBytes) {
        return Refuse(error, would +
                                 "BMP files hold less than 4 GiB; .tif and .png files hold "
                                 "more");
    }
    if (kind == EFileKind::Pdf && !isJpeg && bytes > kMaxPdfBytes)
        return Refuse(error, would + "PDF files hold less than 10 GB; .tif files hold more");
    return true;
}

}  // namespace

bool IsStandardOutput(const std::string& path) {
    return path == "-";
}

std::string ShownName(const std::string& path) {
    return IsStandardOutput(path) ? "standard output" : path;
}

std::optional<EFileKind> FileKindOf(const std::string& path, const CPictureOptions& options,
                                    std::string* error) {
    if (options.m_kind)
        return options.m_kind;
    const std::string ending = EndingOf(path);
    if (const auto* row = std::ranges::find(kEndings, ending, &CEnding::m_ending);
        row != std::end(kEndings))
        return row->m_kind;
    *error = ending.empty() ? "doesn't tell by its ending what kind of file it is; --format says it"
                            : "ends in \"" + ending + "\"; " + WritableEndings() +
                                  " files are written, and --format takes any name";
    return std::nullopt;
}

std::string WritableEndings() {
    std::string text;
    for (const CEnding& row : kEndings) {
        const bool isLast = &row == &kEndings[std::size(kEndings) - 1];
        text.append(text.empty() ? "" : isLast ? " or " : ", ").append(row.m_ending);
    }
    return text;
}

bool HoldsSeveralPages(EFileKind kind) {
    return RowOf(kind).m_holdsPages;
}

bool HoldsSeveralPages(const std::string& path, const CPictureOptions& options) {
    std::string ignored;
    const auto kind = FileKindOf(path, options, &ignored);
    return kind && HoldsSeveralPages(*kind);
}

bool CheckOptions(EFileKind kind, const CPictureOptions& options, std::string* error) {
    const CKindRow& row = RowOf(kind);
    const std::string files = std::string(row.m_name) + " files";
    if (options.m_compression != ECompression::Usual &&
        std::ranges::find(row.m_compressions, options.m_compression) == row.m_compressions.end()) {
        if (row.m_compressions.empty())
            return Refuse(error, files + " have no choice of --compression; TIFF and PDF files do");
        std::string words;
        for (const ECompression compression : row.m_compressions)
            words += (words.empty() ? "" : ", ") + std::string(WordOf(compression));
        return Refuse(error, files + " take no --compression " + WordOf(options.m_compression) +
                                 "; they take " + words);
    }
    const bool hasQuality =
        kind == EFileKind::Jpeg || (kind == EFileKind::Pdf && IsJpegPacked(kind, options, 24));
    if (options.m_quality && !hasQuality)
        return Refuse(error,
                      "--quality goes with JPEG files, and PDF files with --compression "
                      "jpeg");
    if (!options.m_title.empty() && kind != EFileKind::Pdf)
        return Refuse(error, "--title goes with PDF files");
    return true;
}

bool CheckPicture(EFileKind kind, const CPictureOptions& options, std::int64_t width,
                  std::int64_t height, int bitsPerPixel, std::string* error) {
    if (options.m_compression == ECompression::G4 && bitsPerPixel != 1)
        return Refuse(error, "would be packed by g4, which only takes line art and dots");
    if (options.m_compression == ECompression::Jpeg && bitsPerPixel == 1)
        return Refuse(error, "would be packed by jpeg, which only takes gray and colour");
    if (width < 1 || width > kMaxPictureWidth) {
        return Refuse(error, "would be " + std::to_string(width) + " pixels wide; 1 to " +
                                 std::to_string(kMaxPictureWidth) + " are written");
    }
    if (height < 1) {
        return Refuse(error,
                      "would be " + std::to_string(height) + " lines high; 1 and more are written");
    }
    const CKindRow& row = RowOf(kind);
    const bool isJpeg = IsJpegPacked(kind, options, bitsPerPixel);
    const std::int64_t maxSide = isJpeg ? kMaxJpegSide : row.m_maxSide;
    if (std::max(width, height) > maxSide) {
        return Refuse(error, "would have " + std::to_string(width) + " x " +
                                 std::to_string(height) + " pixels; " +
                                 (isJpeg ? "JPEG packing, without --compression deflate,"
                                         : std::string(row.m_name) + " files") +
                                 " can do " + std::to_string(maxSide) + " a side");
    }
    const std::int64_t stride = BitmapStride(width, bitsPerPixel);
    const std::int64_t head = kBitmapHeaderBytes + std::int64_t{FullColorCount(bitsPerPixel)} * 4;
    if (height > (kNoLimit - head) / stride)
        return Refuse(error,
                      "would be " + std::to_string(height) + " lines high, beyond all bounds");
    return CheckBytes(kind, isJpeg, head + stride * height, error);
}
