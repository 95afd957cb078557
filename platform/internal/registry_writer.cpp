#include <cstdio>
#include <cstring>

#include "platform/internal/registry_text.h"
#include "platform/internal/utf.h"

namespace platform {
namespace {

constexpr std::size_t kLineWidth = 77;  // behind which a list of bytes goes on in the next line

// With the two escapes that the reader undoes.
void AppendQuoted(std::string& out, std::string_view text) {
    out += '"';
    for (const char c : text) {
        if (c == '\\' || c == '"')
            out += '\\';
        out += c;
    }
    out += '"';
}

// A text that may stand between quotation marks: one zero, behind it, and nothing that an editor
// might change or not show.
bool IsQuotable(const RegistryValue& value) {
    if (value.type != REG_SZ || value.data.empty() || value.data.back() != 0)
        return false;
    const std::string_view text(value.data.data(), value.data.size() - 1);
    return !HasControls(text) && IsUtf8(text);
}

// Byte order is part of the format, whatever the machine's.
std::string LowHighFromUtf16(std::u16string_view utf16) {
    std::string bytes;
    bytes.reserve(utf16.size() * 2);
    for (const char16_t unit : utf16) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

void AppendBytes(std::string& out, std::string_view bytes) {
    std::size_t lineStart = out.rfind('\n') + 1;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned char>(bytes[i]));
        out += digits;
        // No comma behind the last.
        if (i + 1 == bytes.size())
            break;
        out += ',';
        if (out.size() - lineStart >= kLineWidth) {
            out += "\\\n";
            // Two blanks in front, as exported files have them.
            lineStart = out.size();
            out += "  ";
        }
    }
}

void AppendData(std::string& out, const RegistryValue& value) {
    // "hex(ffffffff):" has as many characters.
    char head[sizeof("dword:00000000")];
    if (IsQuotable(value)) {
        AppendQuoted(out, {value.data.data(), value.data.size() - 1});
    } else if (DWORD number = 0; value.type == REG_DWORD && value.data.size() == sizeof(number)) {
        std::memcpy(&number, value.data.data(), sizeof(number));
        std::snprintf(head, sizeof(head), "dword:%08x", number);
        out += head;
    } else {
        // Among them numbers of another size than theirs.
        std::snprintf(head, sizeof(head),
                      value.type == REG_BINARY ? "hex:" : "hex(%x):", value.type);
        out += head;
        AppendBytes(out, IsTextType(value.type) ? LowHighFromUtf16(Utf16FromBytes(value.data))
                                                : value.data);
    }
}

// A key that only leads to others needs no lines of its own. Depth first, in the order of making,
// so that a small change makes a small difference in the text.
void AppendKey(std::string& out, const std::string& path, const RegistryKey& key) {
    if (!key.values.Empty() || key.subkeys.Empty() || !key.comment.empty()) {
        out += '\n' + key.comment + '[' + path + "]\n";
        for (const RegistryValue& value : key.values) {
            out += value.comment;
            if (value.name.empty())
                out += '@';
            else
                AppendQuoted(out, value.name);
            out += '=';
            AppendData(out, value);
            out += '\n';
        }
    }
    for (const RegistryKey& subkey : key.subkeys)
        AppendKey(out, path + '\\' + subkey.name, subkey);
}

}  // namespace

std::string RegistryText(const RegistryKey& tree) {
    std::string out = "Windows Registry Editor Version 5.00\n";
    for (const RegistryKey& root : tree.subkeys) {
        // One that holds nothing is there without its line too.
        if (!root.subkeys.Empty() || !root.values.Empty() || !root.comment.empty())
            AppendKey(out, root.name, root);
    }
    if (!tree.comment.empty())
        out += '\n' + tree.comment;
    return out;
}

}  // namespace platform
