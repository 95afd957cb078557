// Finished images to files: as they come from the driver, to .bmp, .png and .tif files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/types.h"

// Receives an image as a client of the driver gets it: the header and palette of a
// device-independent bitmap, then its rows in runs of bytes. The file appears under its name in
// Finish, whole, in place of one that was there before; a writer that goes without Finish, or that
// has failed, leaves nothing behind. Every failure is for good; Error() says why in one line, to
// stand behind the file's name.
class CPictureWriter {
  public:
    virtual ~CPictureWriter() = default;
    CPictureWriter(const CPictureWriter&) = delete;
    CPictureWriter& operator=(const CPictureWriter&) = delete;

    // biHeight is positive. `palette` has up to 2 colours with 1 bit a pixel and up to 256 with 8
    // bits; colours that it leaves out are white. With 24 bits it is passed over.
    virtual bool Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) = 0;
    // Rows with the top line first, each padded to 4 bytes; a run may begin and end within a row.
    // Bytes beyond the last row are dropped.
    virtual bool Write(const std::uint8_t* bytes, std::size_t length) = 0;
    // Rows that are missing, in whole or in part, are filled up with 0xFF.
    virtual bool Finish() = 0;

    const std::string& Error() const { return m_error; }

  protected:
    CPictureWriter() = default;

    std::string m_error;
};

// The writer for the path's extension: .bmp (also without any), .png, .tif or .tiff. A bitmap file
// is streamed, whatever its height; the other kinds are held in memory up to Finish. Null with one
// line in `error` for other extensions.
std::unique_ptr<CPictureWriter> CreatePictureWriter(const std::string& path, std::string* error);
// A bitmap file, whatever the path's extension.
std::unique_ptr<CPictureWriter> CreateBitmapWriter(const std::string& path);
