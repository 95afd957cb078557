// The registry's file on the medium. Internal to the layer.
#pragma once

#include <sys/stat.h>

#include <ctime>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/internal/registry_tree.h"

namespace platform {

// Where NVQ_REGISTRY says, else in the user's configuration folder; empty without a home.
std::string RegistryFileName();

// All operations are safe between threads and between processes. Their results are those of the
// functions in registry.h.
class RegistryFile {
  public:
    explicit RegistryFile(std::string name) : m_name(std::move(name)) {}

    // Shows the tree as the file has it now, and gives what `use` gives. No file is an empty tree.
    // As long as the file stays the same it isn't read again.
    LONG Read(const std::function<LONG(const RegistryKey&)>& use);

    // Has the tree changed and writes it, if `change` gives ERROR_SUCCESS. Nobody else changes the
    // file meanwhile.
    LONG Change(const std::function<LONG(RegistryKey&)>& change);

  private:
    // Tells one state of the file from another without a look inside.
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        std::timespec modified = {};

        bool operator==(const Identity& other) const;
    };
    static Identity IdentityOf(const struct stat& status);

    // Reads the file into the copy, unless it has been read already.
    LONG Refresh();
    LONG ChangeLocked(const std::string& name, const std::function<LONG(RegistryKey&)>& change);

    const std::string m_name;

    std::mutex m_lock;
    // The copy holds as long as the file keeps its identity; none if that can't be relied on.
    std::optional<Identity> m_identity;
    RegistryKey m_tree;
    LONG m_result = ERROR_SUCCESS;
    std::string m_cause;    // of a result that is no success, in words
    std::string m_printed;  // the last of them that nobody took, and that was printed
};

}  // namespace platform
