#include "sane-toolkit/scanner_sources.h"

#include <sane/saneopts.h>

#include <algorithm>

#include "sane-toolkit/word_choice.h"

namespace {

constexpr double kUnitsPerMillimetre = 300 / 25.4;
constexpr double kMostBed = 65535;  // 1/300 inch
// Fixed numbers have 16 bits behind the point.
constexpr double kUnitError = 0.01;
// What the driver asks for.
constexpr WORD kLadder[] = {150, 300, 600, 1200, 2400, 4800};

// Options that aren't among the well-known ones, but have one name with all who have them.
constexpr char kFeederMode[] = "adf-mode";
constexpr char kDuplex[] = "duplex";
constexpr char kFilmType[] = "film-type";
constexpr char kOn[] = "1";
constexpr char kOff[] = "0";

constexpr const char* kFlatbedParts[] = {"flatbed", "platen",     "normal", "table",
                                         "glass",   "reflective", "fb"};
constexpr const char* kNotFlatbed[] = {"transparency", "tpu", "tma",   "xpa",
                                       "film",         "adf", "feeder"};
constexpr const char* kFeederParts[] = {"adf", "feeder"};
constexpr const char* kNotFeeder[] = {"duplex", "both", "back", "rear", "negative", "positive"};
constexpr const char* kSimplexParts[] = {"simplex"};
constexpr const char* kDuplexParts[] = {"duplex", "both"};
constexpr const char* kFilmParts[] = {"transparency", "tpu",   "tma",     "xpa",
                                      "film",         "slide", "positive"};
constexpr const char* kNotFilm[] = {"negative", "infrared", "adf", "feeder"};
constexpr const char* kNegativeParts[] = {"negative"};

using Words = std::vector<std::string>;

SourceFacts SourceOf(const std::string& word) {
    SourceFacts source;
    source.choice.emplace_back(SANE_NAME_SCAN_SOURCE, word);
    return source;
}
SourceFacts With(SourceFacts source, const char* option, const std::string& word) {
    source.choice.emplace_back(option, word);
    return source;
}

// The driver takes every step from the least to the largest for granted.
bool LearnResolutions(CSaneDevice& device, SourceFacts& source) {
    const auto range = device.Range(SANE_NAME_SCAN_RESOLUTION);
    if (!range)
        return false;
    for (const WORD step : kLadder) {
        if (range->Has(step)) {
            source.minResolution = source.minResolution == 0 ? step : source.minResolution;
            source.maxResolution = step;
        } else if (source.maxResolution != 0) {
            break;
        }
    }
    return source.maxResolution != 0;
}

// From the near edge to the far one; a bed that doesn't begin at 0 is shifted. 0 for none.
DWORD SideOf(CSaneDevice& device, const char* near, const char* far) {
    const auto from = device.Range(near);
    const auto to = device.Range(far);
    if (!from || !to || !device.IsInMillimetres(near) || !device.IsInMillimetres(far))
        return 0;
    const double units = (to->high - from->low) * kUnitsPerMillimetre;
    return units >= 1 ? static_cast<DWORD>(std::min(units + kUnitError, kMostBed)) : 0;
}

SourceFacts Learnt(CSaneDevice& device, SourceFacts source) {
    if (!ChooseSource(device, source) || !LearnResolutions(device, source))
        return {};
    source.height = SideOf(device, SANE_NAME_SCAN_TL_Y, SANE_NAME_SCAN_BR_Y);
    source.width = SideOf(device, SANE_NAME_SCAN_TL_X, SANE_NAME_SCAN_BR_X);
    return source.width != 0 && source.height != 0 ? source : SourceFacts{};
}

// Both sides are a source of their own with some devices, and a setting of the feeder's with
// others. A feeder that always takes both is none: the driver chooses.
void LearnFeeder(CSaneDevice& device, const Words& words, ScannerSources& sources) {
    const std::string word = ChooseWord(words, kFeederParts, kNotFeeder);
    if (word.empty())
        return;
    SourceFacts feeder = SourceOf(word);
    SourceFacts duplex;
    const std::string both = ChooseWord(words, kDuplexParts);
    if (!ChooseSource(device, feeder))
        return;
    const Words modes = device.Texts(kFeederMode);
    const std::string one = ChooseWord(modes, kSimplexParts);
    const std::string two = ChooseWord(modes, kDuplexParts);
    if (!both.empty()) {
        duplex = SourceOf(both);
    } else if (!one.empty() && !two.empty()) {
        duplex = With(feeder, kFeederMode, two);
        feeder = With(feeder, kFeederMode, one);
    } else if (device.IsSettable(kDuplex)) {
        duplex = With(feeder, kDuplex, kOn);
        feeder = With(feeder, kDuplex, kOff);
    }
    if (!duplex.choice.empty())
        duplex = Learnt(device, duplex);
    sources.feeder = Learnt(device, feeder);
    if (sources.feeder.IsThere())
        sources.duplex = duplex;
}

// Negatives are scanned as slides are: it is the driver that makes positives of them. A device
// that knows nothing else than negatives is asked for these.
void LearnAdapter(CSaneDevice& device, const Words& words, ScannerSources& sources) {
    std::string word = ChooseWord(words, kFilmParts, kNotFilm);
    if (word.empty())
        word = ChooseWord(words, kNegativeParts);
    if (word.empty())
        return;
    SourceFacts adapter = SourceOf(word);
    if (!ChooseSource(device, adapter))
        return;
    const std::string film = ChooseWord(device.Texts(kFilmType), kFilmParts, kNegativeParts);
    sources.adapter = Learnt(device, film.empty() ? adapter : With(adapter, kFilmType, film));
}

}  // namespace

bool ChooseSource(CSaneDevice& device, const SourceFacts& source) {
    return std::ranges::all_of(source.choice, [&device](const auto& choice) {
        return device.Set(choice.first.c_str(), choice.second);
    });
}

ScannerSources LearnSources(CSaneDevice& device) {
    ScannerSources sources;
    const Words words = device.Texts(SANE_NAME_SCAN_SOURCE);
    LearnAdapter(device, words, sources);
    LearnFeeder(device, words, sources);
    // A device without a choice is a flatbed.
    const std::string flatbed = ChooseWord(words, kFlatbedParts, kNotFlatbed);
    if (!flatbed.empty())
        sources.flatbed = Learnt(device, SourceOf(flatbed));
    else if (words.empty())
        sources.flatbed = Learnt(device, {});
    ChooseSource(device, sources.Main());
    return sources;
}
