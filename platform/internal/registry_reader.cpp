#include <charconv>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/internal/registry_text.h"
#include "platform/internal/utf.h"

namespace platform {
namespace {

constexpr std::string_view kTitle = "Windows Registry Editor Version 5.00";
constexpr std::string_view kRootPrefix = "HKEY_";
// The marks of byte order that editors put in front.
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";

bool TakeFront(std::string_view& text, std::string_view front) {
    if (!text.starts_with(front))
        return false;
    text.remove_prefix(front.size());
    return true;
}

// A half unit at the end is left out; callers check for one.
std::u16string Utf16FromLowHigh(std::string_view bytes) {
    std::u16string utf16;
    utf16.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        utf16 += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                       static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return utf16;
}

// The file's text as UTF-8; nothing if it is in another encoding. Such a file is refused as a
// whole: a line of it, written back, would be another.
std::optional<std::string> DecodeFile(std::string_view bytes) {
    if (!TakeFront(bytes, kUtf16Mark)) {
        TakeFront(bytes, kUtf8Mark);
        if (!IsUtf8(bytes))
            return {};
        return std::string(bytes);
    }
    const std::u16string utf16 = Utf16FromLowHigh(bytes);
    if (bytes.size() % 2 != 0 || !IsUtf16(utf16))
        return {};
    return BytesFromUtf16(utf16);
}

// All of the text is one hexadecimal number of at most `digits` digits.
bool ReadHex(std::string_view text, std::size_t digits, DWORD& number) {
    if (text.empty() || text.size() > digits)
        return false;
    // from_chars takes neither a sign nor a 0x in front, as is wanted.
    const char* end = text.data() + text.size();
    return std::from_chars(text.data(), end, number, 16).ptr == end;
}

// Takes `"text"` off the front, and undoes its escapes.
bool TakeQuoted(std::string_view& line, std::string& text) {
    if (!TakeFront(line, "\""))
        return false;
    // A text that the line ends within is wrong: it has no line breaks.
    while (!line.empty()) {
        char c = line.front();
        line.remove_prefix(1);
        if (c == '"')
            return true;
        // Two escapes and no others, so that whatever is read is written back the same.
        if (c == '\\') {
            if (line.empty() || (line.front() != '\\' && line.front() != '"'))
                return false;
            c = line.front();
            line.remove_prefix(1);
        }
        text += c;
    }
    return false;
}

// Bytes between commas.
bool ReadBytes(std::string_view list, std::string& bytes) {
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        DWORD byte = 0;
        if (!ReadHex(Trimmed(list.substr(0, comma)), 2, byte))
            return false;
        bytes += static_cast<char>(byte);
        if (comma == std::string_view::npos)
            return true;
        list.remove_prefix(comma + 1);
        // A comma promises another byte.
        if (list.empty())
            return false;
    }
    return true;
}

class RegistryReader {
  public:
    RegistryReader(std::string_view text, RegistryKey& tree) : m_rest(text), m_tree(tree) {}

    // False at the first line that is wrong.
    bool Read();
    std::size_t Line() const { return m_line; }

  private:
    std::string_view TakeLine();
    bool ReadLine(std::string_view line);
    bool ReadKey(std::string_view line);
    bool ReadValue(std::string_view line);
    bool ReadData(std::string_view text, RegistryValue& value);
    bool ReadHexData(std::string_view text, RegistryValue& value);

    std::string_view m_rest;
    std::size_t m_line = 0;
    RegistryKey& m_tree;
    RegistryKey* m_key = nullptr;  // that the values go to
    std::string m_comment;
};

std::string_view RegistryReader::TakeLine() {
    ++m_line;
    return Trimmed(NextLine(m_rest));
}

bool RegistryReader::Read() {
    // Older titles mean another format, whose texts aren't UTF-8.
    if (TakeLine() != kTitle)
        return false;
    while (!m_rest.empty()) {
        if (!ReadLine(TakeLine()))
            return false;
    }
    m_tree.comment = m_comment;
    return true;
}

bool RegistryReader::ReadLine(std::string_view line) {
    if (line.empty())
        return true;
    // Kept for what comes next; behind the last key it belongs to the file.
    if (line.front() == ';') {
        m_comment.append(line).push_back('\n');
        return true;
    }
    return line.front() == '[' ? ReadKey(line) : ReadValue(line);
}

bool RegistryReader::ReadKey(std::string_view line) {
    if (line.size() < 2 || line.back() != ']')
        return false;
    std::string_view name = line.substr(1, line.size() - 2);
    // As exported files do that take something back.
    const bool deletes = TakeFront(name, "-");
    if (CompareNames(name.substr(0, kRootPrefix.size()), kRootPrefix) != 0)
        return false;
    RegistryPath path;
    // At least one level, the root's name; an empty one is wrong.
    for (bool more = true; more;) {
        const std::size_t end = name.find('\\');
        const std::string_view level = name.substr(0, end);
        if (!IsKeyName(level) || path.size() > kMaxKeyLevels)
            return false;
        path.emplace_back(level);
        more = end != std::string_view::npos;
        name.remove_prefix(more ? end + 1 : name.size());
    }
    if (deletes) {
        // Values that would follow have no key to go to, which is told at their line.
        const std::span above(path.data(), path.size() - 1);
        if (RegistryKey* parent = FindKey(m_tree, above))
            parent->subkeys.Erase(path.back());
        m_key = nullptr;
    } else {
        m_key = &MakeKey(m_tree, path);
        m_key->comment += std::exchange(m_comment, {});
    }
    return true;
}

bool RegistryReader::ReadValue(std::string_view line) {
    std::string name;
    // The default value has no name, and '@' stands for it.
    if (!m_key || !(TakeFront(line, "@") || TakeQuoted(line, name)) || !IsValueName(name))
        return false;
    line = Trimmed(line);
    if (!TakeFront(line, "="))
        return false;
    line = Trimmed(line);
    // A value that isn't there is as good as deleted.
    if (line == "-") {
        m_key->values.Erase(name);
        return true;
    }
    // Read in full before it replaces a value of the same name.
    RegistryValue read;
    if (!ReadData(line, read))
        return false;
    TerminateText(read.type, read.data);
    if (read.data.size() > kMaxValueData)
        return false;
    RegistryValue& value = m_key->values.FindOrAdd(name);
    value.type = read.type;
    value.data = std::move(read.data);
    value.comment += std::exchange(m_comment, {});
    return true;
}

bool RegistryReader::ReadData(std::string_view text, RegistryValue& value) {
    if (text.starts_with('"')) {
        value.type = REG_SZ;
        return TakeQuoted(text, value.data) && text.empty();
    }
    if (TakeFront(text, "dword:")) {
        DWORD number = 0;
        if (!ReadHex(text, 8, number))
            return false;
        value.type = REG_DWORD;
        // As the memory of a machine has it that stores low bytes first, and as callers get it.
        value.data.assign(reinterpret_cast<const char*>(&number), sizeof(number));
        return true;
    }
    if (!TakeFront(text, "hex"))
        return false;
    // A type in parentheses makes it one of any other kind.
    value.type = REG_BINARY;
    if (TakeFront(text, "(")) {
        const std::size_t end = text.find(')');
        if (!ReadHex(text.substr(0, end), 8, value.type) || end == std::string_view::npos)
            return false;
        text.remove_prefix(end + 1);
    }
    return TakeFront(text, ":") && ReadHexData(text, value);
}

// A backslash at the end of a line leads on to the next.
bool RegistryReader::ReadHexData(std::string_view text, RegistryValue& value) {
    std::string list;
    while (text.ends_with('\\') && !m_rest.empty()) {
        text.remove_suffix(1);
        list += Trimmed(text);
        text = TakeLine();
    }
    list += text;
    if (!ReadBytes(list, value.data))
        return false;
    if (!IsTextType(value.type))
        return true;
    // Texts stand as UTF-16 there, and as UTF-8 in memory.
    const bool whole = value.data.size() % 2 == 0;
    value.data = BytesFromUtf16(Utf16FromLowHigh(value.data));
    return whole;
}

}  // namespace

std::size_t ParseRegistry(std::string_view bytes, RegistryKey& tree) {
    // Touching a file is a way of making it.
    if (bytes.empty())
        return 0;
    const std::optional<std::string> text = DecodeFile(bytes);
    if (!text)
        return 1;
    RegistryReader reader(*text, tree);
    return reader.Read() ? 0 : reader.Line();
}

}  // namespace platform
