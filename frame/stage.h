// The frame that every image stage shares.
//
// A chain is a row of stages that pull lines from one another: the tail is asked for lines, asks
// its upstream neighbour, and so on up to the source at the head.
//
//   For one image:  Open once on the tail, any number of Read on the tail, Close once on the tail.
//
//   Open   OnBeforeOpen from the tail to the head: attributes may be read, the input format is not
//          known yet. Then OnAfterOpen from the head to the tail: the input format stands; the
//          stage settles m_active, changes m_outFormat (type, width, height), allocates, builds
//          tables.
//   Read   *lines goes in as lines wanted and comes out as lines delivered, possibly fewer. One
//          buffer serves the whole pull.
//   Close  From the tail to the head and back; a height that the input turned out to have travels
//          down with it. Attributes stay, the stage is ready for the next Open.
//
// Most stages derive from one of the bases of stage_bases.h, which do the frame's work: they see to
// empty pulls, missing buffers and room, and the leaf computes lines.
//
// A stage's attributes are its rows (attrib_rows.h): its constructor attaches them with
// AttachRows(this), and the three calls of the board are answered from there.
//
// Only stages that convert (input and output conversion, output form, threshold, palette, rotation)
// may change the pixel type. Stages of the middle work on the internal form, 16-bit samples with
// three or one a pixel, and leave others untouched.
//
// A status other than QL_OK stops a pull at once; no stage downstream does anything more for that
// Read. Nothing here logs or retries: the owner of the chain publishes the status.
#pragma once

#include <cstdint>

#include "frame/attrib_rows.h"
#include "frame/attrib_store.h"
#include "frame/image_format.h"
#include "frame/line_buffer.h"

using QLStatus = std::int16_t;

inline constexpr QLStatus QL_OK = 0;
// The pump was asked to hold its output back; no lines moved.
inline constexpr QLStatus QL_HELD = 1;
// A buffer, a table or a stage could not be had. The next image may have better luck.
inline constexpr QLStatus QL_ERR_NO_MEMORY = 2;
// A temporary file could not be made or mapped.
inline constexpr QLStatus QL_ERR_TEMP_FILE = 11;
// No source could be made, or the chain isn't built: there is nothing to pull from.
inline constexpr QLStatus QL_ERR_NO_SOURCE = 14;
// The source could not deliver the lines that it announced.
inline constexpr QLStatus QL_ERR_SOURCE_READ = 16;
// A negative count, a missing buffer or one that is too small, a format that no line can have.
inline constexpr QLStatus QL_ERR_BAD_ARGUMENT = 22;
// Another type was asked of a stage that is fixed on bilevel lines.
inline constexpr QLStatus QL_ERR_BAD_OUTPUT_TYPE = 23;

// A colour that travels up and down the chain, for TransformColor: 12 words, of which the last
// three are the samples red, green, blue. 24 bytes.
struct QLColorQuery {
    std::uint16_t* Samples() { return m_words + 9; }
    // A second colour, which only the output conversion touches.
    std::uint16_t* SecondSamples() { return m_words + 5; }

    std::uint16_t m_words[12] = {};
};
static_assert(sizeof(QLColorQuery) == 24);

// A colour table that travels along the chain: m_count entries (0 to 256) of each plane count.
struct QLColorTable {
    std::int16_t m_count = 0;
    std::uint16_t m_planes[3][256] = {};  // red, green, blue
};

class CQLStage : public CQLAttribStore {
  public:
    explicit CQLStage(QLAttribTree* tree);
    virtual ~CQLStage() = default;

    std::uint64_t GetAttrib(std::int32_t id) override;
    void SetAttrib(std::int32_t id, std::uint64_t value) override;
    void OnAttribNotify(std::int32_t id) override;

    // Hangs this stage behind `stage`, and `stage` before this one.
    virtual QLStatus SetUpstream(CQLStage* stage);
    virtual QLStatus Open();
    // `lines`: wanted, and on return delivered; 0 goes through the whole chain without an error.
    // `buffer` is borrowed for the call; it has room for the lines wanted, of this stage's output.
    virtual QLStatus Read(std::int32_t* lines, CQLLineBuffer* buffer);
    // May follow an open that failed: every stage is closed, whatever another one answers.
    virtual QLStatus Close();
    // Owned by the stage. Final from the stage's own open on.
    virtual const QLImageFormat* GetOutputFormat() { return &m_outFormat; }
    // Reserved in the order of operations; nothing calls these six.
    virtual QLStatus FoldPixelStep(void*) { return QL_ERR_NO_MEMORY; }
    virtual QLStatus FoldLutStep(void*) { return QL_ERR_NO_MEMORY; }
    // The upstream format changed without a new Open: take it over and tell the stage downstream.
    virtual QLStatus OnFormatChanged();
    virtual QLStatus UpstreamQueryA() { return m_upstream ? m_upstream->UpstreamQueryA() : QL_OK; }
    virtual QLStatus UpstreamQueryB() { return m_upstream ? m_upstream->UpstreamQueryB() : QL_OK; }
    // What the chain up to here makes of a colour. Not 0 when somebody upstream answered; only then
    // does a stage apply its own transform.
    virtual QLStatus TransformColor(QLColorQuery* query);
    // Maps a colour table backward or forward through the stages down to the tail.
    virtual QLStatus MapColorTableBack(QLColorTable* table);
    virtual QLStatus MapColorTable(QLColorTable* table);

    virtual void AttachAttributes() {}
    virtual void DetachAttributes() {}
    virtual QLStatus OnBeforeOpen() { return QL_OK; }
    virtual QLStatus OnAfterOpen() { return QL_OK; }
    virtual QLStatus OnBeforeRead(std::int32_t*, CQLLineBuffer*) { return QL_OK; }
    virtual QLStatus OnAfterRead(std::int32_t*, CQLLineBuffer*) { return QL_OK; }
    virtual QLStatus OnBeforeClose() { return QL_OK; }
    virtual QLStatus OnAfterClose() { return QL_OK; }

    // Lines of this stage's input that it needs beyond those that it is asked for. Known from Open
    // on; whoever feeds the head leaves as many behind.
    virtual std::int32_t HeldLines() const { return 0; }
    // No more lines reach the head of the chain, whatever height it announced: what a stage holds
    // back passes with the next pulls. Called on every stage of the chain.
    virtual void OnEndOfInput() {}

    // True when the stage does its work on this run. Known from Open on.
    bool IsActive() const { return m_active && !m_bypass; }

    CQLStage* Upstream() const { return m_upstream; }
    // The stage behind this one goes away.
    void ForgetDownstream() { m_downstream = nullptr; }
    bool IsSource() const { return m_isSource; }

  protected:
    // Takes part on the board by the rows of `Stage`, the class whose constructor calls this.
    template <typename Stage>
    void AttachRows(Stage* stage) {
        m_rows.Attach(*this, stage, Stage::Rows());
    }
    // Copies the upstream output format to both formats of this stage.
    void TakeUpstreamFormat();

    QLImageFormat m_inFormat;
    QLImageFormat m_outFormat;
    CQLStage* m_upstream = nullptr;
    CQLStage* m_downstream = nullptr;
    bool m_active = false;  // the stage does its work on this run
    bool m_bypass = false;  // lines pass untouched, for the stages that keep both
    bool m_isSource = false;

  private:
    CQLAttribRows m_rows;
};

// Base of nearly all stages.
class CQLFilterStage : public CQLStage {
  public:
    using CQLStage::CQLStage;

    QLStatus OnAfterRead(std::int32_t* lines, CQLLineBuffer* buffer) override;

  protected:
    // A negative count counts as none.
    void CountLines(std::int32_t lines) {
        m_linesDone += static_cast<std::uint32_t>(lines > 0 ? lines : 0);
    }

    std::uint32_t m_linesDone = 0;
};

// The head of a chain.
class CQLSourceStage : public CQLStage {
  public:
    explicit CQLSourceStage(QLAttribTree* tree) : CQLStage(tree) { m_isSource = true; }

    virtual QLStatus SourceReservedA() { return QL_OK; }
    virtual QLStatus SourceReservedB() { return QL_OK; }
    // The pixel type that the chain would like to have.
    virtual QLStatus SetRequestedType(std::uint32_t) { return QL_OK; }
    virtual bool SourceReservedC() { return true; }
    virtual bool SourceReservedD() { return true; }
};
