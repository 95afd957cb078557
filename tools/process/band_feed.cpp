#include "tools/process/band_feed.h"

#include "engine/engine.h"
#include "tools/process/picture_stream.h"

bool FeedBands(CQLEngine& engine, CPictureStream& stream, std::int32_t bandLines,
               const std::function<bool()>& stopped) {
    engine.SetInputStream(&stream);
    engine.Start();
    engine.FireBegin();
    while (stream.LinesLeft() > 0 && !stopped()) {
        if (!stream.AddBand(bandLines))
            return false;
        engine.FireFeed();
    }
    // What the engine left behind while more was to come.
    if (!stopped())
        engine.FireFeed();
    engine.FireEnd();
    return true;
}
