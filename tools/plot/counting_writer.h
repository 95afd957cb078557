// Counts the levels of a picture on its way to a file.
#pragma once

#include <memory>

#include "pictures/picture_writer.h"
#include "tools/plot/tone_counts.h"

// Hands everything on to another writer. Of several pages the first one is counted.
class CCountingWriter final : public CPictureWriter {
  public:
    // The counter is borrowed.
    CCountingWriter(std::unique_ptr<CPictureWriter> writer, CToneCounter& counter)
        : m_writer(std::move(writer)), m_counter(counter) {}

    bool Begin(const BITMAPINFOHEADER& info, std::span<const RGBQUAD> palette) override {
        if (m_page == 0)
            m_counter.Begin(info, palette);
        return Keep(m_writer->Begin(info, palette));
    }
    // Runs are whole rows here; what is less than one isn't counted.
    bool Write(const std::uint8_t* bytes, std::size_t length) override {
        if (m_page == 0)
            m_counter.Add({bytes, length});
        return Keep(m_writer->Write(bytes, length));
    }
    bool Finish() override { return Keep(m_writer->Finish()); }
    bool EndPage() override {
        ++m_page;
        return Keep(m_writer->EndPage());
    }
    bool DropPage() override { return Keep(m_writer->DropPage()); }

  private:
    bool Keep(bool done) {
        if (!done)
            m_error = m_writer->Error();
        return done;
    }

    const std::unique_ptr<CPictureWriter> m_writer;
    CToneCounter& m_counter;
    int m_page = 0;
};
