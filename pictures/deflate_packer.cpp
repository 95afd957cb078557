#include "pictures/deflate_packer.h"

#include <new>
#include <utility>

CDeflatePacker::CDeflatePacker(std::size_t rowBytes, const PackingEffort& effort, CPutBytes put)
    : m_rowBytes(rowBytes), m_put(std::move(put)) {
    constexpr int kWindowBits = 15;
    constexpr int kMemory = 8;  // the library's usual one

    if (deflateInit2(&m_stream, effort.level, Z_DEFLATED, kWindowBits, kMemory, effort.strategy) !=
        Z_OK)
        throw std::bad_alloc();
    m_stream.next_out = m_packed.data();
    m_stream.avail_out = static_cast<uInt>(m_packed.size());
}

// The buffer goes out when it is full, and at the end.
void CDeflatePacker::Run(std::uint8_t* bytes, std::size_t count, int flush) {
    m_stream.next_in = bytes;
    m_stream.avail_in = static_cast<uInt>(count);
    for (int state = Z_OK; state == Z_OK;) {
        state = deflate(&m_stream, flush);
        if (m_stream.avail_out == 0 || state == Z_STREAM_END) {
            m_put(m_packed.data(), m_packed.size() - m_stream.avail_out);
            m_stream.next_out = m_packed.data();
            m_stream.avail_out = static_cast<uInt>(m_packed.size());
        } else if (flush == Z_NO_FLUSH) {
            return;
        }
    }
}
