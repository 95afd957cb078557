// A picture file that comes into being under a passing name, or on standard output. Failures are
// thrown as Fail throws them, in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/passing_file.h"

class CPendingFile {
  public:
    // Standard output is spooled through a temporary file, for those that write here and there.
    explicit CPendingFile(const std::string& target);

    void Create();
    // Between Create and Publish.
    void WriteAt(const void* source, std::size_t bytes, std::int64_t offset);
    // Of what has been written.
    void ReadAt(void* target, std::size_t bytes, std::int64_t offset) const;
    // Takes the target's name, in place of a file that has it.
    void Publish();
    // Leaves nothing behind, as the end of the object does; does nothing behind Publish.
    void Discard() { m_file.Discard(); }

  private:
    void CopyToOutput();

    const bool m_isOutput;
    CPassingFile m_file;
    std::int64_t m_size = 0;
};
