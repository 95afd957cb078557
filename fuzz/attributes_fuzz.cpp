// Any writes and firings of any attributes, before and between the bands of an image: by the rows
// of the engine and its stages, within their ranges and far outside. The image that comes out is
// held against its own header.
#include <cstring>

#include "engine/attrib_owners.h"
#include "fuzz/fuzz.h"
#include "tests/support/engine_rig.h"

namespace {

// Takes small numbers off the front of the input; zeroes when it is used up.
class CInput {
  public:
    CInput(const std::uint8_t* data, std::size_t size) : m_data(data), m_left(size) {}

    bool IsEmpty() const { return m_left == 0; }
    template <typename T>
    T Take() {
        T value = {};
        const std::size_t count = std::min(sizeof(value), m_left);
        std::memcpy(&value, m_data, count);
        m_data += count;
        m_left -= count;
        return value;
    }

  private:
    const std::uint8_t* m_data;
    std::size_t m_left;
};

// Commands of a run go through the engine's own functions; a stray one from the board is what its
// tests are for.
bool IsCommand(std::int32_t id) {
    return id == QL_ATTR_CMD_START || id == QL_ATTR_CMD_STOP ||
           (id >= QL_ATTR_CMD_OPEN_ANALYSED && id <= QL_ATTR_CMD_END) || id == QL_ATTR_CMD_ANALYSE;
}

void WriteOne(CQLEngine& engine, CInput& input) {
    const auto attribs = AttribTable();
    const QLAttribInfo& attrib = attribs[input.Take<std::uint8_t>() % attribs.size()];
    if (attrib.m_kind == QLAttribKind::Event) {
        if (!IsCommand(attrib.m_id))
            engine.Notify(attrib.m_id);
        return;
    }
    const QLAttribRow* row = FindHolder(attrib.m_id).m_row;
    double numbers[18];
    QLRect rect;
    switch (attrib.m_kind) {
        case QLAttribKind::Rect:
            rect = input.Take<QLRect>();
            engine.SetValue(attrib.m_id, PointerWord(&rect));
            break;
        case QLAttribKind::Pointer:
            // Only pointers to numbers are written by anybody.
            if (row && row->m_elements > 0) {
                for (double& number : numbers)
                    number = input.Take<float>();
                engine.SetValue(attrib.m_id, PointerWord(numbers));
            }
            break;
        default:
            engine.SetValue(attrib.m_id, input.Take<std::uint64_t>());
            break;
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CInput input(data, size);
    const auto shape = input.Take<std::uint8_t>();
    const CTestPicture page = NoisePicture(1 + shape % 17, 12, shape & 0x80 ? 8 : 24);
    CEngineRig rig;
    const auto someWrites = [&] {
        for (int count = input.Take<std::uint8_t>() % 8; count > 0 && !input.IsEmpty(); --count)
            WriteOne(rig.m_engine, input);
    };
    for (int image = 0; image < 2; ++image) {
        rig.m_client.m_messages.clear();
        someWrites();
        CTestStream stream(page);
        rig.Begin(stream);
        while (stream.LinesLeft() > 0) {
            rig.Feed(stream, 6);
            someWrites();
        }
        rig.m_engine.FireFeed();
        rig.Finish();
        for (const auto* message : rig.m_client.OfType(QL_IMAGE_CALLBACK_DIB_HEADER)) {
            BITMAPINFOHEADER header;
            std::memcpy(&header, message->m_bytes.data(), sizeof(header));
            Require(header.biWidth == page.m_width && header.biHeight == page.m_height);
        }
    }
    return 0;
}
