// Fakes around the imaging engine: a stream that is fed by script, an item, a client that keeps
// what it is told, and the roads that an image takes through an engine.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "engine/engine.h"
#include "platform/bitmap_headers.h"
#include "platform/wia.h"
#include "tests/support/bench_source.h"
#include "tests/support/byte_stream.h"
#include "tests/support/noise_lines.h"

// A picture as its packed rows: 3 bytes a pixel (blue first) or 1.
struct CTestPicture {
    std::int32_t m_width = 0;
    std::int32_t m_height = 0;
    std::int32_t m_bits = 24;
    Bytes m_pixels;

    std::size_t RowBytes() const { return static_cast<std::size_t>(m_width * m_bits / 8); }
    // A row of a bitmap; its padding holds a value that must never show.
    Bytes PaddedRow(std::int32_t line) const {
        const auto first = m_pixels.begin() + static_cast<std::ptrdiff_t>(RowBytes()) * line;
        return Padded({first, first + static_cast<std::ptrdiff_t>(RowBytes())}, RowBytes(), 0xA5);
    }
};

inline CTestPicture NoisePicture(std::int32_t width, std::int32_t height, std::int32_t bits = 24,
                                 std::uint32_t seed = 1) {
    const auto bytes = static_cast<std::size_t>(width * bits / 8 * height);
    return {width, height, bits, Noise(bytes, seed)};
}

// The headers of a bitmap file of 300 dots per inch, and room for 256 colours with 8 bits. A
// negative height: top line first.
inline Bytes BitmapHeaders(const CTestPicture& picture, std::int32_t biHeight) {
    BITMAPINFOHEADER info = MakeInfoHeader(picture.m_width, biHeight, picture.m_bits);
    info.biXPelsPerMeter = info.biYPelsPerMeter = 11811;
    const BITMAPFILEHEADER file = MakeFileHeader(info, BitmapImageBytes(info));
    Bytes bytes(file.bfOffBits);
    std::memcpy(bytes.data(), &file, sizeof(file));
    std::memcpy(bytes.data() + sizeof(file), &info, sizeof(info));
    return bytes;
}

// A stream whose headers are there at once and whose rows are added by script.
class CTestStream final : public CByteStream {
  public:
    explicit CTestStream(const CTestPicture& picture)
        : CByteStream(BitmapHeaders(picture, -picture.m_height)), m_picture(picture) {}

    void AddLines(std::int32_t count) {
        for (; count > 0 && LinesLeft() > 0; --count, ++m_nLines)
            Append(m_picture.PaddedRow(m_nextLine++));
    }
    std::int32_t LinesLeft() const { return m_picture.m_height - m_nextLine; }

  private:
    CTestPicture m_picture;
    std::int32_t m_nextLine = 0;
};

// A bitmap file in the temporary folder, named as the engine's bench source, while it lives.
class CTestBenchFile {
  public:
    explicit CTestBenchFile(const CTestPicture& picture, bool topDown = false) {
        const std::int32_t height = picture.m_height;
        Bytes file = BitmapHeaders(picture, topDown ? -height : height);
        for (std::int32_t i = 0; i < height; ++i) {
            const Bytes row = picture.PaddedRow(topDown ? i : height - 1 - i);
            file.insert(file.end(), row.begin(), row.end());
        }
        std::ofstream(m_path, std::ios::binary)
            .write(reinterpret_cast<const char*>(file.data()),
                   static_cast<std::streamsize>(file.size()));
        SetBenchSource(m_path);
    }
    ~CTestBenchFile() {
        RegClearProcessValues();
        std::filesystem::remove(m_path);
    }

  private:
    const std::string m_path =
        std::filesystem::temp_directory_path() / ("nvq_bench_" + std::to_string(getpid()) + ".bmp");
};

// The per-model tables, neutral until a test fills them.
struct CTestProfile {
    CTestProfile() { m_defaults.m_valid = 1; }

    DefaultsRecord m_defaults = {};
    double m_flatbed[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_slide[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_neutral[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_density[18] = {};
    double m_post[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    CoeffRecord m_flatbedCoeffs = kNeutralCoeffs, m_feederCoeffs = kNeutralCoeffs;
    CoeffRecord m_slideCoeffs = kNeutralCoeffs, m_slideCoeffsB = kNeutralCoeffs;
    CoeffRecord m_negCoeffs = kNeutralCoeffs;
    GrayRecord m_gray = kLuminance;

    const void* Record(DWORD id) const {
        // clang-format off
        const std::map<DWORD, const void*> records = {
            {QL_PROP_DEFAULTS, &m_defaults}, {QL_PROP_FLATBED_MATRIX, m_flatbed},
            {QL_PROP_SLIDE_MATRIX, m_slide}, {QL_PROP_FEEDER_MATRIX, m_neutral},
            {QL_PROP_POST_MATRIX, m_post}, {QL_PROP_DENSITY_MATRIX, m_density},
            {QL_PROP_FLATBED_COEFFS, &m_flatbedCoeffs}, {QL_PROP_FEEDER_COEFFS, &m_feederCoeffs},
            {QL_PROP_SLIDE_COEFFS, &m_slideCoeffs}, {QL_PROP_SLIDE_COEFFS_B, &m_slideCoeffsB},
            {QL_PROP_NEG_COEFFS, &m_negCoeffs}, {QL_PROP_GRAY, &m_gray}};
        // clang-format on
        return records.at(id);
    }
};

// An item: what was put in can be read, everything else can't.
class CTestItem final : public IQLItemProperties {
  public:
    HRESULT ReadLong(DWORD id, LONG* out) override {
        m_reads.push_back(id);
        if (!m_longs.contains(id))
            return m_missing;
        *out = m_longs[id];
        return S_OK;
    }
    HRESULT ReadString(DWORD, BSTR*) override { return E_NOTIMPL; }
    HRESULT ReadGuid(DWORD, GUID*) override { return E_NOTIMPL; }
    HRESULT ReadBin(DWORD id, ULONG size, BYTE* buffer) override {
        if (!m_profile)
            return m_missing;
        std::memcpy(buffer, m_profile->Record(id), size);
        return S_OK;
    }
    HRESULT WriteLong(DWORD id, LONG value) override {
        m_writes.emplace_back(id, value);
        return S_OK;
    }
    HRESULT WriteString(DWORD, const OLECHAR*) override { return S_OK; }
    HRESULT WriteGuid(DWORD, const GUID&) override { return E_NOTIMPL; }

    std::map<DWORD, LONG> m_longs;
    const CTestProfile* m_profile = nullptr;
    HRESULT m_missing = E_INVALIDARG;
    std::vector<DWORD> m_reads;
    std::vector<std::pair<DWORD, LONG>> m_writes;
};

// A client that keeps every message, and can answer and act by script.
class CTestClient final : public IQLImageCallback {
  public:
    struct Message {
        std::uint32_t m_type;
        std::uint32_t m_percent;
        Bytes m_bytes;
    };

    HRESULT ImageCallback(std::uint32_t type, std::uint32_t, std::uint32_t percent,
                          std::int32_t length, std::uint8_t* buffer) override {
        m_messages.push_back(
            {type, percent, length > 0 ? Bytes(buffer, buffer + length) : Bytes()});
        return m_act ? m_act(m_messages.back()) : S_OK;
    }

    std::vector<const Message*> OfType(std::uint32_t type) const {
        std::vector<const Message*> found;
        for (const Message& message : m_messages) {
            if (message.m_type == type)
                found.push_back(&message);
        }
        return found;
    }
    // All rows that came.
    Bytes Rows() const {
        Bytes rows;
        for (const Message* band : OfType(QL_IMAGE_CALLBACK_DIB_BUFFER))
            rows.insert(rows.end(), band->m_bytes.begin(), band->m_bytes.end());
        return rows;
    }
    // Bytes of each band.
    std::vector<std::size_t> BandSizes() const {
        std::vector<std::size_t> sizes;
        for (const Message* band : OfType(QL_IMAGE_CALLBACK_DIB_BUFFER))
            sizes.push_back(band->m_bytes.size());
        return sizes;
    }

    std::vector<Message> m_messages;
    std::function<HRESULT(const Message&)> m_act;
};

// An engine with one client.
struct CEngineRig {
    CEngineRig() {
        m_engine.Init();
        m_engine.AddClient(&m_client, &m_clientId);
    }

    // Without the filters that are on by default and wait for the lines below: each line by itself.
    void FilterNothing() {
        m_engine.SetValue(QL_ATTR_NOISE_SMOOTH_ON, 0);
        m_engine.SetValue(QL_ATTR_SHARPEN_LEVEL, 5);
    }
    void Begin(CByteStream& stream) {
        m_engine.SetInputStream(&stream);
        m_engine.Start();
        m_engine.FireBegin();
    }
    void Feed(CTestStream& stream, std::int32_t lines) {
        stream.AddLines(lines);
        m_engine.FireFeed();
    }
    void Finish() {
        m_engine.FireEnd();
        m_engine.Stop();
    }
    // A whole image in bands of the given sizes, the last of which repeats.
    Bytes RunStream(const CTestPicture& picture, const std::vector<std::int32_t>& bands) {
        m_client.m_messages.clear();
        CTestStream stream(picture);
        Begin(stream);
        for (std::size_t i = 0; stream.LinesLeft() > 0; ++i)
            Feed(stream, bands[std::min(i, bands.size() - 1)]);
        m_engine.FireFeed();
        Finish();
        return m_client.Rows();
    }
    // The same from a bench file, whole.
    Bytes RunFile(const CTestPicture& picture, bool topDown = false, bool analyse = false) {
        m_client.m_messages.clear();
        const CTestBenchFile file(picture, topDown);
        m_engine.Start();
        if (analyse)
            m_engine.FireAnalyse();
        m_engine.FireOpenAnalysed();
        Finish();
        return m_client.Rows();
    }

    std::int32_t Get(std::int32_t id) { return m_engine.GetInteger(id); }

    CQLEngine m_engine;
    CTestClient m_client;
    std::uint32_t m_clientId = 0;
};
