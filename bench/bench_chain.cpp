#include "bench/bench_chain.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/bench_page.h"
#include "engine/engine.h"
#include "platform/bitmap_headers.h"

namespace {

constexpr std::int32_t kBandLines = 20;

// A page as the engine's input stream: bitmap headers, then as many lines as have been announced.
class CPageStream final : public CQLInputStream {
  public:
    CPageStream(std::int32_t width, std::int32_t height, std::int32_t bits)
        : m_page(BenchPage(width, height, bits)),
          m_row(static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) / 8),
          m_stride(static_cast<std::size_t>(BitmapStride(width, bits))),
          m_height(height) {
        BITMAPINFOHEADER info = MakeInfoHeader(width, -height, bits);
        info.biClrUsed = 0;  // the reader needs no colours
        info.biXPelsPerMeter = info.biYPelsPerMeter = PelsPerMeter(300);
        const BITMAPFILEHEADER file = MakeFileHeader(info, BitmapImageBytes(info));
        m_headers.resize(sizeof(file) + sizeof(info));
        std::memcpy(m_headers.data(), &file, sizeof(file));
        std::memcpy(m_headers.data() + sizeof(file), &info, sizeof(info));
        m_cbWritten = static_cast<std::uint32_t>(m_headers.size());
    }

    std::int32_t Announce(std::int32_t lines) {
        const std::int32_t count = std::min(lines, m_height - m_announced);
        m_announced += count;
        m_nLines += static_cast<std::uint32_t>(count);
        m_cbWritten += static_cast<std::uint32_t>(m_stride) * static_cast<std::uint32_t>(count);
        return count;
    }

    std::int32_t LinesLeft() const { return m_height - m_announced; }

    HRESULT QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT Read(void* target, ULONG bytes, ULONG* read) override {
        auto* out = static_cast<std::uint8_t*>(target);
        if (m_headerPos < m_headers.size()) {
            std::memcpy(out, m_headers.data() + m_headerPos, bytes);
            m_headerPos += bytes;
        } else {
            for (ULONG done = 0; done < bytes; done += static_cast<ULONG>(m_stride), ++m_line)
                std::memcpy(out + done, m_page.data() + m_line * m_row, m_row);
        }
        m_cbRead += bytes;
        *read = bytes;
        return S_OK;
    }
    HRESULT Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }

  private:
    const std::vector<std::uint8_t>& m_page;
    const std::size_t m_row;
    const std::size_t m_stride;
    const std::int32_t m_height;
    std::vector<std::uint8_t> m_headers;
    std::size_t m_headerPos = 0;
    std::size_t m_line = 0;
    std::int32_t m_announced = 0;
};

class CCountingClient final : public IQLImageCallback {
  public:
    HRESULT ImageCallback(std::uint32_t type, std::uint32_t, std::uint32_t, std::int32_t length,
                          std::uint8_t* buffer) override {
        if (type == QL_IMAGE_CALLBACK_DIB_BUFFER)
            m_bytes += length;
        benchmark::DoNotOptimize(buffer);
        return S_OK;
    }
    std::int64_t m_bytes = 0;
};

void RunPage(CQLEngine& engine, CPageStream& stream, std::int32_t withheld = 0) {
    engine.SetInputStream(&stream);
    engine.Start();
    engine.FireBegin();
    // A page that lacks lines at its end is sampled and never analysed.
    while (stream.Announce(std::min(kBandLines, stream.LinesLeft() - withheld)) > 0)
        engine.FireFeed();
    engine.FireFeed();
    engine.FireEnd();
    engine.Stop();
}

class CLevels final : public CQLAttribStore {
  public:
    explicit CLevels(QLAttribTree* tree) : CQLAttribStore(tree) {
        for (std::int32_t id = QL_ATTR_TONE_GAMMA_R; id <= QL_ATTR_TONE_BLACK_B; ++id)
            RegisterProvider(id);
    }
    std::uint64_t GetAttrib(std::int32_t id) override {
        return ToFixed(id <= QL_ATTR_TONE_GAMMA_B ? 1.08 : id <= QL_ATTR_TONE_GAIN_B ? 1.0 : 2.7);
    }
};

}  // namespace

void BenchChain(benchmark::State& state, const BenchChainSetting& setting) {
    const auto factor = static_cast<std::int32_t>(state.range(0));
    const std::int32_t width = kPageWidth * factor;
    const std::int32_t height = kPageHeight * factor;
    BenchPage(width, height, setting.inputBits);
    CQLEngine engine;
    engine.Init();
    CCountingClient client;
    std::uint32_t id = 0;
    engine.AddClient(&client, &id);
    engine.SetValue(QL_ATTR_TMA, setting.film);
    engine.SetValue(QL_ATTR_NEGATIVE, setting.negative);
    engine.SetValue(QL_ATTR_OUTPUT_TYPE, IntegerWord(setting.outputType));
    if (!setting.filters) {
        engine.SetValue(QL_ATTR_NOISE_SMOOTH_ON, 0);
        engine.SetValue(QL_ATTR_SHARPEN_ON, 0);
    }
    if (setting.streaks) {
        engine.ProvideStreaks();
        engine.SetValue(QL_ATTR_DESTREAK_B, 1);
        engine.SetValue(QL_ATTR_DESTREAK_D, 2);
    }
    const double matrix[9] = {1.499, -0.144, -0.146, -0.051, 1.328, -0.078, 0.013, -0.268, 1.423};
    const double density[18] = {0.3, -0.2, 0.15, 0.4,  -0.1, 0.05, 0.7, 0.6, 0.2,
                                0.1, 0.5,  -0.3, -0.4, 1.1,  0.25, 0.9, 0.0, 0.35};
    if (setting.matrix && setting.negative) {
        engine.SetValue(QL_ATTR_DENSITY_MATRIX, PointerWord(density));
        engine.SetValue(QL_ATTR_POST_MATRIX, PointerWord(matrix));
    } else if (setting.matrix) {
        engine.SetValue(QL_ATTR_DEVICE_MATRIX, PointerWord(matrix));
        engine.Notify(QL_ATTR_DEVICE_MATRIX);
    }
    std::unique_ptr<CLevels> levels;
    if (setting.levels)
        levels = std::make_unique<CLevels>(engine.Tree());
    if (setting.sampling) {
        engine.Notify(QL_ATTR_AUTO_TONE);
        engine.Notify(QL_ATTR_AUTO_COLOR);
    }
    for (auto _ : state) {
        CPageStream stream(width, height, setting.inputBits);
        RunPage(engine, stream, setting.sampling ? kBandLines : 0);
    }
    if (client.m_bytes == 0)
        state.SkipWithError("no lines came out");
    state.counters["MPixel/s"] = benchmark::Counter(
        static_cast<double>(width) * height / 1e6 * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}
