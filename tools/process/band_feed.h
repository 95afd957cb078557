// Feeds a picture to the engine in bands, as a scan arrives.
#pragma once

#include <cstdint>
#include <functional>

class CPictureStream;
class CQLEngine;

// Runs one image, `bandLines` (1 and more) lines at a time, up to its end or until `stopped` says
// so. False when the picture can't be read to its end; what is delivered then is no image.
bool FeedBands(CQLEngine& engine, CPictureStream& stream, std::int32_t bandLines,
               const std::function<bool()>& stopped);
