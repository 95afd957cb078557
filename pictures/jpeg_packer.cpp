#include "pictures/jpeg_packer.h"

#include <algorithm>
#include <cstdio>
#include <utility>

// Behind the streams' declarations, which it needs.
#include <jpeglib.h>

#include "platform/bitmap_headers.h"

// The library's records, whose addresses it keeps.
struct CJpegPacker::CParts {
    // The calls are borrowed.
    CParts(CLibraryCalls& calls, CPutBytes put) : m_calls(calls), m_put(std::move(put)) {
        m_info.err = jpeg_std_error(&m_errors);
        m_errors.error_exit = OnError;
        m_errors.emit_message = OnMessage;
        m_target = {nullptr, 0, OnBegin, OnFull, OnEnd};
        m_info.client_data = this;
    }
    ~CParts() { jpeg_destroy_compress(&m_info); }
    CParts(const CParts&) = delete;
    CParts& operator=(const CParts&) = delete;

    static CParts& Of(j_common_ptr info) { return *static_cast<CParts*>(info->client_data); }
    static CParts& Of(j_compress_ptr info) { return *static_cast<CParts*>(info->client_data); }

    static void OnError(j_common_ptr info) {
        char words[JMSG_LENGTH_MAX];
        info->err->format_message(info, words);
        Of(info).m_calls.Break(words);
    }
    static void OnMessage(j_common_ptr, int) {}
    static void OnBegin(j_compress_ptr info) { Of(info).Empty(); }
    // The library wants the whole buffer to be taken.
    static boolean OnFull(j_compress_ptr info) {
        CParts& parts = Of(info);
        parts.Hand(parts.m_buffer.size());
        parts.Empty();
        return TRUE;
    }
    static void OnEnd(j_compress_ptr info) {
        CParts& parts = Of(info);
        parts.Hand(parts.m_buffer.size() - parts.m_target.free_in_buffer);
    }
    void Empty() {
        m_target.next_output_byte = m_buffer.data();
        m_target.free_in_buffer = m_buffer.size();
    }
    void Hand(std::size_t bytes) {
        m_calls.Callback([this, bytes] { m_put(m_buffer.data(), bytes); });
    }

    static constexpr std::size_t kBufferBytes = std::size_t{1} << 16;

    CLibraryCalls& m_calls;
    const CPutBytes m_put;
    jpeg_compress_struct m_info = {};
    jpeg_error_mgr m_errors = {};
    jpeg_destination_mgr m_target = {};
    std::vector<JOCTET> m_buffer = std::vector<JOCTET>(kBufferBytes);
};

CJpegPacker::CJpegPacker(const BITMAPINFOHEADER& picture, std::span<const RGBQUAD> palette,
                         int quality, CPutBytes put)
    : m_mapper(CRowMapper::Bitmap(picture.biBitCount, palette)),
      m_samples(static_cast<std::size_t>(picture.biWidth) * (IsGray() ? 1 : 3)),
      m_width(picture.biWidth),
      m_parts(std::make_unique<CParts>(m_calls, std::move(put))) {
    Start(picture, quality);
}

CJpegPacker::~CJpegPacker() = default;

void CJpegPacker::Start(const BITMAPINFOHEADER& picture, int quality) {
    jpeg_compress_struct& info = m_parts->m_info;
    const std::int32_t xDpi = DotsPerInch(picture.biXPelsPerMeter);
    const std::int32_t yDpi = DotsPerInch(picture.biYPelsPerMeter);
    m_calls.Run([&] {
        jpeg_create_compress(&info);
        info.dest = &m_parts->m_target;
        info.image_width = static_cast<JDIMENSION>(picture.biWidth);
        info.image_height = static_cast<JDIMENSION>(picture.biHeight);
        info.input_components = IsGray() ? 1 : 3;
        info.in_color_space = IsGray() ? JCS_GRAYSCALE : JCS_EXT_BGR;
        jpeg_set_defaults(&info);
        jpeg_set_quality(&info, quality, TRUE);
        // The file's fields for it have 16 bits.
        if (xDpi > 0 && yDpi > 0 && std::max(xDpi, yDpi) <= UINT16_MAX) {
            info.density_unit = 1;  // an inch
            info.X_density = static_cast<UINT16>(xDpi);
            info.Y_density = static_cast<UINT16>(yDpi);
        }
        jpeg_start_compress(&info, TRUE);
    });
}

void CJpegPacker::Pack(std::uint8_t* row) {
    m_mapper.Map(m_samples.data(), row, m_width);
    JSAMPROW samples = m_samples.data();
    m_calls.Run([&] { jpeg_write_scanlines(&m_parts->m_info, &samples, 1); });
}

void CJpegPacker::Finish() {
    m_calls.Run([&] { jpeg_finish_compress(&m_parts->m_info); });
}
