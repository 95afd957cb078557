#include "tools/profile/file.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "pictures/file_failure.h"
#include "pictures/input_file.h"
#include "pictures/pending_file.h"
#include "profile/builtin_profile.h"

namespace {

// Far above what a text of 9999 bytes can take.
constexpr std::int64_t kMaxInput = 1 << 20;

// Of a container whose magic is right; `decoded` bytes came out before the fault.
std::string FaultOf(ProfileStatus status, const ProfileHeader& header, std::size_t decoded) {
    if (status == ProfileStatus::BadTree)
        return "its tree can't be read or leads nowhere";
    if (header.m_textLength >= kProfileTextSize)
        return "holds " + std::to_string(header.m_textLength) + " bytes of text, at most " +
               std::to_string(kProfileTextSize - 1) + " are read";
    return "ends behind " + std::to_string(decoded) + " of " + std::to_string(header.m_textLength) +
           " bytes of text";
}

// Text is what has no control characters but tabs, carriage returns and line feeds.
bool IsText(const std::vector<char>& data) {
    return std::none_of(data.begin(), data.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\r' && c != '\n';
    });
}

// What has no magic is a text. A container is decoded as the driver does it, byte limit and all.
CProfileFile Interpret(std::string name, const std::vector<char>& data) {
    CProfileFile file;
    file.m_name = std::move(name);
    file.m_bytes = data.size();
    const auto tree = std::make_unique<ProfileTree>();
    std::vector<char> text(kProfileTextSize);
    CMemoryProfileStream stream(data.data(), data.size());
    const ProfileStatus status =
        ReadProfileStream(*tree, stream, text.data(), kProfileTextSize, &file.m_header);
    file.m_isPacked = status != ProfileStatus::NoMagic;
    if (!file.m_isPacked) {
        file.m_text.assign(data.begin(), data.end());
        if (!IsText(data))
            file.m_fault = "is neither a profile container nor a text";
        return file;
    }
    const std::size_t decoded =
        status == ProfileStatus::Whole ? file.m_header.m_textLength : std::strlen(text.data());
    file.m_text.assign(text.data(), decoded);
    if (status != ProfileStatus::Whole)
        file.m_fault = FaultOf(status, file.m_header, decoded);
    return file;
}

}  // namespace

CProfileFile ReadProfileInput(const std::string& path) {
    const CInputFile input(path);
    if (input.Size() > kMaxInput)
        Fail("is too large for a profile: " + std::to_string(input.Size()) + " bytes");
    std::vector<char> data(static_cast<std::size_t>(input.Size()));
    input.ReadAt(data.data(), data.size(), 0);
    return Interpret(path, data);
}

CProfileFile ReadBuiltinProfile() {
    const char* bytes = reinterpret_cast<const char*>(kBuiltinProfile);
    return Interpret("built-in profile", {bytes, bytes + kBuiltinProfileBytes});
}

// Under a passing name until it is whole.
void WriteProfileOutput(const std::string& path, const void* data, std::size_t bytes) {
    CPendingFile file(path);
    file.Create();
    file.WriteAt(data, bytes, 0);
    file.Publish();
}
