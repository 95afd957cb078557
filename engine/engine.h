// The imaging engine: the one object through which the front end reaches it.
//
// It owns the attribute board and the chain, holds every table that the scanner profile
// contributes, turns an item's properties into attributes, and hands what the tail of the chain
// publishes to the image clients. Data enters as a stream of bitmap file bytes; finished lines
// leave through the same call. There is no engine thread: everything runs on the thread that calls,
// callbacks included.
//
// One image:
//
//   Init, AddClient, ReadItemSettings          once, and whenever settings change
//   SetInputStream, Start, FireBegin           when the stream's headers are complete
//   FireFeed                                   after each band that was written, and once more
//                                              behind the last
//   FireEnd, Stop
//
// A feed leaves as many lines in the stream as the stages keep back; one that finds no new lines
// takes all. A pump that fails takes no lines and the feed goes on; lines still missing at the end
// are delivered white. Without an input stream, Start looks for the bench file of the registry, and
// FireOpenAnalysed delivers it whole.
//
// A client that is being called doesn't command the engine: what it fires from inside a callback
// does nothing, and a Stop takes effect when the command around it is through.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "engine/input_stream.h"
#include "engine/item_properties.h"
#include "frame/attrib_rows.h"
#include "frame/attrib_store.h"
#include "platform/types.h"
#include "profile/attrib_records.h"

class CChainFull;
class CStreakProvider;
class CQLBitmap;
class CQLLineBuffer;

inline constexpr std::uint32_t QL_IMAGE_CALLBACK_DIB_HEADER = 1;
inline constexpr std::uint32_t QL_IMAGE_CALLBACK_DIB_BUFFER = 2;
inline constexpr std::uint32_t QL_IMAGE_CALLBACK_DONE = 3;

// How the finished image is delivered. `type` is one of the three above:
//
//   DIB_HEADER  `buffer` holds a BITMAPINFOHEADER with positive height, and the colour table
//               behind it
//   DIB_BUFFER  `buffer` holds a run of bitmap rows, top line first; valid during the call
//   DONE        nothing; sent only for an image of which no band went out
//
// `reserved` is 0, `percent` 0 to 100. S_FALSE asks the engine to stop.
class IQLImageCallback {
  public:
    virtual HRESULT ImageCallback(std::uint32_t type, std::uint32_t reserved, std::uint32_t percent,
                                  std::int32_t length, std::uint8_t* buffer) = 0;

  protected:
    ~IQLImageCallback() = default;
};

// What stands until an item's tables are taken over: curves that change nothing, and gray as the
// luminance of the three colours. Neither counts as filled.
inline constexpr CoeffRecord kNeutralCoeffs = {
    0, {}, {0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}, {1.0, 1.0, 1.0}, 0.0};
inline constexpr GrayRecord kLuminance = {0, {}, {0.3, 0.59, 0.11}, 0.0, 1.0, 1.0};

class CQLEngine : public CQLAttribStore {
  public:
    CQLEngine();
    virtual ~CQLEngine();

    // The ids that the engine holds, and those that it hears of.
    static std::span<const QLAttribRow> Rows();
    static std::span<const QLAttribRow> HeardRows();
    std::uint64_t GetAttrib(std::int32_t id) override { return m_rows.Get(id); }
    void SetAttrib(std::int32_t id, std::uint64_t value) override { m_rows.Set(*this, id, value); }
    void OnAttribNotify(std::int32_t id) override { m_rows.OnNotify(*this, id); }

    // Clients are borrowed. E_INVALIDARG for id 0.
    virtual HRESULT RemoveClient(std::uint32_t id);
    // E_POINTER for a null argument.
    virtual HRESULT AddClient(IQLImageCallback* client, std::uint32_t* id);
    virtual HRESULT Start();
    virtual HRESULT Stop();
    // Both borrowed. E_INVALIDARG for null. Another input stream than that of a run that stands
    // ends the run.
    virtual HRESULT SetInputStream(CQLInputStream* stream);
    virtual HRESULT SetOutputStream(IStream* stream);

    // Once, after the constructor. E_FAIL when the chain can't be made.
    HRESULT Init();
    HRESULT FireBegin();
    // Also delivers what has become ready by it, as long as clients take it.
    HRESULT FireFeed();
    HRESULT FireEnd();
    // Two passes over a source that can be read twice: an analysis pass, and one that delivers.
    // S_FALSE when an analysis that was asked for didn't come about, because the pass was cut or
    // found nothing to look at; the settings are then as they were.
    HRESULT FireAnalyse();
    HRESULT FireOpenAnalysed();

    // Takes back analyses that were asked for and that no pass has served. The end of a pass that
    // delivers serves them too, for the images behind it.
    void DropRequests();

    // Whether a pass that QL_ATTR_PALETTE_COLLECT was fired for has made a palette of its image's
    // colours; one of gray lines makes none.
    bool HasOwnPalette() const;

    // Puts rotation on the data path, where QL_ATTR_ROTATE_ANGLE turns the image; off at first. An
    // image that is turned is delivered when its last line has come, and until then clients hear of
    // it by bands of no lines. Below 3 pixels or lines none opens then. Holds from the next image
    // on.
    void PutRotationOnPath(bool on);

    // Has the attributes of the removal of streaks provided, which nobody does at first. False
    // without memory, and nobody does then.
    bool ProvideStreaks();

    // Turns the properties of an item into attributes. The per-model tables are taken over once.
    // E_OUTOFMEMORY when something that is asked for can't be had.
    HRESULT ReadItemSettings(IQLItemProperties* properties);
    // Writes the settings that the engine starts with to the item's properties.
    HRESULT PublishDefaults(IQLItemProperties* properties);

  private:
    HRESULT Fire(std::int32_t id);
    void DeliverRest();
    // What single rows answer and take; `index` counts within the row's run of ids.
    const IStream* InputStream() const { return m_inputStream; }
    std::int32_t SourceBits() const;
    bool SrgbOutput() const { return m_defaults.m_scannerGammaFixed != 0; }
    bool EngineFlag28() const { return m_defaults.m_enhancedColorByDefault != 0; }
    std::int32_t LidColor() const;
    const double* GrayWeights() const { return m_grayCoeffs.m_matrix; }
    double GrayTone(std::int32_t index) const;
    double NegTenth() const { return m_negCoeffs.m_densityStep; }
    double NegCurve(std::int32_t index) const;
    double SlideCurve(std::int32_t index) const;
    double ToneGamma(std::int32_t index) const { return SelectedCoeffs().m_gamma[index]; }
    double ToneGain(std::int32_t index) const { return SelectedCoeffs().m_gain[index]; }
    double ToneBlack(std::int32_t index) const { return SelectedCoeffs().m_offset[index]; }
    const CoeffRecord& SelectedCoeffs() const;
    void SetUseFeeder(bool useFeeder);
    void SetDeviceMatrix(const double* nine);
    void SetStartValues();

    void ReadOutputType(IQLItemProperties* properties);
    void ReadPaletteColors(IQLItemProperties* properties);
    void ReadTone(IQLItemProperties* properties, bool levels);
    void ReadLevels(IQLItemProperties* properties);
    void ReadSliders(IQLItemProperties* properties);
    void ReadThreshold(IQLItemProperties* properties);
    void ReadTurn(IQLItemProperties* properties);
    HRESULT ReadFilters(IQLItemProperties* properties);
    // True when the road of the image or the feeder flag changed.
    bool ReadSource(IQLItemProperties* properties);
    void TakeProfile(IQLItemProperties* properties);

    void OnHeader();
    void OnBand();
    void OnEndOfImage();
    void ForgetImage();
    void FillWhite();
    void WriteHeaderToStream(CQLBitmap& bitmap);
    void CallClients(std::uint32_t type, std::uint32_t percent, std::int32_t length,
                     std::uint8_t* buffer);

    CQLAttribRows m_rows;
    std::uint32_t m_nextClientId = 0;
    bool m_ready = false;
    bool m_started = false;
    bool m_cancelled = false;  // the last client answer was S_FALSE
    bool m_useFeeder = false;
    bool m_skipSharpen = false;
    QLRect m_bandRect;  // of the last band; its ends lie behind the last line and column
    double m_tmaMatrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_flatbedMatrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_feederMatrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_postMatrix[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    double m_densityMatrix[18] = {};
    DefaultsRecord m_defaults = {};
    CoeffRecord m_negCoeffs = kNeutralCoeffs;
    CoeffRecord m_slideCoeffs = kNeutralCoeffs;
    CoeffRecord m_slideCoeffsB = kNeutralCoeffs;
    CoeffRecord m_flatbedCoeffs = kNeutralCoeffs;
    CoeffRecord m_feederCoeffs = kNeutralCoeffs;
    GrayRecord m_grayCoeffs = kLuminance;
    // From the header of the current image; 0 between images.
    std::int32_t m_imageHeight = 0;
    std::int32_t m_imageWidth = 0;
    std::int32_t m_imageBits = 0;
    std::uint8_t m_whiteByte = 0xFF;  // of its rows
    bool m_profileLoaded = false;
    std::unique_ptr<QLAttribTree> m_treeRoot;
    std::unique_ptr<CStreakProvider> m_streaks;
    std::unique_ptr<CChainFull> m_chain;
    CQLInputStream* m_inputStream = nullptr;
    IStream* m_outputStream = nullptr;
    std::map<std::uint32_t, IQLImageCallback*> m_clients;
};
