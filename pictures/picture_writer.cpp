#include "pictures/picture_writer.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>

#include "pictures/bitmap_file_writer.h"
#include "pictures/encoded_file_writer.h"
#include "pictures/pdf_file_writer.h"
#include "pictures/pnm_file_writer.h"
#include "pictures/tiff_file_writer.h"

namespace {

template <typename TWriter>
std::unique_ptr<CPictureWriter> Make(const std::string& path) {
    return std::make_unique<TWriter>(path);
}

template <EPictureEncoding encoding>
std::unique_ptr<CPictureWriter> MakeEncoded(const std::string& path) {
    return std::make_unique<CEncodedFileWriter>(path, encoding);
}

// What a file's name ends in, and what is written then.
struct CKindRow {
    const char* extension;
    bool holdsPages;
    std::unique_ptr<CPictureWriter> (*make)(const std::string& path);
};
constexpr CKindRow kKinds[] = {
    {"", false, Make<CBitmapFileWriter>},
    {".bmp", false, Make<CBitmapFileWriter>},
    {".pnm", false, Make<CPnmFileWriter>},
    {".png", false, MakeEncoded<EPictureEncoding::Png>},
    {".jpg", false, MakeEncoded<EPictureEncoding::Jpeg>},
    {".jpeg", false, MakeEncoded<EPictureEncoding::Jpeg>},
    {".tif", true, Make<CTiffFileWriter>},
    {".tiff", true, Make<CTiffFileWriter>},
    {".pdf", true, Make<CPdfFileWriter>},
};

// In lower case: ".PNG" is ".png".
std::string ExtensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::ranges::transform(extension, extension.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    return extension;
}

const CKindRow* FindKind(const std::string& extension) {
    const auto* row = std::ranges::find(kKinds, extension, &CKindRow::extension);
    return row == std::end(kKinds) ? nullptr : row;
}

}  // namespace

std::unique_ptr<CPictureWriter> CreateBitmapWriter(const std::string& path) {
    return std::make_unique<CBitmapFileWriter>(path);
}

std::unique_ptr<CPictureWriter> CreatePictureWriter(const std::string& path, std::string* error) {
    const std::string extension = ExtensionOf(path);
    if (const CKindRow* kind = FindKind(extension))
        return kind->make(path);
    *error = "ends in \"" + extension +
             "\"; .bmp, .pnm, .png, .jpg, .jpeg, .tif, .tiff and .pdf files are written";
    return nullptr;
}

bool HoldsSeveralPages(const std::string& path) {
    const CKindRow* kind = FindKind(ExtensionOf(path));
    return kind && kind->holdsPages;
}
