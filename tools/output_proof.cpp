#include "tools/output_proof.h"

#include <filesystem>
#include <set>

#include "pictures/file_failure.h"
#include "pictures/pending_file.h"
#include "pictures/picture_options.h"

namespace fs = std::filesystem;

namespace {

// Throws why the name can't be a file's, as far as the system tells without making one.
fs::file_status ProveName(const std::string& path, bool mayReplace) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error == std::errc::filename_too_long)
        Fail("the name is too long");
    if (!mayReplace && fs::is_regular_file(status))
        Fail(
            "is there already; --force replaces the files of a series, --start N begins with "
            "another number");
    return status;
}

// A link is written through.
fs::path FolderOf(const std::string& path) {
    std::error_code missing;
    const fs::path real = fs::canonical(path, missing);
    return (missing ? fs::path(path) : real).parent_path();
}

// What the writer finds when it begins is found here in the same words: a target that is no file, a
// folder that isn't there or that nobody may write to.
bool Prove(const std::string& path, bool mayReplace, std::set<fs::path>& folders,
           std::string* error) {
    const bool isGood = RunGuarded(error, [&] {
        const fs::file_status status = ProveName(path, mayReplace);
        const bool isInTheWay = fs::exists(status) && !fs::is_regular_file(status);
        if (folders.insert(FolderOf(path)).second || isInTheWay)
            CPendingFile(path).Create();
    });
    if (!isGood)
        *error = path + ": " + *error;
    return isGood;
}

}  // namespace

bool ProveFile(const std::string& path, std::string* error) {
    std::set<fs::path> folders;
    return IsStandardOutput(path) || Prove(path, true, folders, error);
}

bool ProveOutput(const CPageName& name, const OutputPages& pages, std::string* error) {
    constexpr int kMostUnknown = 1000;

    if (!name.IsNumbered())
        return ProveFile(name.ForPage(pages.first), error);
    const int count = pages.count > 0 ? pages.count : kMostUnknown;
    std::set<fs::path> folders;
    for (int page = pages.first; page < pages.first + count; ++page) {
        if (!Prove(name.ForPage(page), pages.mayReplace, folders, error))
            return false;
    }
    return true;
}
