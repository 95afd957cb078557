// The chain: which stages an image passes, in which order, and the pump that pulls lines through
// it. The engine holds one object of the last of these classes; each adds one subject to the one
// before, so that each can be read without those behind it:
//
//   CChainStages  the stages themselves, and the tables that say which stands where
//   CChainBase    source and front, whole passes without a receiver, what an analysis still has to
//                 do, and the chain's own attributes
//   CChainPump    output conversion and sink, and the commands begin, feed and end: a pass whose
//                 lines somebody receives
//   CChainFull    the variants for reflective originals, slides and negatives
//
// States of one run:
//
//   no source --StartRun + QL_ATTR_CMD_START--> built --QL_ATTR_CMD_BEGIN--> open
//       ^                                         ^                            |
//       |                                         +-----QL_ATTR_CMD_END--------+
//       +------------------QL_ATTR_CMD_STOP-------+
//
// Only the QL_ATTR_CMD_START of a run makes a source. Any other comes from a change of the source's
// kind: it builds the stages of the new variant at once, so that settings written next reach them.
// While a pass is open that waits for the end of the pass. A feed or an end with no begin open does
// nothing, and so does a command that a client fires while it is being called; its stop waits.
//
// The end is that of the image as it then stands. Lines that stages on a ring still keep back, of
// an input that ended early, come by CChainPump::EndInput, which CQLEngine::FireEnd calls ahead of
// it, unless clients cancelled; who only announces the end leaves them out, and white stands there.
//
// With rotation on the data path (CChainFull::PutRotationOnPath) a pass has two parts: pulls take
// lines into the stage's file until the image is whole, and clients hear of each by an empty band;
// then lines go out. Who feeds lines has to fire feeds for the rest that then waits (HasRest).
#pragma once

#include <cstdint>
#include <memory>

#include "diag/log.h"
#include "engine/chain_stages.h"
#include "frame/attrib_port.h"
#include "frame/attrib_rows.h"
#include "frame/output_type.h"
#include "frame/stage.h"
#include "stages/band_sink.h"
#include "stages/output_convert.h"
#include "stages/rotate.h"

class CAutoToneBase;
class CPaletteStage;

class CChainBase : protected CChainStages {
  public:
    virtual ~CChainBase();
    CChainBase(const CChainBase&) = delete;
    CChainBase& operator=(const CChainBase&) = delete;

    // The next QL_ATTR_CMD_START is that of a run: it makes the run's source.
    void StartRun() { m_sourceDue = true; }
    // True when the last QL_ATTR_CMD_ANALYSE went over a whole image and found what it looked for.
    bool HasAnalysed() const { return m_analysed; }

    virtual void OnStart();
    virtual void OnStop();
    virtual QLStatus BeforeAnalysisOpen() { return QL_OK; }
    virtual QLStatus AfterAnalysisClose() { return QL_OK; }
    // True when a stage held a request that the pass before hasn't served; none does from here on.
    virtual bool TakeBackRequests() { return false; }
    // Switches clipping off for a pass, and on again.
    virtual QLStatus HoldClip() { return QL_OK; }
    virtual QLStatus ReleaseClip() { return QL_OK; }
    virtual QLStatus Reserved() { return QL_OK; }
    virtual QLStatus OpenForAnalysis();
    virtual QLStatus OpenForPalette();
    virtual void OnOutputType();
    virtual void CreateSource();
    // Connects a part of the chain behind `upstream` and gives its last stage.
    virtual CQLStage* BuildFront();
    virtual CQLStage* BuildVariant(CQLStage* upstream) = 0;
    virtual CQLStage* BuildTail(CQLStage* upstream) { return upstream; }
    virtual QLStatus ProbeColor(QLColorQuery*) { return QL_OK; }
    // The ids that the chain hears of, and those that it holds.
    static std::span<const QLAttribRow> HeardRows();
    static std::span<const QLAttribRow> Rows();
    virtual void OnAttribNotify(std::int32_t id) { m_rows.OnNotify(m_port, id); }
    virtual std::uint64_t GetAttrib(std::int32_t id) { return m_rows.Get(id); }
    virtual void SetAttrib(std::int32_t id, std::uint64_t value) { m_rows.Set(m_port, id, value); }

  protected:
    explicit CChainBase(QLAttribTree* tree);

    // Runs a command, which may call clients. False, and nothing done, inside another command.
    template <typename Command>
    bool Run(const Command& command) {
        if (m_busy)
            return false;
        m_busy = true;
        command();
        m_busy = false;
        DoWhatWaited();
        return true;
    }

    // Connects a slot's stage behind `upstream`; an empty slot gives `upstream` itself.
    CQLStage* Connect(Slot slot, CQLStage* upstream);
    // Connects front, variant and tail without a sink.
    void Build();
    // Front and variant. Null without memory for one of their stages.
    CQLStage* BuildBody();
    // Pulls up to `lines` lines; `moved` tells how many came: delivered, and counted as done, or
    // taken into an image that is to be turned.
    QLStatus Pump(std::int32_t lines, std::int32_t* moved);
    // Lines of the image that is open go into the rotation's file; none has come out yet.
    bool IsLoading() const { return m_passOpen && m_turner && m_turner->IsLoading(); }
    // A whole pass with nobody waiting for the lines, `chunk` bytes a step; 0 for the usual size.
    QLStatus RunPass(std::int32_t chunk);
    // The same of a pass that has been opened with this status: without lines when that failed.
    QLStatus RunOpened(QLStatus opened, std::int32_t chunk);
    QLStatus OpenTail();
    // Lines of the input that the chain, as it was opened, keeps back from its output.
    std::int32_t HeldLines() const;
    // The input is over, whatever height it announced: pulls what the chain kept back of it.
    QLStatus PumpHeld();
    // The same while lines are taken in: what stages ahead of the rotation kept back comes in, what
    // is missing then is white. False, and nothing to turn, when no line has come at all.
    bool EndLoading();
    QLStatus CloseChain();
    // Takes the tail's format over and starts counting.
    void TakeTailFormat();
    // What the type of output asks of the matrix stage, whichever is in the chain.
    void SetMatrixMode();

    QLAttribTree* const m_store;
    bool m_busy = false;                       // a command runs
    CQLStage* m_tail = nullptr;                // the stage that the pump reads; borrowed
    CRotateStage* m_turner = nullptr;          // rotation, while it is on the data path; borrowed
    bool m_passOpen = false;                   // m_tail has been opened and not yet closed
    std::unique_ptr<CQLSourceStage> m_source;  // made for each run
    std::int32_t m_linesDone = 0;              // delivered in this pass
    std::int32_t m_linesTotal = 1;
    QLImageFormat m_outFormat;  // copy of the tail's output format
    CQLLineBuffer m_lines;      // the buffer of the pump, on m_outFormat

  private:
    QLStatus TakeIn(std::int32_t lines, std::int32_t* taken);
    void DoWhatWaited();
    void Analyse();
    void CollectPalette();
    // What single rows call, read and write.
    void OnAnalyseCommand();
    void OnStopCommand();
    void OnOutputTypeChanged();
    void OnPaletteKind();
    void TakePaletteKind();
    void OnStatus();
    void TouchAll();
    void TouchPalette();
    void Rearm();
    void ClearPending();
    void TakeSourceResX(std::int32_t dpi);
    void TakeSourceResY(std::int32_t dpi);
    void TakeResolution(std::int32_t dpi, std::int32_t* field, std::int32_t id);
    void SetAutoExpose(bool on);
    std::int32_t PercentDone() const;
    const QLColorQuery* Probe() const { return m_probeValid ? &m_probe : nullptr; }
    void SetProbe(const QLColorQuery* probe);
    bool RunProbe();
    bool IsAvailable() const { return true; }
    void PendTone() { m_pendTone = true; }
    void PendColor() { m_pendColor = true; }
    void PendThreshold() { m_pendThreshold = true; }
    void PendPalette() { m_pendPalette = true; }
    void PendDeskew() { m_pendDeskew = true; }

    bool m_sourceDue = false;   // the next start is that of a run
    bool m_stopWaits = false;   // a stop came from inside it
    bool m_buildWaits = false;  // a change of kind came while a pass was open
    bool m_analysed = false;    // by the last command to analyse
    bool m_incomplete = false;  // a stage that the build wanted could not be made
    bool m_probeValid = false;
    QLColorQuery m_probe;
    // Dots per inch.
    std::int32_t m_resA = 300;  // QL_ATTR_RES_OPTICAL
    std::int32_t m_resB = 200;  // QL_ATTR_RES_SCAN_Y
    std::int32_t m_resC = 200;  // QL_ATTR_RES_SCAN_X
    // An analysis is due.
    bool m_pendTone = false;
    bool m_pendColor = false;
    bool m_pendThreshold = false;
    bool m_pendPalette = false;
    bool m_pendDeskew = false;
    // It is wanted.
    bool m_autoTone = false;
    bool m_autoColor = false;
    bool m_autoFlag89 = false;
    bool m_autoThreshold = false;
    bool m_autoPalette = false;
    bool m_saturationBoost = false;
    bool m_autoDeskewA = false;
    bool m_autoDeskewB = false;
    bool m_autoExpose = false;
    std::int32_t m_outputType = QL_OUTPUT_COLOR;
    CQLAttribRows m_rows;
    CQLAttribCallbackPort m_port;
};

class CChainPump : public CChainBase {
  public:
    static std::span<const QLAttribRow> Rows();
    void OnStop() override;

    // Lines of a turned image wait: each feed delivers some, unless it fails or is held. False
    // inside a command.
    bool HasRest() const { return m_restWaits && m_passOpen && !m_busy; }
    std::int32_t LinesDelivered() const { return m_linesDone; }
    // No more lines come, whatever height was announced: those that stages keep back pass, and an
    // image that is to be turned is turned as far as it came.
    void EndInput();

  protected:
    explicit CChainPump(QLAttribTree* tree);

  private:
    void OnNotify(std::int32_t id) { m_rows.OnNotify(m_port, id); }
    void OnBegin();
    void OnOpenAnalysed();
    void OnFeed();
    void OnEnd();
    QLStatus Begin();
    QLStatus OpenAnalysed();
    void Feed();
    void DeliverTurned();
    void End();
    // Lines to pull in a feed that finds so many in the stream; 0 and below: none.
    std::int64_t WantedLines(std::int64_t lines, bool brought) const;
    // What begin and the analysed open have in common: a fresh sink, and the whole chain behind it.
    QLStatus BuildWithSink();
    void ConnectOutput(CQLStage* upstream);
    void LogChain();
    // This stage and those before it, in data order.
    void LogStages(const CQLStage* stage);

    std::unique_ptr<CBandSinkStage> m_sink;  // made anew for each image
    COutputConvertStage m_outputConvert;
    CLog m_log;
    bool m_begun = false;  // a begin, successful or not, waits for its end
    bool m_firstFeed = true;
    bool m_restWaits = false;
    std::int64_t m_linesBehind = 0;  // that stay behind in the stream while more may come
    std::int64_t m_linesLeft = 0;    // in the stream, by the feed before
    // Lines up to this count are the rest of the image: no more input is to be expected.
    std::int64_t m_holdMark = 0;
    CQLAttribRows m_rows;
    CQLAttribMemberPort<CChainPump> m_port;
};

class CChainFull final : public CChainPump {
  public:
    explicit CChainFull(QLAttribTree* tree);
    static std::span<const QLAttribRow> Rows();

    QLStatus BeforeAnalysisOpen() override;
    QLStatus AfterAnalysisClose() override;
    bool TakeBackRequests() override;
    QLStatus HoldClip() override;
    QLStatus ReleaseClip() override;
    CQLStage* BuildVariant(CQLStage* upstream) override;
    QLStatus ProbeColor(QLColorQuery* record) override;

    // Whether a pass has made a palette of its image's own colours.
    bool HasOwnPalette() const;
    // Off at first: rotation hangs beside the data path and turns nothing. From the next build on.
    void PutRotationOnPath(bool on) { m_rotateOnPath = on; }

  private:
    CQLStage* BuildHead(CQLStage* upstream);
    void TellExposure();
    CAutoToneBase* ToneStage(Slot slot);
    CPaletteStage* PaletteStage() const;
    void SetClipRect(const QLRect* rect);
    // One of its switches or its rectangle is set.
    bool WantsRangeClip();
    std::uint64_t GetOwnAttrib(std::int32_t id) { return m_rows.Get(id); }
    void SetOwnAttrib(std::int32_t id, std::uint64_t value) { m_rows.Set(m_port, id, value); }

    bool m_rotateOnPath = false;
    bool m_collectHistogram = false;
    bool m_collectThreshold = false;
    std::uint64_t m_savedHistogram = 0;  // as they were ahead of an analysis
    std::uint64_t m_savedThreshold = 0;
    QLRect m_clipRect;  // of the range clip; its ends lie behind the last line and column
    bool m_savedClipHigh = false;
    bool m_savedClipLow = false;
    bool m_chainFlag117 = true;
    CQLAttribRows m_rows;
    CQLAttribMemberPort<CChainFull> m_port;
};
