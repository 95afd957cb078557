// Automatic tone and colour of a picture, ahead of its run.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "service/exposure.h"
#include "tools/process/attribute_writes.h"
#include "tools/process/model_item.h"
#include "tools/process/page_source.h"

// Reads the page once through the engine's analysis pass; what it finds stands in the engine.
// False with one line in `error`, to stand behind the file's name, when it can't be read.
bool AnalysePicture(const CPageSource& source, CQLEngine& engine, const AutoWish& wish,
                    std::optional<FoundExposure>* found, std::string* error);

// The levels that an analysis finds count by the exposure method of levels: false with one line in
// `error` for writes that this would drop silently, or that choose the other method.
bool LeaveRoomForLevels(std::span<const PropertyWrite> writes, std::string* error);

// What the command line sets itself goes ahead of what is found: of the properties that the item
// was assigned, with the method by which the levels count, and of the attributes that were `given`.
// Gives what was set so.
std::vector<PROPID> SetAgain(const CModelItem& settings, std::span<const CAttributeWrite> given,
                             const FoundExposure& found, CQLEngine& engine);

// "Exposure Method 1, Highlight Level 31, ...", as --set takes them; of those that were `kept`
// nothing.
std::string ExposureText(const FoundExposure& found, std::span<const PROPID> kept);
inline constexpr char kNothingToAnalyse[] =
    "--auto finds nothing to analyse; the settings stay as they are";
