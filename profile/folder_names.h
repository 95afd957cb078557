// The names of the folders in which profile files lie, for the whole process: devices tell them
// when they start, and controllers ask when they look for a profile. Threads may do both at once.
#pragma once

#include <string>

#include "profile/scanner_profile.h"

struct FolderNames {
    std::string vendor = ProfileFolders{}.m_vendor;
    std::string family = ProfileFolders{}.m_family;

    // Borrows the names.
    ProfileFolders Folders() const { return {vendor.c_str(), family.c_str()}; }
};

// What was told last.
FolderNames CurrentFolderNames();
void SetVendorFolder(const std::string& name);
void SetFamilyFolder(const std::string& name);
