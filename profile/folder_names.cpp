#include "profile/folder_names.h"

#include <mutex>

namespace {

struct Shared {
    std::mutex lock;
    FolderNames names;
};

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
