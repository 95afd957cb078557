// PDF files of one page or several, each a picture that fills its page: gray and colour as JPEG
// unless asked otherwise, single bits as faxes have them, palettes without loss. Rows go to the
// file as they come. Behind each page the file is whole: a page that breaks off has the end of the
// file put back over it, for which no more room is needed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "pictures/band_writer.h"
#include "pictures/palette_kind.h"
#include "pictures/row_packer.h"

class CPdfFileWriter final : public CBandWriter {
  public:
    CPdfFileWriter(const std::string& path, EFileKind kind, const CPictureOptions& options);

  private:
    bool WritesForward() const override { return true; }
    void Start() override;
    void StoreBand(std::uint8_t* rows, std::int32_t count) override;
    void Complete() override;
    void Drop() override;
    void CompletePages() override;

    void Put(const std::string& text) { m_file.Append(text.data(), text.size()); }
    // Begins an object, and gives its number.
    int BeginObject();
    void PlaceObject(int number);
    ECompression Choice() const;
    // The image's entries for what a pixel is and how rows are packed.
    std::string ImageForm(ECompression choice) const;
    std::string ColorSpace() const;
    std::unique_ptr<IRowPacker> MakePacker(ECompression choice);
    void EndImage();
    void PutPage();
    // All that stands behind the last page: the list of pages, what the document is, and the table
    // of all objects.
    void PutEnd();

    const std::string m_title;
    const std::string m_date;
    EPaletteKind m_kind = EPaletteKind::None;
    std::unique_ptr<IRowPacker> m_packer;
    bool m_isInverted = false;           // bits, for faxes
    bool m_isShaded = false;             // rows become differences
    std::int64_t m_streamPlace = 0;      // where the present picture's bytes begin
    std::vector<std::int64_t> m_places;  // of objects, the first of which has number 1
    std::vector<int> m_pages;            // numbers of pages
    int m_imageNumber = 0;
    // Up to where the file is whole, but for its end, and what it has there.
    std::int64_t m_wholePlace = 0;
    std::size_t m_wholeObjects = 0;
    std::size_t m_wholePages = 0;
};
