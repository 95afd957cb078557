// Files that come into being: written under a passing name in the folder of their target, and under
// the target's name only when they are whole. A reader sees the former file or the new one, and
// nothing between; what a killed program has left in the folder is taken away by the next one that
// writes there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/types.h"

// All failures are those of the system, in std::generic_category().
class CPassingFile {
  public:
    enum class Name {
        Unique,  // and claimed as long as it is written: any number of programs may write at once
        Beside,  // the target's with ".new" behind it: whoever writes keeps others off by a lock
    };

    explicit CPassingFile(std::string target, Name name = Name::Unique)
        : m_target(std::move(target)), m_name(name) {}
    ~CPassingFile() { Discard(); }
    CPassingFile(const CPassingFile&) = delete;
    CPassingFile& operator=(const CPassingFile&) = delete;

    // A link is followed: renaming would put the file in its place. std::errc::is_a_directory, or
    // std::errc::invalid_argument for a target that is there and is no plain file otherwise. The
    // access rights are those of the file that is replaced, as far as the medium has such, else
    // `rights` less what the user's mask takes away.
    std::error_code Create(unsigned rights = 0666);
    // For reading and writing; null unless between Create and Close.
    std::FILE* Stream() const { return m_file; }
    // Between Create and Close, past the stream, which has no bytes of its own then: all bytes, or
    // a failure. A read behind the end is std::errc::io_error.
    std::error_code WriteAt(const void* source, std::size_t bytes, std::int64_t offset) const;
    std::error_code ReadAt(void* target, std::size_t bytes, std::int64_t offset) const;
    std::error_code Truncate(std::int64_t size) const;
    // Some file systems tell of a full disk only here. `toMedium` waits until the bytes are there,
    // so that not even a loss of power leaves half a file.
    std::error_code Close(bool toMedium = false);
    // Closes the file if it is open, and takes the target's name.
    std::error_code Publish();
    // Leaves nothing behind; does nothing behind Publish.
    void Discard();
    // Discards all that this process has under way, for a program that ends in the middle of its
    // work: nothing may be written behind this.
    static void DiscardAll();

  private:
    std::error_code FindTarget();
    std::error_code OpenUnique(unsigned rights);
    std::error_code OpenBeside(unsigned rights);
    std::error_code Use(int descriptor, std::string path);

    std::string m_target;
    const Name m_name;
    void ReleaseClaim();

    std::string m_passingPath;  // empty while there is no such file
    std::FILE* m_file = nullptr;
    int m_claim = -1;  // a descriptor of the same file, open until it has its name
};

// How StoreFile writes.
struct StoreOptions {
    CPassingFile::Name name = CPassingFile::Name::Unique;
    bool toMedium = false;
    unsigned rights = 0666;
};

// Puts a whole content in place of a target. What was there stays when it fails.
std::error_code StoreFile(const std::string& target, std::string_view content,
                          const StoreOptions& options = {});

// The system error number that comes nearest to such a failure; ERROR_SUCCESS for none.
LONG ErrorNumber(const std::error_code& error);
