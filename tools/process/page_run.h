// One page through the whole imaging engine.
#pragma once

#include <string>

#include "pictures/picture_writer.h"
#include "tools/plot/tone_counts.h"
#include "tools/process/page_source.h"
#include "tools/process/run.h"

struct CPageRun {
    const CProcessJob& m_job;
    CPageSource m_source;
    std::string m_outputName;  // for people
    CPictureWriter& m_writer;
    // Of the page whose plots are drawn: what its writer was given. Null on all others.
    const CToneCounter* m_delivered = nullptr;
};

// The page is whole in its writer when the result is Done; the file isn't finished. `error` gets
// one line when the result is Failed or BadInput. What keeps only a plot from being drawn stands in
// `plotError`.
CProcessResult RunPage(const CPageRun& page, std::string* error, std::string* plotError);
