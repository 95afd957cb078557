#include "profile/folder_names.h"

#include <mutex>

namespace {

// One pair for the process: the names come from the keys of its devices, which all belong to one
// family. The last device to start wins.
struct Shared {
    std::mutex lock;
    FolderNames names;
};

// Made by the first call, as other globals may ask while they are made.
Shared& TheNames() {
    static Shared shared;
    return shared;
}

}  // namespace

FolderNames CurrentFolderNames() {
    Shared& shared = TheNames();
    const std::lock_guard guard(shared.lock);
    return shared.names;
}

void SetVendorFolder(const std::string& name) {
    Shared& shared = TheNames();
    const std::lock_guard guard(shared.lock);
    shared.names.vendor = name;
}

void SetFamilyFolder(const std::string& name) {
    Shared& shared = TheNames();
    const std::lock_guard guard(shared.lock);
    shared.names.family = name;
}
