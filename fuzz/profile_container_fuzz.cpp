// Anything as a profile's container, and the text that comes out of it as a profile.
#include <cstring>
#include <memory>
#include <string>

#include "fuzz/fuzz.h"
#include "fuzz/profile_tables.h"
#include "profile/profile_container.h"
#include "profile/profile_writer.h"

namespace {

// The text buffer is exactly as large as told, and so is the container.
std::string ReadText(const void* data, std::size_t bytes, std::uint32_t size) {
    const std::unique_ptr<char[]> copy(new char[bytes]);
    if (bytes != 0)
        std::memcpy(copy.get(), data, bytes);
    const std::unique_ptr<char[]> text(new char[size]);
    std::memset(text.get(), 'x', size);
    CMemoryProfileStream stream(copy.get(), bytes);
    ProfileTree tree;
    ProfileHeader header;
    const ProfileStatus status = ReadProfileStream(tree, stream, text.get(), size, &header);
    Require(std::memchr(text.get(), 0, size) != nullptr);
    if (status != ProfileStatus::Whole)
        return text.get();
    Require(header.m_textLength < size && text[header.m_textLength] == 0);
    return {text.get(), header.m_textLength};
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ReadText(data, size, 1 + size % 64);
    const std::string text = ReadText(data, size, kProfileTextSize);
    LoadTables(text);
    const auto packed = PackProfile(text);
    Require(ReadText(packed.data(), packed.size(), kProfileTextSize) == text);
    return 0;
}
