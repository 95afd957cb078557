#include "profile/scanner_profile.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>
#include <string>
#include <utility>

#include "platform/files.h"
#include "platform/known_folders.h"
#include "platform/registry_key.h"
#include "platform/resources.h"
#include "platform/told_lines.h"
#include "profile/builtin_profile.h"
#include "profile/profile_lines.h"

namespace {

// Where the machine's folders stand; the first value is that of 32-bit programs.
constexpr char kSystemKey[] = "Software\\Microsoft\\Windows\\CurrentVersion";
constexpr const char* kCommonFolderValues[] = {"CommonFilesDir (x86)", "CommonFilesDir"};
// For who tries a profile out: a folder that goes ahead of all others.
constexpr char kOwnFolderVariable[] = "NVQ_PROFILE_DIR";
constexpr char kExtension[] = ".spf";
constexpr std::size_t kPathSize = 1024;
// To take a token, for one table; a line that has none left costs one too. A text that fits the
// buffer ends before; others may be looked through as well.
constexpr int kMaxAttempts = 10000;

// The name comes from the device: it must not lead out of a folder.
bool IsFileName(const char* name) {
    return *name && !std::strpbrk(name, "/\\");
}

// Joins folders and name with '/', and puts the extension behind. False if that is too long.
// Nothing is allocated: a driver that starts may run out of memory.
bool MakePath(char (&path)[kPathSize], std::initializer_list<const char*> parts) {
    std::size_t length = 0;
    const auto append = [&](const char* text) {
        const std::size_t size = std::strlen(text);
        if (size >= kPathSize - length)
            return false;
        std::memcpy(path + length, text, size + 1);
        length += size;
        return true;
    };
    for (const char* part : parts) {
        if (!part || (length != 0 && !append("/")) || !append(part))
            return false;
    }
    return append(kExtension);
}

// The folder of files that the programs of this machine share, else that of the user's data.
bool FindCommonFolder(char (&folder)[kPathSize]) {
    bool isFound = false;
    CRegistryKey key;
    if (key.Open(HKEY_LOCAL_MACHINE, kSystemKey) == ERROR_SUCCESS) {
        for (const char* name : kCommonFolderValues)
            isFound = isFound || (ReadText(key.Get(), name, folder) && *folder);
    }
    static_assert(kPathSize >= MAX_PATH);
    return isFound || (SHGetFolderPathA(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, folder) == S_OK);
}

// Is `token` the key, or the key with its suffix?
bool IsWantedToken(std::string_view token, std::string_view key, std::string_view suffix) {
    if (token.substr(0, key.size()) != key)
        return false;
    token.remove_prefix(key.size());
    if (suffix.empty())
        return token.empty();
    return !token.empty() && token[0] == '_' && token.substr(1) == suffix;
}

// Leaves `lines` at the key's line, behind the key.
// The first table of a name counts.
bool FindKey(CProfileLines& lines, const char* key, const char* suffix) {
    while (lines.NextLine()) {
        if (lines.IsComment())
            continue;
        const std::string_view token = lines.NextToken();
        if (!token.empty() && IsWantedToken(token, key, suffix))
            return true;
    }
    return false;
}

}  // namespace

CScannerProfile::CScannerProfile(const char* profileName, const char* deviceText,
                                 std::uint32_t deviceLength, const ProfileFolders& folders)
    : m_pText(MakeBuffer()), m_pLog(new (std::nothrow) CLog) {
    if (m_pLog)
        m_pLog->Write(kLogCalls, "CScannerProfile::CScannerProfile Constructor entry");
    // A length without a text, or a text without a length, is no device text.
    const char* name = profileName ? profileName : "";
    // Sources are found in the order of the log, and merged in that of their rank below.
    TextBuffer device =
        deviceText && deviceLength != 0 ? CopyText(deviceText, deviceLength) : nullptr;
    TextBuffer file = ReadFileSource(name, folders);
    TextBuffer resource = ReadResource(name);
    if (m_pLog)
        m_pLog->Format(kLogInformation,
                       "CScannerProfile::CScannerProfile bResSPF %d bFileSPF %d bHWSPF %d",
                       resource != nullptr, file != nullptr, device != nullptr);
    Merge(std::move(resource), "CScannerProfile::CScannerProfile bResSPF memcpy");
    Merge(std::move(file), "CScannerProfile::CScannerProfile bFileSPF memcpy");
    Merge(std::move(device), "CScannerProfile::CScannerProfile bHWSPF memcpy");
}

CScannerProfile::CScannerProfile(std::string_view text)
    : m_pText(CopyText(text.data(), text.size())) {
    if (!m_pText)
        m_pText = MakeBuffer();
}

CScannerProfile::~CScannerProfile() = default;

CScannerProfile::TextBuffer CScannerProfile::MakeBuffer() {
    return TextBuffer(new (std::nothrow) char[kProfileTextSize]());
}

// The buffer is cleared, so that a zero stands behind every text that is shorter.
CScannerProfile::TextBuffer CScannerProfile::CopyText(const char* text, std::size_t length) {
    TextBuffer copy = length < kProfileTextSize ? MakeBuffer() : nullptr;
    if (copy && length != 0)
        std::memcpy(copy.get(), text, length);
    return copy;
}

void CScannerProfile::Log(const char* line) const {
    if (m_pLog)
        m_pLog->Write(kLogInformation, line);
}

// A text that was cut to the buffer would lose tables without a word: it isn't used at all.
CScannerProfile::TextBuffer CScannerProfile::Checked(TextBuffer text,
                                                     const ProfileHeader& header) const {
    if (header.m_textLength < kProfileTextSize)
        return text;
    if (m_pLog)
        m_pLog->Format(kLogInformation, "CScannerProfile::CScannerProfile %u bytes of text refused",
                       header.m_textLength);
    return nullptr;
}

CScannerProfile::TextBuffer CScannerProfile::ReadFileSource(const char* profileName,
                                                            const ProfileFolders& folders) const {
    if (!IsFileName(profileName))
        return nullptr;
    char path[kPathSize];
    const char* own = std::getenv(kOwnFolderVariable);
    if (own && *own && MakePath(path, {own, profileName})) {
        TextBuffer text = ReadProfileAt(path);
        if (text)
            return text;
    }
    char common[kPathSize];
    if (FindCommonFolder(common) &&
        MakePath(path, {common, folders.m_vendor, folders.m_family, profileName}))
        return ReadProfileAt(path);
    return nullptr;
}

// A container that is damaged counts with what was decoded: its status isn't asked.
CScannerProfile::TextBuffer CScannerProfile::ReadProfileAt(const char* path) const {
    if (m_pLog)
        m_pLog->Format(kLogInformation, "CScannerProfile::CScannerProfile szCommonFilesPath %s",
                       path);
    const HANDLE file = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        const bool isThere = error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
        Log(isThere ? "CScannerProfile::CScannerProfile !fScanProf"
                    : "CScannerProfile::CScannerProfile !PathFileExists");
        if (isThere)
            Warn(path, "can't be read; the built-in profile is used");
        return nullptr;
    }
    TextBuffer text = MakeBuffer();
    if (!text) {
        CloseHandle(file);
        return nullptr;
    }
    ProfileTree tree;
    ProfileHeader header;
    const ProfileStatus status = ReadProfileFile(tree, file, text.get(), kProfileTextSize, &header);
    if (header.m_textLength >= kProfileTextSize)
        Warn(path, "has more than 9999 bytes of text; the built-in profile is used");
    else if (status == ProfileStatus::NoMagic)
        Warn(path, "is no packed profile; plain values are used in place of its tables");
    else if (status != ProfileStatus::Whole)
        Warn(path,
             "is damaged; the tables ahead of the fault are used, and plain values for others");
    return Checked(std::move(text), header);
}

void CScannerProfile::Warn(const char* path, const char* what) {
    try {
        TellWarning("the scanner's profile " + std::string(path) + ' ' + what +
                    "; nvqscan profile check tells more");
    } catch (const std::exception&) {
        // Without memory there are other worries.
    }
}

// The module may carry profiles by name for single models; all others share the numbered one.
CScannerProfile::TextBuffer CScannerProfile::ReadResource(const char* profileName) const {
    const HMODULE module = ProfileModule();
    if (!module)
        return nullptr;
    Log("CScannerProfile::CScannerProfile  hMod Exists");
    HRSRC resource = FindResourceA(module, profileName, RT_RCDATA);
    if (SizeofResource(module, resource) == 0)
        resource = FindResourceA(module, MAKEINTRESOURCEA(kBuiltinProfileNumber), RT_RCDATA);
    const DWORD bytes = SizeofResource(module, resource);
    const void* data = LockResource(LoadResource(module, resource));
    if (bytes == 0 || !data)
        return nullptr;
    if (m_pLog)
        m_pLog->Format(kLogInformation, "CScannerProfile::CScannerProfile GotResSPF dwBytes %d",
                       bytes);
    TextBuffer text = MakeBuffer();
    if (!text)
        return nullptr;
    ProfileTree tree;
    ProfileHeader header;
    CMemoryProfileStream stream(data, bytes);
    ReadProfileStream(tree, stream, text.get(), kProfileTextSize, &header);
    return Checked(std::move(text), header);
}

// Only the sign of a version counts. A newer version in a source of lower rank doesn't win over
// what the device says of itself.
void CScannerProfile::Merge(TextBuffer source, const char* line) {
    double version = 0;
    if (!source || (getTableIn("VERSION", "", &version, 1, source.get()) && version < 0))
        return;
    Log(line);
    m_pText = std::move(source);
}

bool CScannerProfile::getTable(const char* key, const char* suffix, double* values,
                               std::uint16_t count, ProfileLookup* lookup) const {
    return getTableIn(key, suffix, values, count, m_pText.get(), lookup);
}

bool CScannerProfile::getTableIn(const char* key, const char* suffix, double* values,
                                 std::uint16_t count, const char* text, ProfileLookup* lookup) {
    ProfileLookup own;
    if (!lookup)
        lookup = &own;
    *lookup = {};
    if (!text || !key || !suffix)
        return false;
    CProfileLines lines(text);
    if (!FindKey(lines, key, suffix))
        return false;
    lookup->m_found = true;
    lookup->m_keyLine = lines.Number();
    // Without values to read the key alone is enough, also on the last line.
    bool isRead = lines.NextLine() || count == 0;
    for (int attempt = 0; isRead && lookup->m_read < count && attempt < kMaxAttempts; ++attempt) {
        const std::string_view token = lines.NextToken();
        if (token.empty()) {
            isRead = lines.NextLine();
            continue;
        }
        values[lookup->m_read++] = ParseProfileNumber(token);
        lookup->m_lastLine = lines.Number();
    }
    return isRead && lookup->m_read == count;
}
