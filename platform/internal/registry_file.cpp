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
#include "platform/told_lines.h"

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

// Makes the folders of a file. Returns why the first one couldn't be made that isn't there, or 0.
int MakeFolders(const std::string& fileName) {
    int failure = 0;
    for (std::size_t end = fileName.find('/', 1); end != std::string::npos;
         end = fileName.find('/', end + 1)) {
        if (mkdir(fileName.substr(0, end).c_str(), kFolderMode) != 0 && errno != EEXIST &&
            failure == 0)
            failure = errno;
    }
    return failure;
}

// Not on the file itself, which every change replaces. The lock's file stays, as removing it would
// leave two processes with a lock on two files of one name.
UniqueFd LockBeside(const std::string& name) {
    const std::string lockName = name + ".lock";
    UniqueFd lock = LockFile(lockName, LockWait::Forever);
    if (lock || errno != ENOENT)
        return lock;
    const int failure = MakeFolders(name);
    lock = LockFile(lockName, LockWait::Forever);
    // That the file isn't there says nothing where its folder couldn't be made.
    if (!lock && errno == ENOENT && failure != 0)
        errno = failure;
    return lock;
}

// `cause` gets the words for a failure: the error number doesn't say which file and where.
LONG ReadRegistry(int fd, const std::string& name, RegistryKey& tree, std::string& cause) {
    constexpr const char* kElsewhere = "; move it away, or name another file in NVQ_REGISTRY";

    std::string text;
    const LONG error = ReadDescriptor(fd, kMaxFileBytes, text);
    if (error != ERROR_SUCCESS) {
        cause = name +
                (error == ERROR_FILE_INVALID     ? ": is no file, and the registry must be one"
                 : error == ERROR_FILE_TOO_LARGE ? ": is larger than a registry may be, 64 MiB"
                                                 : ": can't be read") +
                kElsewhere;
        return error == ERROR_FILE_INVALID ? ERROR_BADDB : error;
    }
    const std::size_t wrongLine = ParseRegistry(text, tree);
    if (wrongLine == 0)
        return ERROR_SUCCESS;
    tree = {};
    cause = name + ':' + std::to_string(wrongLine) +
            (wrongLine == 1 ? ": is no registry file" : ": this line of the registry is wrong") +
            "; mend it, or move the file away, and a new one is made";
    return ERROR_BADDB;
}

std::string SystemCause(const std::string& name, const char* what, const std::error_code& error) {
    return name + ": " + what + ": " + error.message() +
           "; XDG_CONFIG_HOME or NVQ_REGISTRY can name another place for the registry";
}

std::error_code LastSystemError() {
    return {errno, std::generic_category()};
}

// Hands a failure through.
LONG Told(LONG error, const std::string& cause) {
    TellCause(cause);
    return error;
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

LONG RegistryFile::Refresh() {
    struct stat status = {};
    if (stat(m_name.c_str(), &status) == 0 && m_identity && *m_identity == IdentityOf(status))
        return m_result;
    m_identity.reset();
    m_tree = {};
    m_cause.clear();
    // Without O_NONBLOCK a pipe in its place would hold every program up.
    const UniqueFd fd(open(m_name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd || fstat(fd.Get(), &status) != 0) {
        if (errno == ENOENT)
            return ERROR_SUCCESS;
        const LONG error = ErrorFromErrno(errno);
        m_cause = SystemCause(m_name, "can't be read", LastSystemError());
        return error;
    }
    // Of the descriptor, and taken ahead of reading: a change in between shows at the next look.
    const Identity identity = IdentityOf(status);
    const bool settled = IsSettled(status.st_mtim);
    m_result = ReadRegistry(fd.Get(), m_name, m_tree, m_cause);
    if (settled)
        m_identity = identity;
    return m_result;
}

LONG RegistryFile::Read(const std::function<LONG(const RegistryKey&)>& use) {
    std::string printed;
    {
        const std::lock_guard guard(m_lock);
        const LONG error = Refresh();
        if (error == ERROR_SUCCESS) {
            m_printed.clear();
            return use(m_tree);
        }
        // Printed once, for readers come often.
        if (!TellCause(m_cause) && error == ERROR_BADDB && m_printed != m_cause)
            printed = m_printed = m_cause;
        if (printed.empty())
            return error;
    }
    OutputDebugStringA((printed + '\n').c_str());  // without the lock: a hook may come back here
    return ERROR_BADDB;
}

LONG RegistryFile::Change(const std::function<LONG(RegistryKey&)>& change) {
    if (m_name.empty())
        return Told(ERROR_PATH_NOT_FOUND,
                    "there is no place for the registry: HOME is not set, and neither is "
                    "XDG_CONFIG_HOME or NVQ_REGISTRY");
    const std::string name = LinkTarget(m_name);
    UniqueFd lock = LockBeside(name);
    if (!lock) {
        const std::error_code error = LastSystemError();
        return Told(ErrorFromErrno(error.value()), SystemCause(name, "can't be written", error));
    }
    const LONG error = ChangeLocked(name, change);
    UnlockFile(std::move(lock));
    return error;
}

LONG RegistryFile::ChangeLocked(const std::string& name,
                                const std::function<LONG(RegistryKey&)>& change) {
    // Read anew and not from the copy: under the lock only the file counts.
    RegistryKey tree;
    const UniqueFd fd(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd && errno != ENOENT) {
        const std::error_code failure = LastSystemError();
        return Told(ErrorFromErrno(failure.value()), SystemCause(name, "can't be read", failure));
    }
    std::string cause;
    LONG error = fd ? ReadRegistry(fd.Get(), name, tree, cause) : ERROR_SUCCESS;
    if (error != ERROR_SUCCESS)
        return Told(error, cause);
    error = change(tree);
    if (error != ERROR_SUCCESS)
        return error;
    const std::string text = RegistryText(tree);
    if (text.size() > kMaxFileBytes)
        return ERROR_FILE_TOO_LARGE;
    const std::error_code failure = StoreFile(
        name, text, {.name = CPassingFile::Name::Beside, .toMedium = true, .rights = kFileMode});
    return failure ? Told(ErrorNumber(failure), SystemCause(name, "can't be written", failure))
                   : ERROR_SUCCESS;
}

}  // namespace platform
