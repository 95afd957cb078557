// PNG and JPEG files.
#pragma once

#include "pictures/pix_file_writer.h"

enum class EPictureEncoding { Png, Jpeg };

class CEncodedFileWriter final : public CPixFileWriter {
  public:
    CEncodedFileWriter(const std::string& path, EPictureEncoding encoding)
        : CPixFileWriter(path), m_encoding(encoding) {}

  private:
    void StorePage(PIX* pix) override;

    EPictureEncoding m_encoding;
};
