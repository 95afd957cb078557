// Stages under test between a source of given lines and a tail that is read, and their settings.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "frame/stage.h"

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;
using Ids = std::vector<std::int32_t>;

// A source that delivers given bytes as lines of a given format. Without an upstream of its own it
// answers colour queries, so that transforms downstream run.
class CLineSource final : public CQLSourceStage {
  public:
    CLineSource(QLAttribTree* tree, std::uint32_t pixelType, std::int32_t width, ::Bytes bytes,
                std::uint32_t layout = QL_LAYOUT_AS_IS)
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
        const std::int32_t end =
            std::min(m_failAtLine >= 0 ? m_failAtLine : m_outFormat.m_height, m_linesThere);
        *lines = std::min({*lines, end - m_nextLine, m_mostLines});
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
    const ::Bytes& Bytes() const { return m_bytes; }

    std::int32_t m_failAtLine = -1;
    std::int32_t m_mostLines = 1 << 20;   // at a time
    std::int32_t m_linesThere = 1 << 20;  // the source ends behind them without a failure

  private:
    ::Bytes m_bytes;
    std::int32_t m_nextLine = 0;
};

inline Bytes BytesOf(const Samples& samples) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(samples.data());
    return {bytes, bytes + samples.size() * 2};
}
inline Samples SamplesOf(const Bytes& bytes) {
    const auto* samples = reinterpret_cast<const std::uint16_t*>(bytes.data());
    return {samples, samples + bytes.size() / 2};
}

// What a buffer holds that nothing has been written to.
constexpr std::uint8_t kOld = 0xA5;

// A whole pass over `tail`, `block` lines at a time: all bytes that came, and the first status that
// was not QL_OK. Nothing may be written behind the lines that are asked for.
struct CPass {
    QLStatus m_status = QL_OK;
    Bytes m_bytes;
};
inline CPass RunPass(CQLStage& tail, std::int32_t block = 4) {
    CPass pass{tail.Open(), {}};
    const QLImageFormat* format = tail.GetOutputFormat();
    for (std::int32_t lines = block; pass.m_status == QL_OK && lines > 0;) {
        Bytes memory(static_cast<std::size_t>(format->m_bytesPerLine * block) + 64, kOld);
        CQLLineBuffer buffer(format, memory.data(), lines = block);
        pass.m_status = tail.Read(&lines, &buffer);
        EXPECT_TRUE(lines <= block && std::count(memory.end() - 64, memory.end(), kOld) == 64);
        if (pass.m_status == QL_OK)
            pass.m_bytes.insert(pass.m_bytes.end(), memory.begin(),
                                memory.begin() + format->m_bytesPerLine * lines);
    }
    const QLStatus closed = tail.Close();
    pass.m_status = pass.m_status == QL_OK ? closed : pass.m_status;
    return pass;
}

// Lines of any type through one stage.
inline CPass RunLines(CQLStage& stage, std::uint32_t type, std::size_t width, const Bytes& bytes,
                      std::uint32_t layout = QL_LAYOUT_AS_IS, std::int32_t block = 4) {
    QLAttribTree tree;
    CLineSource source(&tree, type, static_cast<std::int32_t>(width), bytes, layout);
    stage.SetUpstream(&source);
    CPass pass = RunPass(stage, block);
    stage.SetUpstream(nullptr);
    return pass;
}
// One line of internal samples through a stage.
inline Samples RunGray(CQLStage& stage, const Samples& line, std::uint32_t type = QL_PIXEL_GRAY16) {
    const std::size_t width = line.size() / (type == QL_PIXEL_RGB16 ? 3 : 1);
    return SamplesOf(RunLines(stage, type, width, BytesOf(line), QL_LAYOUT_INTERNAL).m_bytes);
}
inline Samples RunColor(CQLStage& stage, const Samples& line) {
    return RunGray(stage, line, QL_PIXEL_RGB16);
}
// What a stage makes of a colour, whose format is that of its last pass.
inline Samples AskColor(CQLStage& stage, const Samples& rgb) {
    QLAttribTree tree;
    CLineSource source(&tree, QL_PIXEL_RGB16, 1, {});
    QLColorQuery query;
    std::copy(rgb.begin(), rgb.end(), query.Samples());
    stage.SetUpstream(&source);
    stage.TransformColor(&query);
    stage.SetUpstream(nullptr);
    return {query.Samples(), query.Samples() + 3};
}

// A participant for tests: provides what is put in, and notes what it hears of.
class CTestBoard final : public CQLAttribStore {
  public:
    using CQLAttribStore::CQLAttribStore;

    // Provides a value, from the first time on; later ones are written.
    void Put(std::int32_t id, std::uint64_t word) {
        const bool known = !m_words.insert({id, word}).second;
        known ? static_cast<void>(SetValue(id, word)) : RegisterProvider(id);
    }
    void PutReal(std::int32_t id, double x) { Put(id, ToFixed(x)); }
    void Hear(const Ids& ids) {
        std::for_each(ids.begin(), ids.end(), [&](int id) { Subscribe(id); });
    }
    // What was heard since the last call.
    Ids Heard() { return std::exchange(m_heard, {}); }

    std::uint64_t GetAttrib(std::int32_t id) override { return m_words[id]; }
    void SetAttrib(std::int32_t id, std::uint64_t word) override { m_words[id] = word; }
    void OnAttribNotify(std::int32_t id) override { m_heard.push_back(id); }

  private:
    std::map<std::int32_t, std::uint64_t> m_words;
    Ids m_heard;
};

// A stage with a board of its own.
template <typename Stage>
struct StageTest : testing::Test {
    QLAttribTree m_tree;
    CTestBoard m_board{&m_tree};
    Stage m_stage{&m_tree};
};
