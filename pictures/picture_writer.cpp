#include "pictures/picture_writer.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "pictures/bitmap_file_writer.h"
#include "pictures/encoded_file_writer.h"

std::unique_ptr<CPictureWriter> CreateBitmapWriter(const std::string& path) {
    return std::make_unique<CBitmapFileWriter>(path);
}

std::unique_ptr<CPictureWriter> CreatePictureWriter(const std::string& path, std::string* error) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::ranges::transform(extension, extension.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    if (extension.empty() || extension == ".bmp")
        return CreateBitmapWriter(path);
    if (extension == ".png")
        return std::make_unique<CEncodedFileWriter>(path, EEncoding::Png);
    if (extension == ".tif" || extension == ".tiff")
        return std::make_unique<CEncodedFileWriter>(path, EEncoding::Tiff);
    *error = "ends in \"" + extension + "\"; .bmp, .png, .tif and .tiff files are written";
    return nullptr;
}
