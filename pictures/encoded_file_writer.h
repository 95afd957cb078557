// PNG and JPEG files.
#pragma once

#include "pictures/pix_file_writer.h"

enum class EPictureEncoding { Png, Jpeg };

class CEncodedFileWriter final : public CPixFileWriter {
  public:
    CEncodedFileWriter(const std::string& path, EFileKind kind, const CPictureOptions& options)
        : CPixFileWriter(path, kind, options),
          m_encoding(kind == EFileKind::Png ? EPictureEncoding::Png : EPictureEncoding::Jpeg) {}

  private:
    void StorePage(PIX* pix) override;

    EPictureEncoding m_encoding;
};
