#include "pictures/pdf_file_writer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "pictures/deflate_packer.h"
#include "pictures/fax_packer.h"
#include "pictures/jpeg_packer.h"
#include "pictures/pixel_rows.h"
#include "platform/pixel_order.h"
#include "platform/text.h"

namespace {

// The objects that are written again behind each page.
enum EEndObject : int { kCatalog = 1, kPageTree, kDocument, kEndObjects = kDocument };

constexpr std::size_t kPlaceDigits = 10;  // in the table of objects

// Pages in which a side would be longer are measured in larger units: programs take no more.
constexpr double kMostUnits = 14400;

// PDF measures in points. A page without a resolution is taken for a scan of the usual 300 dpi:
// 72 pixels an inch, which viewers would assume, make sheets of a metre.
double Points(std::int32_t pixels, std::int32_t pelsPerMeter) {
    constexpr double kPointsPerInch = 72;
    constexpr std::int32_t kUnknownDpi = 300;

    const std::int32_t dpi = DotsPerInch(pelsPerMeter);
    return pixels * kPointsPerInch / (dpi > 0 ? dpi : kUnknownDpi);
}

// With a point, whatever the locale, and no zeros at the end.
std::string Number(double value) {
    constexpr std::int64_t kParts = 100'000;
    const auto all = static_cast<std::int64_t>(value * kParts + 0.5);
    std::string parts = std::to_string(kParts + all % kParts).substr(1);
    while (!parts.empty() && parts.back() == '0')
        parts.pop_back();
    return std::to_string(all / kParts) + (parts.empty() ? "" : "." + parts);
}

std::string Reference(int number) {
    return std::to_string(number) + " 0 R";
}

std::string Hex(unsigned value, int digits) {
    char text[16];
    std::snprintf(text, sizeof(text), "%0*X", digits, value);
    return text;
}

// A text of any language is UTF-16 there, with its mark ahead.
std::string TextString(const std::string& text) {
    std::string hex = "<FEFF";
    for (const char16_t unit : WideFromText(text))
        hex += Hex(unit, 4);
    return hex + ">";
}

// "D:20261125170000Z": now, in universal time.
std::string DateString() {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    const auto day = std::chrono::floor<std::chrono::days>(now);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(now - day);
    char text[40];
    std::snprintf(text, sizeof(text), "(D:%04d%02u%02u%02d%02d%02dZ)",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

// The file's name without its ending; standard output has none.
std::string TitleFor(const std::string& path, const CPictureOptions& options) {
    if (!options.m_title.empty() || IsStandardOutput(path))
        return options.m_title;
    return std::filesystem::path(path).stem().string();
}

}  // namespace

CPdfFileWriter::CPdfFileWriter(const std::string& path, EFileKind kind,
                               const CPictureOptions& options)
    : CBandWriter(path, kind, options), m_title(TitleFor(path, options)), m_date(DateString()) {}

void CPdfFileWriter::PlaceObject(int number) {
    m_places.at(static_cast<std::size_t>(number - 1)) = m_file.Place();
    Put(std::to_string(number) + " 0 obj\n");
}

int CPdfFileWriter::BeginObject() {
    m_places.push_back(0);
    const int number = static_cast<int>(m_places.size());
    PlaceObject(number);
    return number;
}

ECompression CPdfFileWriter::Choice() const {
    if (m_options.m_compression != ECompression::Usual)
        return m_options.m_compression;
    return m_info.biBitCount == 1           ? ECompression::G4
           : m_kind == EPaletteKind::Colors ? ECompression::Deflate
                                            : ECompression::Jpeg;
}

// Bytes above 127 in the first lines tell programs that the file isn't text.
void CPdfFileWriter::Start() {
    if (m_places.empty()) {
        Put("%PDF-1.6\n%\xE2\xE3\xCF\xD3\n");
        m_places.resize(kEndObjects);
    }
    m_kind = KindOf(Palette());
    const ECompression choice = Choice();
    m_isInverted = choice == ECompression::G4 && m_kind == EPaletteKind::WhiteIsSet;
    m_isShaded = choice == ECompression::Deflate &&
                 (m_kind == EPaletteKind::None || m_kind == EPaletteKind::Grays);
    m_imageNumber = BeginObject();
    // How long the stream becomes is known behind it: its length is an object of its own.
    Put("<< /Type /XObject /Subtype /Image /Width " + std::to_string(m_info.biWidth) + " /Height " +
        std::to_string(m_info.biHeight) + ImageForm(choice) + " /Length " +
        Reference(m_imageNumber + 1) + " >>\nstream\n");
    m_streamPlace = m_file.Place();
    m_packer = MakePacker(choice);
}

std::string CPdfFileWriter::ColorSpace() const {
    if (m_kind == EPaletteKind::None)
        return "/DeviceRGB";
    if (m_kind != EPaletteKind::Colors)
        return "/DeviceGray";
    std::string colors;
    for (const RGBQUAD& color : Palette())
        colors += Hex(color.rgbRed, 2) + Hex(color.rgbGreen, 2) + Hex(color.rgbBlue, 2);
    return "[/Indexed /DeviceRGB " + std::to_string(Palette().size() - 1) + " <" + colors + ">]";
}

std::string CPdfFileWriter::ImageForm(ECompression choice) const {
    const std::string columns = std::to_string(m_info.biWidth);
    const std::string bits = " /BitsPerComponent " + std::to_string(m_info.biBitCount == 1 ? 1 : 8);
    if (choice == ECompression::Jpeg) {
        return bits + " /ColorSpace " +
               (std::ranges::all_of(Palette(), IsGray) && m_info.biBitCount != 24 ? "/DeviceGray"
                                                                                  : "/DeviceRGB") +
               " /Filter /DCTDecode";
    }
    std::string form = bits + " /ColorSpace " + ColorSpace();
    if (choice == ECompression::G4) {
        // Where a palette tells the colours, bits come out as they went in.
        return form + " /Filter /CCITTFaxDecode /DecodeParms << /K -1 /Columns " + columns +
               " /Rows " + std::to_string(m_info.biHeight) +
               (m_kind == EPaletteKind::Colors ? " /BlackIs1 true" : "") + " >>";
    }
    if (m_kind == EPaletteKind::BlackIsSet)
        form += " /Decode [1 0]";
    form += " /Filter /FlateDecode";
    if (m_isShaded) {
        form += " /DecodeParms << /Predictor 2 /Colors " +
                std::string(m_kind == EPaletteKind::None ? "3" : "1") +
                " /BitsPerComponent 8 /Columns " + columns + " >>";
    }
    return form;
}

std::unique_ptr<IRowPacker> CPdfFileWriter::MakePacker(ECompression choice) {
    CPutBytes put = [this](const void* bytes, std::size_t count) { m_file.Append(bytes, count); };
    if (choice == ECompression::Jpeg) {
        return std::make_unique<CJpegPacker>(
            m_info, Palette(), m_options.m_quality.value_or(CJpegPacker::kUsualQuality),
            std::move(put));
    }
    if (choice == ECompression::G4)
        return std::make_unique<CFaxPacker>(m_info.biWidth, m_info.biHeight, std::move(put));
    const auto bytes = static_cast<std::size_t>(BitmapRowBytes(m_info.biWidth, m_info.biBitCount));
    return std::make_unique<CDeflatePacker>(bytes, m_isShaded ? kShadedEffort : kPlainEffort,
                                            std::move(put));
}

void CPdfFileWriter::StoreBand(std::uint8_t* rows, std::int32_t count) {
    const auto width = static_cast<std::size_t>(m_info.biWidth);
    for (std::int32_t row = 0; row < count; ++row, rows += Stride()) {
        if (m_isInverted)
            InvertBits(rows, Stride());
        if (m_isShaded && m_kind == EPaletteKind::None) {
            SwapRedBlue(rows, 3 * width);
            ToDifferences(rows, 3 * width, 3);
        } else if (m_isShaded) {
            ToDifferences(rows, width, 1);
        }
        m_packer->Pack(rows);
    }
}

void CPdfFileWriter::EndImage() {
    const std::int64_t length = m_file.Place() - m_streamPlace;
    Put("\nendstream\nendobj\n");
    BeginObject();
    Put(std::to_string(length) + "\nendobj\n");
    m_packer.reset();
}

// The picture is a square of one unit to whoever draws it, stretched over the page.
void CPdfFileWriter::PutPage() {
    double width = Points(m_info.biWidth, m_info.biXPelsPerMeter);
    double height = Points(m_info.biHeight, m_info.biYPelsPerMeter);
    const double unit = std::max({1.0, width / kMostUnits, height / kMostUnits});
    width /= unit;
    height /= unit;
    const std::string draw =
        "q " + Number(width) + " 0 0 " + Number(height) + " 0 0 cm /Picture Do Q";
    const int contents = BeginObject();
    Put("<< /Length " + std::to_string(draw.size()) + " >>\nstream\n" + draw +
        "\nendstream\nendobj\n");
    m_pages.push_back(BeginObject());
    Put("<< /Type /Page /Parent " + Reference(kPageTree) + " /MediaBox [0 0 " + Number(width) +
        " " + Number(height) + "]" + (unit > 1 ? " /UserUnit " + Number(unit) : "") +
        " /Resources << /XObject << /Picture " + Reference(m_imageNumber) + " >> >> /Contents " +
        Reference(contents) + " >>\nendobj\n");
}

// The next page begins over the end, unless that can't be gone back to.
void CPdfFileWriter::Complete() {
    m_packer->Finish();
    EndImage();
    PutPage();
    if (m_file.IsStream())
        return;
    const std::int64_t place = m_file.Place();
    PutEnd();
    m_file.GoTo(place);
    m_wholePlace = place;
    m_wholeObjects = m_places.size();
    m_wholePages = m_pages.size();
}

// A page counts when it is in the list of pages. What has gone out of one that broke off stays
// there, unused.
void CPdfFileWriter::Drop() {
    if (m_file.IsStream()) {
        if (m_packer)
            EndImage();
        return;
    }
    m_packer.reset();
    m_file.GoTo(m_wholePlace);
    m_places.resize(m_wholeObjects);
    m_pages.resize(m_wholePages);
    PutEnd();
    m_file.CutOff();
}

void CPdfFileWriter::CompletePages() {
    if (m_file.IsStream())
        PutEnd();
}

// Each row of the table has 20 bytes.
void CPdfFileWriter::PutEnd() {
    PlaceObject(kCatalog);
    Put("<< /Type /Catalog /Pages " + Reference(kPageTree) + " >>\nendobj\n");
    PlaceObject(kPageTree);
    std::string kids;
    for (const int page : m_pages)
        kids += Reference(page) + " ";
    Put("<< /Type /Pages /Count " + std::to_string(m_pages.size()) + " /Kids [ " + kids +
        "] >>\nendobj\n");
    PlaceObject(kDocument);
    Put("<< /Producer (nvqscan) /CreationDate " + m_date +
        (m_title.empty() ? "" : " /Title " + TextString(m_title)) + " >>\nendobj\n");
    const std::int64_t table = m_file.Place();
    std::string rows = "0000000000 65535 f \n";
    for (const std::int64_t place : m_places) {
        const std::string digits = std::to_string(place);
        if (digits.size() > kPlaceDigits)
            Fail("can't be written; PDF files hold less than 10 GB");
        rows += std::string(kPlaceDigits - digits.size(), '0') + digits + " 00000 n \n";
    }
    const std::string count = std::to_string(m_places.size() + 1);
    Put("xref\n0 " + count + '\n' + rows + "trailer\n<< /Size " + count + " /Root " +
        Reference(kCatalog) + " /Info " + Reference(kDocument) + " >>\nstartxref\n" +
        std::to_string(table) + "\n%%EOF\n");
}
