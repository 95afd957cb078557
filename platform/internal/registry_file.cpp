#include "platform/internal/registry_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>

#include "platform/internal/file_lock.h"
#include "platform/internal/registry_text.h"
#include "platform/internal/system_error.h"
#include "platform/internal/unique_fd.h"
#include "platform/module.h"
#include "platform/passing_file.h"

namespace platform {
namespace {

// 64 MiB: more than any use, and little enough to be held in memory twice during a change.
constexpr std::size_t kMaxFileBytes = 64 << 20;
constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

// Whether any change from now on must show in the file's time: within one tick of its clock a file
// system may give a second change the time of the first, and a new file the number of one that
// went.
bool IsSettled(const std::timespec& modified) {
    return modified.tv_sec < std::time(nullptr) - 1;
}

// The file itself if the name is a link to it, so that a change goes there and leaves the link
// alone.
std::string LinkTarget(const std::string& name) {
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(name.c_str(), nullptr),
                                                             &std::free);
    return target ? target.get() : name;
}

// Makes the folders of a file; one that can't be made shows when the file is.
void MakeFolders(const std::string& fileName) {
    for (std::size_t end = fileName.find('/', 1); end != std::string::npos;
         end = fileName.find('/', end + 1))
        mkdir(fileName.substr(0, end).c_str(), kFolderMode);
}

// Not on the file itself, which every change replaces. The lock's file stays, as removing it would
// leave two processes with a lock on two files of one name.
UniqueFd LockBeside(const std::string& name) {
    const std::string lockName = name + ".lock";
    UniqueFd lock = LockFile(lockName, LockWait::Forever);
    if (lock || errno != ENOENT)
        return lock;
    MakeFolders(name);
    return LockFile(lockName, LockWait::Forever);
}

// `wrongLine` is the line if the text is to blame, else 0.
LONG ReadRegistry(int fd, RegistryKey& tree, std::size_t& wrongLine) {
    wrongLine = 0;
    std::string text;
    const LONG error = ReadDescriptor(fd, kMaxFileBytes, text);
    if (error != ERROR_SUCCESS)
        return error == ERROR_FILE_INVALID ? ERROR_BADDB : error;
    wrongLine = ParseRegistry(text, tree);
    if (wrongLine == 0)
        return ERROR_SUCCESS;
    tree = {};
    return ERROR_BADDB;
}

// The error number says that the file is wrong, but not where.
void TellWrongLine(const std::string& name, std::size_t line) {
    const std::string text =
        name + ':' + std::to_string(line) + ": no registry file, or this line is wrong\n";
    OutputDebugStringA(text.c_str());
}

}  // namespace

std::string RegistryFileName() {
    const auto variable = [](const char* name) -> std::filesystem::path {
        const char* value = std::getenv(name);
        return value ? value : "";
    };
    std::error_code ignored;
    if (const auto named = variable("NVQ_REGISTRY"); !named.empty())
        return std::filesystem::absolute(named, ignored);
    auto folder = variable("XDG_CONFIG_HOME");
    if (!folder.is_absolute() && !variable("HOME").empty())
        folder = variable("HOME") / ".config";
    return folder.is_absolute() ? folder / "nvqdrv" / "registry.reg" : "";
}

bool RegistryFile::Identity::operator==(const Identity& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

RegistryFile::Identity RegistryFile::IdentityOf(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

LONG RegistryFile::Refresh(std::size_t& wrongLine) {
    struct stat status = {};
    if (stat(m_name.c_str(), &status) == 0 && m_identity && *m_identity == IdentityOf(status))
        return m_result;
    m_identity.reset();
    m_tree = {};
    // Without O_NONBLOCK a pipe in its place would hold every program up.
    const UniqueFd fd(open(m_name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd || fstat(fd.Get(), &status) != 0)
        return errno == ENOENT ? ERROR_SUCCESS : ErrorFromErrno(errno);
    // Of the descriptor, and taken ahead of reading: a change in between shows at the next look.
    const Identity identity = IdentityOf(status);
    const bool settled = IsSettled(status.st_mtim);
    m_result = ReadRegistry(fd.Get(), m_tree, wrongLine);
    if (settled)
        m_identity = identity;
    // Once for each state of the file; readers come often.
    if (wrongLine != 0 && m_told && *m_told == identity)
        wrongLine = 0;
    else if (wrongLine != 0)
        m_told = identity;
    return m_result;
}

LONG RegistryFile::Read(const std::function<LONG(const RegistryKey&)>& use) {
    std::size_t wrongLine = 0;
    LONG error = ERROR_SUCCESS;
    {
        const std::lock_guard guard(m_lock);
        error = Refresh(wrongLine);
        if (error == ERROR_SUCCESS)
            error = use(m_tree);
    }
    if (wrongLine != 0)
        TellWrongLine(m_name, wrongLine);  // without the lock: a hook may come back here
    return error;
}

LONG RegistryFile::Change(const std::function<LONG(RegistryKey&)>& change) {
    if (m_name.empty())
        return ERROR_PATH_NOT_FOUND;
    const std::string name = LinkTarget(m_name);
    UniqueFd lock = LockBeside(name);
    if (!lock)
        return ErrorFromErrno(errno);
    const LONG error = ChangeLocked(name, change);
    UnlockFile(std::move(lock));
    return error;
}

LONG RegistryFile::ChangeLocked(const std::string& name,
                                const std::function<LONG(RegistryKey&)>& change) {
    // Read anew and not from the copy: under the lock only the file counts.
    RegistryKey tree;
    const UniqueFd fd(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd && errno != ENOENT)
        return ErrorFromErrno(errno);
    std::size_t wrongLine = 0;  // is told by whoever reads
    LONG error = fd ? ReadRegistry(fd.Get(), tree, wrongLine) : ERROR_SUCCESS;
    if (error == ERROR_SUCCESS)
        error = change(tree);
    if (error != ERROR_SUCCESS)
        return error;
    const std::string text = RegistryText(tree);
    if (text.size() > kMaxFileBytes)
        return ERROR_FILE_TOO_LARGE;
    return ErrorNumber(StoreFile(
        name, text, {.name = CPassingFile::Name::Beside, .toMedium = true, .rights = kFileMode}));
}

}  // namespace platform
