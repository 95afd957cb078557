// A scanner profile as a person has it: packed in its container, or as plain text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "profile/profile_container.h"

struct CProfileFile {
    std::string m_name;  // for messages
    bool m_isPacked = false;
    ProfileHeader m_header;  // if it is packed
    std::size_t m_bytes = 0;
    std::string m_text;
    // What is wrong with the container, or with what was taken for text; empty if nothing is. The
    // text goes up to there then.
    std::string m_fault;
};

// Both throw as Fail (pictures/file_failure.h) does when there is nothing to read.
CProfileFile ReadProfileInput(const std::string& path);
// The profile that the driver carries.
CProfileFile ReadBuiltinProfile();

void WriteProfileOutput(const std::string& path, const void* data, std::size_t bytes);
