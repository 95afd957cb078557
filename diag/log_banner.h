// The banner in the log that tells whose messages follow. Internal to the log.
#pragma once

#include <iosfwd>

#include "platform/types.h"

// A process and one of its threads.
struct CLogWriter {
    DWORD m_process = 0;
    DWORD m_thread = 0;
};

// `last` is who wrote before. Leaves the stream in decimal.
void WriteLogBanner(std::ostream& out, const CLogWriter& writer, const CLogWriter& last);

// Makes the calling thread the last writer, and writes the banner if another was that before.
void WriteBannerIfNewWriter(std::ostream& out);
