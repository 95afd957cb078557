// A picture file that comes into being under a passing name. Failures are thrown as Fail throws
// them, in words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "platform/passing_file.h"

class CPendingFile {
  public:
    explicit CPendingFile(const std::filesystem::path& target) : m_file(target.string()) {}

    void Create();
    // Between Create and Publish.
    void WriteAt(const void* source, std::size_t bytes, std::int64_t offset) const;
    // Of what has been written.
    void ReadAt(void* target, std::size_t bytes, std::int64_t offset) const;
    // Takes the target's name, in place of a file that has it.
    void Publish();
    // Leaves nothing behind, as the end of the object does; does nothing behind Publish.
    void Discard() { m_file.Discard(); }

  private:
    CPassingFile m_file;
};
