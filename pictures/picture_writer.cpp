#include "pictures/picture_writer.h"

#include "pictures/bitmap_file_writer.h"
#include "pictures/jpeg_file_writer.h"
#include "pictures/pdf_file_writer.h"
#include "pictures/png_file_writer.h"
#include "pictures/pnm_file_writer.h"
#include "pictures/tiff_file_writer.h"

namespace {

using CMake = std::unique_ptr<CPictureWriter> (*)(const std::string& path, EFileKind kind,
                                                  const CPictureOptions& options);

template <typename TWriter>
std::unique_ptr<CPictureWriter> Make(const std::string& path, EFileKind kind,
                                     const CPictureOptions& options) {
    return std::make_unique<TWriter>(path, kind, options);
}

// In the order of EFileKind.
constexpr CMake kMakers[] = {
    Make<CBitmapFileWriter>, Make<CPnmFileWriter>,  Make<CPngFileWriter>,
    Make<CJpegFileWriter>,   Make<CTiffFileWriter>, Make<CPdfFileWriter>,
};

}  // namespace

std::unique_ptr<CPictureWriter> CreateBitmapWriter(const std::string& path) {
    return Make<CBitmapFileWriter>(path, EFileKind::Bmp, {});
}

std::unique_ptr<CPictureWriter> CreatePictureWriter(const std::string& path,
                                                    const CPictureOptions& options,
                                                    std::string* error) {
    const auto kind = FileKindOf(path, options, error);
    if (!kind || !CheckOptions(*kind, options, error))
        return nullptr;
    return kMakers[static_cast<std::size_t>(*kind)](path, *kind, options);
}
