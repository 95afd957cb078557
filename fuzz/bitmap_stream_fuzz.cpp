// Anything as the byte stream of a bitmap that feeds the engine.
#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "engine/input_stream.h"
#include "fuzz/fuzz.h"
#include "stages/bmp_reader.h"

namespace {

// Rows of images that claim more stay unread: the engine holds as many as it is told.
constexpr std::int64_t kMostBytes = 1 << 20;

class CBytesStream final : public CQLInputStream {
  public:
    CBytesStream(const std::uint8_t* data, std::size_t size) : m_next(data), m_left(size) {}

    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT Read(void* target, ULONG bytes, ULONG* got) override {
        const std::size_t count = std::min<std::size_t>(bytes, m_left);
        if (count != 0)
            std::memcpy(target, m_next, count);
        m_next += count;
        m_left -= count;
        *got = static_cast<ULONG>(count);
        return S_OK;
    }
    HRESULT Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }

  private:
    const std::uint8_t* m_next;
    std::size_t m_left;
};

// Blocks of 1, 2, 3 and so on lines, each in memory that is exactly as large.
void ReadRows(CBmpReader& reader) {
    std::int64_t left = std::min<std::int64_t>(reader.Height(), 1000);
    for (std::int32_t count = 1; left > 0; left -= count++) {
        const std::int64_t bytes = reader.RowBytes() * count;
        if (reader.Stride() * count > kMostBytes)
            return;
        const std::unique_ptr<std::uint8_t[]> rows(
            new std::uint8_t[static_cast<std::size_t>(bytes)]());
        reader.ReadRows(rows.get(), 0, count);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CBytesStream stream(data, size);
    try {
        CBmpStreamReader reader(&stream);
        Require(reader.Height() > 0 && reader.Stride() > 0 && reader.RowBytes() >= 0);
        Require(reader.RowBytes() <= reader.Stride());
        reader.XDpi();
        reader.YDpi();
        ReadRows(reader);
    } catch (const std::runtime_error&) {
    }
    return 0;
}
