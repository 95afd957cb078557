#include "tools/output_options.h"

#include <map>

#include "platform/terminal.h"
#include "tools/choice_option.h"

CLI::Option* AddOutputOptions(CLI::App& sub, COutputOptions& options, const std::string& words) {
    static const std::map<std::string, EFileKind> kKinds = {
        {"bmp", EFileKind::Bmp},   {"pnm", EFileKind::Pnm},   {"png", EFileKind::Png},
        {"jpg", EFileKind::Jpeg},  {"jpeg", EFileKind::Jpeg}, {"tif", EFileKind::Tiff},
        {"tiff", EFileKind::Tiff}, {"pdf", EFileKind::Pdf}};

    CLI::Option* output = sub.add_option("-o,--output", options.m_path,
                                         words + "; - is standard output, with --format");
    TakesWordOf(sub.add_option("--format", options.m_picture.m_kind,
                               "bmp, pnm, png, jpeg, tiff or pdf, whatever the name ends in (by "
                               "the name's ending)"),
                kKinds);
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
