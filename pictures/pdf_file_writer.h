// PDF files of one page or several, each a picture that fills its page. Gray and colour are
// compressed as JPEG, bits and palettes without loss. A page goes to the file when it is whole.
#pragma once

#include "pictures/cairo_output.h"
#include "pictures/pix_file_writer.h"

class CPdfFileWriter final : public CPixFileWriter {
  public:
    using CPixFileWriter::CPixFileWriter;
    ~CPdfFileWriter() override { m_output.Drop(); }

  private:
    void StorePage(PIX* pix) override;
    void CompletePages() override;

    // Of the next page, in points. A page that isn't of the size of the one before may become up to
    // a point larger than its picture, at the right and at the bottom.
    void SetPageSize(double width, double height);

    CCairoOutput m_output{m_file};
    double m_width = 0;  // of the last page
    double m_height = 0;
    CCairoSurfacePtr m_document;
};
