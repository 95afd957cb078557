#include "pictures/encoded_file_writer.h"

namespace {

// Without a gamma: the file says nothing of how its values stand to light.
CEncodedBytes EncodePng(PIX* pix) {
    CEncodedBytes encoded;
    l_uint8* bytes = nullptr;
    const int failed = pixWriteMemPng(&bytes, &encoded.size, pix, 0.0f);
    encoded.bytes.reset(bytes);
    if (failed || !bytes)
        throw std::bad_alloc();
    return encoded;
}

}  // namespace

// In memory: when a disk is full, Leptonica's writing to files may go unnoticed.
void CEncodedFileWriter::StorePage(PIX* pix) {
    const CEncodedBytes encoded =
        m_encoding == EPictureEncoding::Png ? EncodePng(pix) : EncodeJpeg(pix);
    m_file.WriteAt(encoded.bytes.get(), encoded.size, 0);
}
