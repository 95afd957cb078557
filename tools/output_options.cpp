#include "tools/output_options.h"

#include "platform/terminal.h"
#include "tools/choice_option.h"
#include "tools/page_name.h"

CLI::Option* AddOutputOptions(CLI::App& sub, COutputOptions& options, const std::string& words) {
    static const CWords<EFileKind> kKinds = {{"png", EFileKind::Png},  {"tiff", EFileKind::Tiff},
                                             {"tif", EFileKind::Tiff}, {"jpeg", EFileKind::Jpeg},
                                             {"jpg", EFileKind::Jpeg}, {"pdf", EFileKind::Pdf},
                                             {"bmp", EFileKind::Bmp},  {"pnm", EFileKind::Pnm}};
    static const CWords<ECompression> kCompressions = {{"none", ECompression::None},
                                                       {"lzw", ECompression::Lzw},
                                                       {"deflate", ECompression::Deflate},
                                                       {"g4", ECompression::G4},
                                                       {"jpeg", ECompression::Jpeg}};

    CLI::Option* output = sub.add_option("-o,--output", options.m_path,
                                         words + "; - is standard output, with --format")
                              ->type_name(kFileValue);
    TakesWordOf(sub.add_option("--format", options.m_picture.m_kind,
                               "Format of the file, whatever its name ends in")
                    ->default_str("by the name's ending"),
                kKinds);
    TakesWordOf(sub.add_option("--compression", options.m_picture.m_compression,
                               "Packing of TIFF files (none, lzw, deflate or g4) and PDF files "
                               "(jpeg, deflate or g4); g4 takes line art and dots only")
                    ->default_str("g4 for these, else deflate in TIFF, jpeg in PDF files"),
                kCompressions);
    sub.add_option("--quality", options.m_picture.m_quality,
                   "Quality of JPEG files, and of PDF files packed by jpeg; the higher, the larger")
        ->check(CLI::Range(1, 100))
        ->default_str("90");
    sub.add_option("--title", options.m_picture.m_title, "Title of a PDF document")
        ->type_name("TEXT")
        ->default_str("the file's name without its ending");
    return output;
}

bool CheckOutput(const std::string& path, const CPictureOptions& picture, std::string* error) {
    const auto kind = FileKindOf(path, picture, error);
    bool isGood = kind && CheckOptions(*kind, picture, error);
    if (isGood && IsStandardOutput(path) && IsOutputTerminal()) {
        *error = "is a terminal, which shows no pictures; send it to a file or a program";
        isGood = false;
    }
    if (!isGood)
        *error = "-o " + path + ": " + *error;
    return isGood;
}

bool CheckPageOutput(const std::string& pattern, const CPictureOptions& picture,
                     std::string* error) {
    if (pattern.empty()) {
        *error = "-o needs the name of a file";
        return false;
    }
    const CPageName name(pattern);
    if (!name.IsFaulty())
        return CheckOutput(name.ForPage(1), picture, error);
    *error = "-o " + pattern +
             ": a '%' stands for the page as '%d', or '%3d' for three digits; '%%' is a '%'";
    return false;
}
