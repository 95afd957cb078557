// A file that comes into being: written under a passing name in the folder of its target, and under
// the target's name only when it is whole. What a killed program has left in the folder is taken
// away by the next one that writes there. Failures are thrown as Fail throws them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <utility>

#include "pictures/input_file.h"

class CPendingFile {
  public:
    explicit CPendingFile(std::filesystem::path target) : m_target(std::move(target)) {}
    ~CPendingFile() { Discard(); }
    CPendingFile(const CPendingFile&) = delete;
    CPendingFile& operator=(const CPendingFile&) = delete;

    void Create();
    // Between Create and Publish.
    void WriteAt(const void* source, std::size_t bytes, std::int64_t offset) const;
    // Of what has been written.
    void ReadAt(void* target, std::size_t bytes, std::int64_t offset) const;
    // Takes the target's name, in place of a file that has it.
    void Publish();
    // Leaves nothing behind; does nothing behind Publish.
    void Discard();

  private:
    void CheckTarget();

    std::filesystem::path m_target;
    std::filesystem::path m_passingPath;  // empty while there is no such file
    CFilePtr m_file;
};
