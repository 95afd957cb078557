// Anything as a profile: as a container, as the text that comes out of it, and as a text by itself.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/com.h"
#include "profile/profile_container.h"
#include "profile/profile_writer.h"
#include "profile/scan_attrib.h"
#include "tools/profile/check.h"

namespace {

void Require(bool holds) {
    if (!holds)
        std::abort();
}

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

void CheckMatrix(const CScanAttrib& attrib, void (CScanAttrib::*get)(ScanMatrix&) const) {
    ScanMatrix matrix;
    (attrib.*get)(matrix);
    for (const double value : matrix.m_values)
        Require(value >= -5 && value <= 5);
}

template <class Row>
void TakeList(const CScanAttrib& attrib, void (CScanAttrib::*get)(std::uint32_t&, Row*&) const) {
    std::uint32_t count = 0;
    Row* rows = nullptr;
    (attrib.*get)(count, rows);
    Require(count <= 1000 && (count == 0) == (rows == nullptr));
    CoTaskMemFree(rows);
}

void LoadTables(const std::string& text) {
    constexpr const char* kSensors[] = {"", "Sony", "NEC", "Toshiba"};
    const CScannerProfile profile{std::string_view(text)};
    const CScanAttrib attrib(profile, kSensors[text.size() % 4]);
    CheckMatrix(attrib, &CScanAttrib::getSlideMatrix);
    CheckMatrix(attrib, &CScanAttrib::getFlatbedMatrix);
    CheckMatrix(attrib, &CScanAttrib::getFlatbedMaxPixMatrix);
    TakeList(attrib, &CScanAttrib::getExclusionAreas);
    TakeList(attrib, &CScanAttrib::getJpegTable24);
    CoeffRecord coeffs;
    attrib.getFlatbedCoeffs(coeffs);
    Require(coeffs.m_valid == 1 && coeffs.m_gamma[2] >= 0 && coeffs.m_gamma[2] <= 1000);
    DarkValuesRecord dark;
    attrib.getDarkValues(dark);
    Require(dark.m_adf.m_matrixBreakPoint >= 0 && dark.m_adf.m_matrixBreakPoint <= 1000);
    CheckProfileText(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ReadText(data, size, 1 + size % 64);
    LoadTables(ReadText(data, size, kProfileTextSize));
    const std::string text(reinterpret_cast<const char*>(data), size);
    LoadTables(text);
    if (size < kProfileTextSize) {
        const auto packed = PackProfile(text);
        Require(ReadText(packed.data(), packed.size(), kProfileTextSize) == text);
    }
    return 0;
}
