#include "tools/process/bench_source.h"

#include <memory>
#include <vector>

#include "pictures/bitmap_layout.h"
#include "pictures/picture_reader.h"
#include "pictures/picture_writer.h"
#include "platform/files.h"
#include "platform/registry.h"

namespace {

// Below HKEY_CURRENT_USER, with the values "ScanFromFile" (number) and "ScanFilePath" (text).
constexpr char kBenchKey[] = "Software\\Norvane\\Varnook";
constexpr std::size_t kLongestPath = 259;  // what the engine's reader takes, without the zero

// Empty when none can be made.
std::string TemporaryFile() {
    char folder[MAX_PATH + 1];
    char name[MAX_PATH + 1];
    const DWORD length = GetTempPathA(sizeof(folder), folder);
    if (length == 0 || length >= sizeof(folder) || GetTempFileNameA(folder, "nvq", 0, name) == 0)
        return {};
    return name;
}

// The form that the engine's own reader takes.
BITMAPINFOHEADER PlainHeader(const CPictureInfo& picture) {
    BITMAPINFOHEADER info = MakeInfoHeader(picture.m_width, picture.m_height, 24);
    info.biXPelsPerMeter = picture.m_xPelsPerMeter;
    info.biYPelsPerMeter = picture.m_yPelsPerMeter;
    return info;
}

}  // namespace

CBenchSource::~CBenchSource() {
    RegClearProcessValues();
    if (!m_temporary.empty())
        DeleteFileA(m_temporary.c_str());
}

// Line by line: pictures may be larger than memory.
bool CBenchSource::CopyToTemporary(CPictureReader& reader, const std::function<bool()>& stopped,
                                   std::string* error) {
    m_temporary = TemporaryFile();
    if (m_temporary.empty()) {
        *error = "needs a temporary file, and none can be made";
        return false;
    }
    const CPictureInfo& picture = reader.Info();
    const std::unique_ptr<CPictureWriter> writer = CreateBitmapWriter(m_temporary);
    bool ok = writer->Begin(PlainHeader(picture), {});
    std::vector<std::uint8_t> row(static_cast<std::size_t>(BitmapStride(picture.m_width, 24)));
    for (std::int32_t line = 0; ok && line < picture.m_height; ++line) {
        if (stopped())
            return true;
        if (!reader.ReadLines(row.data(), 1)) {
            *error = reader.Error();
            return false;
        }
        ok = writer->Write(row.data(), row.size());
    }
    if (!ok || !writer->Finish()) {
        *error = "can't be copied: the temporary file " + m_temporary + " " + writer->Error();
        return false;
    }
    return true;
}

bool CBenchSource::Select(const std::string& path, CPictureReader& reader,
                          const std::function<bool()>& stopped, std::string* error) {
    if (reader.Info().m_bitsPerPixel != 24) {
        *error = "is a gray picture of 8 bits a pixel; --from-file reads colour ones of 24 bits";
        return false;
    }
    std::string source = path;
    if (!reader.Info().m_isPlainBitmap || path.size() > kLongestPath) {
        if (!CopyToTemporary(reader, stopped, error))
            return false;
        source = m_temporary;
    }
    // Values of this process alone go ahead of those in the registry's file.
    const DWORD enabled = 1;
    RegSetProcessValue(HKEY_CURRENT_USER, kBenchKey, "ScanFromFile", REG_DWORD, &enabled,
                       sizeof(enabled));
    RegSetProcessValue(HKEY_CURRENT_USER, kBenchKey, "ScanFilePath", REG_SZ, source.c_str(),
                       static_cast<DWORD>(source.size() + 1));
    return true;
}
