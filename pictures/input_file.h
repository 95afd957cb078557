// A regular file, open for reading. Its failures are thrown as Fail throws them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

struct CFileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using CFilePtr = std::unique_ptr<std::FILE, CFileCloser>;

class CInputFile {
  public:
    // Refuses what isn't a regular file: a pipe that nobody writes would hold the program here.
    explicit CInputFile(const std::string& path);

    std::int64_t Size() const { return m_size; }
    // For libraries that read by themselves.
    std::FILE* Stream() const { return m_file.get(); }
    // All of the range, which lies within Size(): a file that ends before has been cut since.
    void ReadAt(void* target, std::size_t bytes, std::int64_t offset) const;

  private:
    CFilePtr m_file;
    std::int64_t m_size = 0;
};
