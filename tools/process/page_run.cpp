#include "tools/process/page_run.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "engine/engine.h"
#include "frame/attrib_port.h"
#include "frame/image_format.h"
#include "frame/output_type.h"
#include "pictures/file_failure.h"
#include "pictures/picture_reader.h"
#include "platform/module.h"
#include "platform/told_lines.h"
#include "platform/wia.h"
#include "tools/process/analysis.h"
#include "tools/process/attribute_writes.h"
#include "tools/process/band_feed.h"
#include "tools/process/bench_source.h"
#include "tools/process/model_item.h"
#include "tools/process/picture_stream.h"
#include "tools/process/tone_ramp.h"

namespace {

// Writes what the engine delivers.
class CPictureSink final : public IQLImageCallback {
  public:
    CPictureSink(CPictureWriter& writer, const CProcessJob& job) : m_writer(writer), m_job(job) {}

    HRESULT ImageCallback(std::uint32_t type, std::uint32_t, std::uint32_t percent,
                          std::int32_t length, std::uint8_t* buffer) override {
        if (IsStopped())
            return S_FALSE;
        if (type == QL_IMAGE_CALLBACK_DIB_HEADER) {
            TakeHeader(static_cast<std::size_t>(length), buffer);
        } else if (type == QL_IMAGE_CALLBACK_DIB_BUFFER) {
            m_failed = !m_writer.Write(buffer, static_cast<std::size_t>(length));
            if (m_job.m_progress)
                m_job.m_progress(percent);
        }
        return m_failed ? S_FALSE : S_OK;
    }

    // The picture that the engine gets, and whether its sides change places on the way.
    void SetInput(const CPictureInfo& input, bool isQuarterTurned) {
        m_input = input;
        if (isQuarterTurned)
            std::swap(m_input.m_xPelsPerMeter, m_input.m_yPelsPerMeter);
    }
    int InputBits() const { return m_input.m_bitsPerPixel; }
    bool HasHeader() const { return m_hasHeader; }
    bool IsCancelled() {
        m_cancelled = m_cancelled || (m_job.m_cancelled && m_job.m_cancelled());
        return m_cancelled;
    }
    bool HasFailed() const { return m_failed; }
    bool IsStopped() { return m_failed || IsCancelled(); }

  private:
    // The palette follows the header at once; its length tells how many colours it has. The
    // engine's headers know the resolution across alone, in whole dots per inch.
    void TakeHeader(std::size_t length, const std::uint8_t* buffer) {
        const auto* bytes = reinterpret_cast<const BITMAPINFOHEADER*>(buffer);
        const std::size_t colors = (length - sizeof(*bytes)) / sizeof(RGBQUAD);
        BITMAPINFOHEADER header = *bytes;
        if (m_input.m_xPelsPerMeter > 0 && m_input.m_yPelsPerMeter > 0) {
            header.biXPelsPerMeter = m_input.m_xPelsPerMeter;
            header.biYPelsPerMeter = m_input.m_yPelsPerMeter;
        }
        m_hasHeader = true;
        m_failed = !m_writer.Begin(header, {reinterpret_cast<const RGBQUAD*>(bytes + 1), colors});
    }

    CPictureWriter& m_writer;
    const CProcessJob& m_job;
    CPictureInfo m_input;
    bool m_hasHeader = false;
    bool m_cancelled = false;
    bool m_failed = false;
};

// Stands on the engine's board: hears when a pass fails, and ends one that nobody wants any more.
// What a client answers ends no pass over a file, and an analysis pass asks no client.
class CPassWatch {
  public:
    CPassWatch(QLAttribTree* tree, CPictureSink& sink)
        : m_sink(sink), m_port(tree, this, &CPassWatch::OnFailure, &CPassWatch::Hold, nullptr) {
        m_port.Subscribe(QL_ATTR_STATUS);
        m_port.RegisterProvider(QL_ATTR_HOLD_OUTPUT);
    }
    bool HasFailed() const { return m_failed; }

  private:
    static void OnFailure(void* owner, std::int32_t) {
        static_cast<CPassWatch*>(owner)->m_failed = true;
    }
    static std::uint64_t Hold(void* owner, std::int32_t) {
        return static_cast<CPassWatch*>(owner)->m_sink.IsStopped();
    }

    CPictureSink& m_sink;
    bool m_failed = false;
    CQLAttribCallbackPort m_port;
};

// Keeps what would stand in a message box.
class CMessageCatcher {
  public:
    CMessageCatcher()
        : m_former(SetMessageBoxHook([this](HWND, LPCSTR text, LPCSTR, UINT) {
              m_text = text;
              return IDOK;
          })) {}
    ~CMessageCatcher() { SetMessageBoxHook(m_former); }
    CMessageCatcher(const CMessageCatcher&) = delete;
    CMessageCatcher& operator=(const CMessageCatcher&) = delete;

    const std::string& Text() const { return m_text; }

  private:
    std::string m_text;
    MessageBoxHook m_former;
};

bool Turns(CQLEngine& engine) {
    return engine.GetInteger(QL_ATTR_ROTATE_ANGLE) % 360 != 0;
}

// What the command line sets.
struct CSettings {
    CModelItem m_item;
    std::vector<CAttributeWrite> m_writes;
};

// The engine with its settings, from the job. False when one of them is refused.
bool ApplySettings(const CProcessJob& job, CQLEngine& engine, CClientAttributes& client,
                   CSettings* settings, std::string* error) {
    CModelItem& item = settings->m_item;
    if (job.m_encoded)
        item.SetEncodedSamples();
    for (const PropertyWrite& write : FilterWrites(job.m_filters))
        item.WriteLong(write.id, std::get<LONG>(write.value));
    if (job.m_mode != ScanMode::Unchanged)
        item.WriteLong(WIA_IPA_DATATYPE, DataTypeOf(job.m_mode));
    for (const std::string& text : job.m_properties) {
        if (!item.Assign(text, error))
            return false;
    }
    LONG palette = 0;
    if (!job.m_palette && item.ReadLong(QL_PROP_PALETTE, &palette) == S_OK &&
        palette == QL_PALETTE_USER) {
        *error = "Palette 4 has no colours: --palette FILE gives them";
        return false;
    }
    if (job.m_auto.WantsTone() && !LeaveRoomForLevels(item.Assigned(), error))
        return false;
    // Options go before properties; both are those of the driver's item.
    if (job.m_mirror)
        item.WriteLong(QL_PROP_MIRROR, 1);
    if (job.m_rotate != 0)
        item.WriteLong(QL_PROP_ROTATION, job.m_rotate);
    for (const std::string& text : job.m_attributes) {
        const auto write = CAttributeWrite::Parse(text, error);
        if (!write)
            return false;
        settings->m_writes.push_back(*write);
    }
    // For those who write them by name.
    if (!engine.ProvideStreaks()) {
        *error = "out of memory";
        return false;
    }
    engine.ReadItemSettings(&item);
    if (job.m_palette) {
        // Only it has colours with it.
        if (job.m_palette->m_kind == QL_PALETTE_USER)
            engine.SetValue(QL_ATTR_PALETTE_USER, PointerWord(&job.m_palette->m_colors));
        engine.SetValue(QL_ATTR_PALETTE_KIND, IntegerWord(job.m_palette->m_kind));
    }
    for (const CAttributeWrite& write : settings->m_writes) {
        if (write.IsClients())
            client.Give(write);
        else
            write.Apply(engine);
    }
    return true;
}

// Null when the picture can't be had, or can't be turned as the settings want it.
std::unique_ptr<CPictureReader> OpenInput(const CPageSource& source, CQLEngine& engine,
                                          CPictureSink& sink, std::string* error) {
    std::unique_ptr<CPictureReader> reader = source.Open(error);
    if (!reader)
        return nullptr;
    const CPictureInfo& picture = reader->Info();
    if (Turns(engine) && std::min(picture.m_width, picture.m_height) < QL_LEAST_TURNED_SIDE) {
        *error = "only a picture of at least " + std::to_string(QL_LEAST_TURNED_SIDE) +
                 " pixels and lines can be turned";
        return nullptr;
    }
    sink.SetInput(picture, engine.GetInteger(QL_ATTR_ROTATE_ANGLE) % 180 != 0);
    return reader;
}

constexpr char kNoOwnPalette[] =
    "the picture has no colours to make a palette of; those of the system palette stand in";

// The two roads from a picture to the engine:
//
// - a scan's: any picture, CPictureReader, CPictureStream; Start, Begin, Feed ... End
// - a file's: a bitmap (of other pictures a temporary one), the engine's own reader; Start,
//   OpenAnalysed, End
//
// False when the picture can't be had, with a line to stand behind its name.

// The engine is fed, as by the driver's band loop.
bool RunStream(const CPageRun& page, CQLEngine& engine, CPictureSink& sink, std::string* error) {
    const std::unique_ptr<CPictureReader> reader = OpenInput(page.m_source, engine, sink, error);
    if (!reader)
        return false;
    CPictureStream stream(*reader);
    bool fed = false;
    const bool guarded = RunGuarded(error, [&] {
        fed =
            FeedBands(engine, stream, page.m_job.m_bandLines, [&sink] { return sink.IsStopped(); });
    });
    // Before the stream goes.
    engine.Stop();
    if (guarded && !fed)
        *error = reader->Error();
    return guarded && fed;
}

// The engine reads by itself; an analysis pass goes over the whole file first.
bool RunFile(const CPageRun& page, CQLEngine& engine, CPictureSink& sink, std::string* error) {
    std::unique_ptr<CPictureReader> reader = OpenInput(page.m_source, engine, sink, error);
    CBenchSource source;
    if (!reader || !source.Select(
                       page.m_source.m_path, *reader, [&sink] { return sink.IsStopped(); }, error))
        return false;
    reader.reset();
    if (sink.IsStopped())
        return true;
    engine.Start();
    if (page.m_job.m_analyse)
        engine.FireAnalyse();
    engine.FireOpenAnalysed();
    engine.FireEnd();
    engine.Stop();
    return true;
}

bool WantsOwnPalette(CQLEngine& engine) {
    return engine.GetInteger(QL_ATTR_OUTPUT_TYPE) == QL_OUTPUT_INDEXED &&
           engine.GetInteger(QL_ATTR_PALETTE_KIND) == QL_PALETTE_ADAPTIVE;
}

bool Run(const CPageRun& page, CQLEngine& engine, CPictureSink& sink, std::string* error) {
    const CProcessJob& job = page.m_job;
    const auto pass = job.m_fromFile ? RunFile : RunStream;
    bool read = true;
    // Whoever writes the angle itself means it.
    engine.PutRotationOnPath(Turns(engine));
    // That palette takes a pass of its own, in which nobody gets the lines. An analysis pass over a
    // file makes it by itself.
    if (WantsOwnPalette(engine) && !job.m_analyse) {
        engine.Notify(QL_ATTR_PALETTE_COLLECT);
        read = pass(page, engine, sink, error);
    }
    if (page.m_delivered && !job.m_plots.m_histogram.empty())
        engine.SetValue(QL_ATTR_HISTOGRAM_ON, 1);
    // Served at the end of this pass, a request would change the curves that the picture got.
    if (page.m_delivered && !job.m_plots.m_curves.empty() && !job.m_analyse)
        engine.DropRequests();
    std::uint32_t client = 0;
    engine.AddClient(&sink, &client);
    read = read && pass(page, engine, sink, error);
    engine.RemoveClient(client);
    return read;
}

// Ends the page, if all went well. `cause` is what the engine told, if anything.
CProcessResult Conclude(const CPageRun& page, CPictureSink& sink, bool engineFailed,
                        const std::string& cause, std::string* error) {
    if (sink.IsCancelled())
        return CProcessResult::Cancelled;
    CPictureWriter& writer = page.m_writer;
    if (sink.HasHeader() && !sink.HasFailed() && !engineFailed && writer.EndPage())
        return CProcessResult::Done;
    *error = writer.Error().empty()
                 ? page.m_source.m_name + ": " +
                       (cause.empty() ? "the engine could not process this picture" : cause)
                 : page.m_outputName + ": " + writer.Error();
    return CProcessResult::Failed;
}

bool Expose(const CPageRun& page, const CSettings& settings, CQLEngine& engine, CPictureSink& sink,
            std::string* error) {
    const CProcessJob& job = page.m_job;
    std::optional<FoundExposure> found;
    if (!job.m_auto.WantsTone() && !job.m_auto.WantsColor())
        return true;
    if (!AnalysePicture(page.m_source, engine, job.m_auto, &found, error))
        return false;
    const FoundExposure exposure = found.value_or(FoundExposure{});
    const std::vector<PROPID> kept = SetAgain(settings.m_item, settings.m_writes, exposure, engine);
    const std::string text = found ? ExposureText(exposure, kept) : kNothingToAnalyse;
    if (job.m_notice && !text.empty() && !sink.IsStopped())
        job.m_notice(text);
    return true;
}

// ---- Plots

// The engine has run: what it has counted is taken before the ramp runs. Chains that count nothing
// have their result counted on its way to the file.
CProcessResult DrawPlots(const CPageRun& page, CQLEngine& engine, CPictureSink& sink,
                         std::string* error) {
    const CProcessJob& job = page.m_job;
    const CToneFiles& plots = job.m_plots;
    const auto stopped = [&sink] { return sink.IsStopped(); };
    CToneCounts input;
    if (!plots.m_histogram.empty()) {
        if (!CountPicture(page.m_source, stopped, &input, error))
            return CProcessResult::BadInput;
        if (sink.IsCancelled())
            return CProcessResult::Cancelled;
        const CToneCounts published = PublishedCounts(engine);
        if (!DrawHistograms(plots.m_histogram, job.m_encoded, input,
                            published.IsEmpty() ? page.m_delivered->Counts() : published, error))
            return CProcessResult::Failed;
    }
    if (!plots.m_curves.empty()) {
        engine.SetValue(QL_ATTR_HISTOGRAM_ON, 0);
        if (!DrawCurves(engine, sink.InputBits(), job.m_encoded, plots.m_curves, error))
            return CProcessResult::Failed;
    }
    return CProcessResult::Done;
}

}  // namespace

CProcessResult RunPage(const CPageRun& page, std::string* error, std::string* plotError) {
    const CProcessJob& job = page.m_job;
    CPictureSink sink(page.m_writer, job);
    CQLEngine engine;
    if (FAILED(engine.Init())) {
        *error = "not enough memory for the imaging engine";
        return CProcessResult::Failed;
    }
    CClientAttributes client(engine.Tree());
    CSettings settings;
    if (!ApplySettings(job, engine, client, &settings, error))
        return CProcessResult::BadInput;
    const CPassWatch watch(engine.Tree(), sink);
    const CMessageCatcher message;
    const CToldLines told;
    const bool read = Expose(page, settings, engine, sink, error) && Run(page, engine, sink, error);
    if (!read || !message.Text().empty()) {
        if (read)
            *error = message.Text();
        *error = page.m_source.m_name + ": " + *error;
        return CProcessResult::BadInput;
    }
    const CProcessResult result = Conclude(page, sink, watch.HasFailed(), told.Cause(), error);
    if (result != CProcessResult::Done)
        return result;
    if (job.m_notice && WantsOwnPalette(engine) && !engine.HasOwnPalette())
        job.m_notice(kNoOwnPalette);
    if (page.m_delivered && DrawPlots(page, engine, sink, plotError) == CProcessResult::Cancelled)
        return CProcessResult::Cancelled;
    return CProcessResult::Done;
}
