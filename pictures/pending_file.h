// A picture file that comes into being under a passing name, or on standard output. Failures are
// thrown as Fail throws them, in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/passing_file.h"

class CPendingFile {
  public:
    explicit CPendingFile(const std::string& target);

    // Standard output is spooled through a temporary file, unless bytes are only appended.
    void Create(bool isAppended = false);

    // Between Create and Publish.
    void Append(const void* source, std::size_t bytes) { WriteAt(source, bytes, m_place); }
    void WriteAt(const void* source, std::size_t bytes, std::int64_t offset);
    // Of what has been written.
    void ReadAt(void* target, std::size_t bytes, std::int64_t offset) const;
    // Where the last byte written ends.
    std::int64_t Place() const { return m_place; }
    // What has been written is gone: only Append can be done.
    bool IsStream() const { return m_isStream; }
    // What is appended next goes to a place that has been written already.
    void GoTo(std::int64_t place) { m_place = place; }
    // Takes away what is behind the place.
    void CutOff();

    // Takes the target's name, in place of a file that has it.
    void Publish();
    // Leaves nothing behind, as the end of the object does; does nothing behind Publish.
    void Discard() { m_file.Discard(); }

  private:
    void PutOut(const void* source, std::size_t bytes) const;
    void CopyToOutput();

    const bool m_isOutput;
    bool m_isStream = false;
    CPassingFile m_file;
    std::int64_t m_place = 0;
    std::int64_t m_size = 0;
};
