#include "tools/output_options.h"

#include "platform/terminal.h"
#include "tools/choice_option.h"

CLI::Option* AddOutputOptions(CLI::App& sub, COutputOptions& options, const std::string& words) {
    static const CWords<EFileKind> kKinds = {{"png", EFileKind::Png},  {"tiff", EFileKind::Tiff},
                                             {"tif", EFileKind::Tiff}, {"jpeg", EFileKind::Jpeg},
                                             {"jpg", EFileKind::Jpeg}, {"pdf", EFileKind::Pdf},
                                             {"bmp", EFileKind::Bmp},  {"pnm", EFileKind::Pnm}};

    CLI::Option* output = sub.add_option("-o,--output", options.m_path,
                                         words + "; - is standard output, with --format")
                              ->type_name(kFileValue);
    TakesWordOf(sub.add_option("--format", options.m_picture.m_kind,
                               "Format of the file, whatever its name ends in")
                    ->default_str("by the name's ending"),
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
