// What kind of file a picture becomes, how it is packed there, and what fits into it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

enum class EFileKind : std::uint8_t { Bmp, Pnm, Png, Jpeg, Tiff, Pdf };

enum class ECompression : std::uint8_t {
    Usual,    // what suits kind and picture
    None,     // TIFF
    Lzw,      // TIFF
    Deflate,  // TIFF, PDF
    G4,       // as faxes are: TIFF and PDF, pictures of single bits
    Jpeg,     // PDF, gray and colour; loses a little
};

struct CPictureOptions {
    std::optional<EFileKind> m_kind;  // by the name's ending unless given
    ECompression m_compression = ECompression::Usual;
    std::optional<int> m_quality;  // of JPEG, 1 to 100
    std::string m_title;           // of a PDF document; empty: the file's name without its ending
};

// The name that stands for standard output.
bool IsStandardOutput(const std::string& path);
// The name as people are told of it.
std::string ShownName(const std::string& path);

// The kind that is asked for, or that the name's ending stands for. Nothing, with a line to stand
// behind the name, when there is none.
std::optional<EFileKind> FileKindOf(const std::string& path, const CPictureOptions& options,
                                    std::string* error);

// The endings of the kinds that are written, for people: ".bmp, .pnm, ... or .pdf".
std::string WritableEndings();

bool HoldsSeveralPages(EFileKind kind);
// By the path and the options; false also for names without a kind.
bool HoldsSeveralPages(const std::string& path, const CPictureOptions& options);

// That compression and quality go with the kind; else a line.
bool CheckOptions(EFileKind kind, const CPictureOptions& options, std::string* error);
// That a page of this size fits a file of this kind, and its packing goes with its bits a pixel: 1,
// 8 or 24. Else a line that names the limit, to stand behind the file's name. To be asked before a
// page is scanned.
bool CheckPicture(EFileKind kind, const CPictureOptions& options, std::int64_t width,
                  std::int64_t height, int bitsPerPixel, std::string* error);
