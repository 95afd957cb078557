// Finished images to files, as they come from the driver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "pictures/picture_options.h"
#include "platform/types.h"

// Receives an image as a client of the driver gets it: the header and palette of a
// device-independent bitmap, then its rows in runs of bytes. The file appears under its name in
// Finish, whole, in place of one that was there before; a writer that goes without Finish leaves
// nothing behind. Every failure is for good; Error() says why in one line, to stand behind the
// file's name. Behind a failure DropPage and Finish still keep the whole pages of a file that has
// some.
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
    // The page is whole, with missing rows filled up; Begin or Finish is next. Without it, Finish
    // ends the page. A second page is refused by kinds of files that hold one.
    virtual bool EndPage() = 0;
    // Gives up a page that has begun; Finish, which must be next, keeps the whole ones before it.
    virtual bool DropPage() = 0;

    const std::string& Error() const { return m_error; }

  protected:
    CPictureWriter() = default;

    std::string m_error;
};

// The writer for the path, "-" for standard output, of the kind that the options name or the path's
// ending stands for. JPEG files, and the gray and colour pages of PDF files, lose a little. Null
// with one line in `error` for other endings, and for options that don't go with the kind.
std::unique_ptr<CPictureWriter> CreatePictureWriter(const std::string& path,
                                                    const CPictureOptions& options,
                                                    std::string* error);
// A bitmap file, whatever the path's ending.
std::unique_ptr<CPictureWriter> CreateBitmapWriter(const std::string& path);
