#include "pictures/jpeg_reader.h"

// Ahead of the library's header, which needs it.
#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

#include <cmath>
#include <csetjmp>
#include <string>

#include "pictures/bitmap_layout.h"
#include "pictures/file_failure.h"

// The library's own state. It leaves its functions by long jumps, which pass over no object of ours
// here: what runs inside Do are calls of the library alone.
class CJpegReader::CLibrary {
  public:
    CLibrary() {
        m_info.err = jpeg_std_error(&m_errors);
        m_errors.error_exit = OnError;
        m_errors.emit_message = OnMessage;
        m_info.client_data = this;
        Do([](j_decompress_ptr info) { jpeg_create_decompress(info); });
    }
    ~CLibrary() { jpeg_destroy_decompress(&m_info); }
    CLibrary(const CLibrary&) = delete;
    CLibrary& operator=(const CLibrary&) = delete;

    template <typename TAction>
    void Do(TAction action) {
        if (setjmp(m_back) != 0)
            Fail(std::string("is a damaged JPEG file: ") + m_words);
        action(&m_info);
    }

    const jpeg_decompress_struct& Info() const { return m_info; }

  private:
    static void OnError(j_common_ptr common) {
        auto* library = static_cast<CLibrary*>(common->client_data);
        const int code = common->err->msg_code;
        if (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER || code == JERR_INPUT_EOF)
            std::snprintf(library->m_words, sizeof(library->m_words), "it ends early");
        else
            common->err->format_message(common, library->m_words);
        std::longjmp(library->m_back, 1);
    }
    // Warnings are below 0: the library makes up what is missing, and would go on. The rest tells
    // how it goes.
    static void OnMessage(j_common_ptr common, int level) {
        if (level < 0)
            OnError(common);
    }

    jpeg_decompress_struct m_info = {};
    jpeg_error_mgr m_errors = {};
    std::jmp_buf m_back = {};
    char m_words[JMSG_LENGTH_MAX] = {};
};

namespace {

// As it is written behind most headers; 0 for a mere ratio of the sides.
std::int32_t PelsPerMeterOf(const jpeg_decompress_struct& info, int density) {
    if (info.density_unit == 1)
        return PelsPerMeter(density);
    return info.density_unit == 2 ? density * 100 : 0;
}

// A progressive picture takes two bytes a coefficient, all of them at once.
void CheckCoefficients(const jpeg_decompress_struct& info) {
    const std::int64_t bytes =
        std::int64_t{info.image_width} * info.image_height * info.num_components * 2;
    if (bytes > kMaxDecodedBytes) {
        Fail("is a progressive JPEG file of " + std::to_string(info.image_width) + " x " +
             std::to_string(info.image_height) +
             " pixels; those are read up to 2 GiB of coefficients");
    }
}

}  // namespace

CJpegReader::CJpegReader(CInputFile file)
    : m_file(std::move(file)), m_library(std::make_unique<CLibrary>()) {
    std::FILE* const stream = m_file.Stream();
    std::rewind(stream);
    m_library->Do([stream](j_decompress_ptr info) {
        jpeg_stdio_src(info, stream);
        jpeg_read_header(info, TRUE);
    });
    const jpeg_decompress_struct& info = m_library->Info();
    if (jpeg_has_multiple_scans(const_cast<j_decompress_ptr>(&info)))
        CheckCoefficients(info);
    m_library->Do([](j_decompress_ptr picture) {
        const J_COLOR_SPACE space = picture->jpeg_color_space;
        picture->out_color_space = space == JCS_GRAYSCALE                   ? JCS_GRAYSCALE
                                   : space == JCS_CMYK || space == JCS_YCCK ? JCS_CMYK
                                                                            : JCS_EXT_BGR;
        jpeg_start_decompress(picture);
    });
    // Inks come the other way round from the programs that name themselves in the file.
    m_mapper = info.out_color_space == JCS_GRAYSCALE ? CRowMapper::Gray(8)
               : info.out_color_space == JCS_EXT_BGR ? CRowMapper(EPixelLayout::Bgr)
               : info.saw_Adobe_marker               ? CRowMapper(EPixelLayout::CmykInverted)
                                                     : CRowMapper(EPixelLayout::Cmyk);
    m_info.m_width = static_cast<std::int32_t>(info.output_width);
    m_info.m_height = static_cast<std::int32_t>(info.output_height);
    m_info.m_bitsPerPixel = m_mapper.TargetBits();
    m_info.m_xPelsPerMeter = PelsPerMeterOf(info, info.X_density);
    m_info.m_yPelsPerMeter = PelsPerMeterOf(info, info.Y_density);
    m_row.resize(std::size_t{info.output_width} * static_cast<std::size_t>(info.output_components));
}

CJpegReader::~CJpegReader() = default;

void CJpegReader::ReadLine(std::uint8_t* target) {
    m_library->Do([row = m_row.data()](j_decompress_ptr info) {
        JSAMPROW rows[] = {row};
        jpeg_read_scanlines(info, rows, 1);
    });
    m_mapper.Map(target, m_row.data(), m_info.m_width);
}
