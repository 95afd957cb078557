// Stages under test between a source of given lines and a tail that is read.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "frame/stage.h"

// A source that delivers given bytes as lines of a given format. Without an upstream of its own it
// answers colour queries, so that transforms downstream run.
class CLineSource final : public CQLSourceStage {
  public:
    CLineSource(QLAttribTree* tree, std::uint32_t pixelType, std::int32_t width,
                std::vector<std::uint8_t> bytes, std::uint32_t layout = QL_LAYOUT_AS_IS)
        : CQLSourceStage(tree), m_bytes(std::move(bytes)) {
        m_outFormat.SetLayout(layout);
        m_outFormat.SetPixelType(pixelType);
        m_outFormat.SetWidth(width);
        const std::int32_t stride = m_outFormat.m_bytesPerLine;
        m_outFormat.SetHeight(stride > 0 ? static_cast<std::int32_t>(m_bytes.size()) / stride : 0);
    }

    QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer) override {
        if (m_failAtLine >= 0 && m_nextLine >= m_failAtLine)
            return QL_ERR_SOURCE_READ;
        const std::int32_t stride = m_outFormat.m_bytesPerLine;
        *lines = std::min({*lines, m_outFormat.m_height - m_nextLine, m_mostLines});
        if (*lines > 0) {
            std::memcpy(buffer->Data(), m_bytes.data() + m_nextLine * stride,
                        static_cast<std::size_t>(*lines * stride));
            m_nextLine += *lines;
        }
        return QL_OK;
    }
    QLStatus Close() override {
        m_nextLine = 0;
        return CQLSourceStage::Close();
    }
    QLStatus TransformColor(QLColorQuery*) override { return 1; }

    QLImageFormat& Format() { return m_outFormat; }
    const std::vector<std::uint8_t>& Bytes() const { return m_bytes; }

    std::int32_t m_failAtLine = -1;
    std::int32_t m_mostLines = 1 << 20;  // at a time

  private:
    std::vector<std::uint8_t> m_bytes;
    std::int32_t m_nextLine = 0;
};

inline std::vector<std::uint8_t> BytesOf(const std::vector<std::uint16_t>& samples) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(samples.data());
    return {bytes, bytes + samples.size() * 2};
}

inline std::vector<std::uint16_t> SamplesOf(const std::vector<std::uint8_t>& bytes) {
    std::vector<std::uint16_t> samples(bytes.size() / 2);
    if (!samples.empty())
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

// Internal colour or gray lines.
inline CLineSource ColorSource(QLAttribTree* tree, std::int32_t width,
                               const std::vector<std::uint16_t>& samples) {
    return CLineSource(tree, QL_PIXEL_RGB16, width, BytesOf(samples), QL_LAYOUT_INTERNAL);
}
inline CLineSource GraySource(QLAttribTree* tree, std::int32_t width,
                              const std::vector<std::uint16_t>& samples) {
    return CLineSource(tree, QL_PIXEL_GRAY16, width, BytesOf(samples), QL_LAYOUT_INTERNAL);
}

// A whole pass over `tail`, `blockLines` lines at a time: all bytes that came, with the padding
// that the buffer had before.
struct CPass {
    QLStatus m_open = QL_OK;
    QLStatus m_read = QL_OK;
    QLStatus m_close = QL_OK;
    std::vector<std::uint8_t> m_bytes;

    std::vector<std::uint16_t> Samples() const { return SamplesOf(m_bytes); }
};

inline CPass RunPass(CQLStage& tail, std::int32_t blockLines = 4) {
    CPass pass;
    pass.m_open = tail.Open();
    if (pass.m_open == QL_OK) {
        CQLLineBuffer buffer(tail.GetOutputFormat());
        for (;;) {
            std::int32_t lines = blockLines;
            if (!buffer.Resize(lines))
                break;
            pass.m_read = tail.Read(&lines, &buffer);
            if (pass.m_read != QL_OK || lines < 1)
                break;
            pass.m_bytes.insert(pass.m_bytes.end(), buffer.Data(),
                                buffer.Data() + lines * buffer.Stride());
        }
    }
    pass.m_close = tail.Close();
    return pass;
}

// Hangs `stage` behind `upstream` and runs a pass.
inline CPass RunPass(CQLStage& upstream, CQLStage& stage, std::int32_t blockLines = 4) {
    stage.SetUpstream(&upstream);
    return RunPass(stage, blockLines);
}

// A provider of attributes for tests: answers what was put in, and stores what is written.
class CTestProvider final : public CQLAttribStore {
  public:
    explicit CTestProvider(QLAttribTree* tree) : CQLAttribStore(tree) {}

    void Provide(std::int32_t id, std::uint64_t word) {
        m_words.emplace_back(id, word);
        RegisterProvider(id);
    }
    std::uint64_t GetAttrib(std::int32_t id) override {
        for (const auto& [known, word] : m_words) {
            if (known == id)
                return word;
        }
        return 0;
    }
    void SetAttrib(std::int32_t id, std::uint64_t value) override {
        for (auto& [known, word] : m_words) {
            if (known == id)
                word = value;
        }
    }

  private:
    std::vector<std::pair<std::int32_t, std::uint64_t>> m_words;
};

// Notes what it is told, in a log that several may share.
class CTestListener final : public CQLAttribStore {
  public:
    CTestListener(QLAttribTree* tree, std::vector<std::string>* log, std::string name)
        : CQLAttribStore(tree), m_log(log), m_name(std::move(name)) {}
    void OnAttribNotify(std::int32_t id) override { m_log->push_back(m_name + std::to_string(id)); }

  private:
    std::vector<std::string>* m_log;
    std::string m_name;
};
