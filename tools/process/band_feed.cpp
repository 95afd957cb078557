#include "tools/process/band_feed.h"

#include <algorithm>

#include "engine/engine.h"
#include "tools/process/picture_stream.h"

// The engine's rule for a feed that finds n lines in the stream:
//
//   first of all feeds   the hold mark becomes n - 5
//   n < 2, or no bytes   takes none
//   n > hold mark        takes n - 5: five lines stay as long as more are to be expected
//   else                 takes all: these are the last ones
//
// A scan's bands of 20 lines suit it. Two things have to be seen to where bands or pictures are
// smaller.

namespace {

// A first band of fewer lines makes a mark below five, which the five lines that stay behind always
// exceed: they would never be taken.
constexpr std::int32_t kFewestFirstLines = 10;
constexpr std::uint32_t kFewestFeedLines = 2;

// Settles the mark at five before there are lines: the feed finds a count and no bytes.
void SetHoldMark(CQLEngine& engine, CPictureStream& stream) {
    stream.m_nLines = kFewestFirstLines;
    engine.FireFeed();
    stream.m_nLines = 0;
}

// Feeds what is left. A line that is left alone counts as two: the image's height says that there
// is no second one.
void FeedLast(CQLEngine& engine, CPictureStream& stream) {
    if (stream.m_nLines == 1)
        stream.m_nLines = kFewestFeedLines;
    engine.FireFeed();
}

}  // namespace

bool FeedBands(CQLEngine& engine, CPictureStream& stream, std::int32_t bandLines,
               const std::function<bool()>& stopped) {
    engine.SetInputStream(&stream);
    engine.Start();
    engine.FireBegin();
    if (std::min(bandLines, stream.LinesLeft()) < kFewestFirstLines)
        SetHoldMark(engine, stream);
    while (stream.LinesLeft() > 0 && !stopped()) {
        if (!stream.AddBand(bandLines))
            return false;
        engine.FireFeed();
    }
    if (!stopped())
        FeedLast(engine, stream);
    engine.FireEnd();
    return true;
}
