#include "platform/format.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/internal/utf.h"

namespace {

// The published limit of the output, with its zero.
constexpr std::size_t kMaxBytes = 1024;
constexpr std::size_t kNoPrecision = static_cast<std::size_t>(-1);
constexpr std::size_t kPointerDigits = 16;  // 64 bits

enum class Prefix { None, Short, Long, Wide, Int64 };

// What stands between a percent sign and its type letter, that one included.
struct Field {
    bool left = false;
    bool alternate = false;
    bool zeros = false;
    std::size_t width = 0;
    std::size_t precision = kNoPrecision;
    Prefix prefix = Prefix::None;
    char type = 0;
};

// The output buffer; what doesn't fit is dropped. Callers hand it over without a size, and rely on
// the limit.
class Output {
  public:
    explicit Output(LPSTR buffer) : m_buffer(buffer) {}

    void Add(std::string_view text) {
        const std::size_t fits = std::min(text.size(), kMaxBytes - 1 - m_size);
        std::memcpy(m_buffer + m_size, text.data(), fits);
        m_size += fits;
    }
    void Fill(std::size_t count, char c) {
        const std::size_t fits = std::min(count, kMaxBytes - 1 - m_size);
        std::memset(m_buffer + m_size, c, fits);
        m_size += fits;
    }
    // All of a character's bytes or none.
    void AddWhole(std::string_view bytes) {
        if (bytes.size() <= kMaxBytes - 1 - m_size)
            Add(bytes);
    }
    int Finish() {
        m_buffer[m_size] = 0;
        return static_cast<int>(m_size);
    }

  private:
    LPSTR m_buffer;
    std::size_t m_size = 0;
};

// Takes a decimal number off the front; larger ones than any output needs are held down.
std::size_t ReadNumber(const char*& text) {
    std::size_t number = 0;
    for (; *text >= '0' && *text <= '9'; ++text)
        number = std::min(number * 10 + static_cast<std::size_t>(*text - '0'), kMaxBytes);
    return number;
}

// Reads what follows a percent sign, up to its type letter; type 0 at the end of the format.
Field ReadField(const char*& text) {
    Field field;
    for (; *text == '-' || *text == '#' || *text == '0'; ++text) {
        field.left |= *text == '-';
        field.alternate |= *text == '#';
        field.zeros |= *text == '0';
    }
    field.width = ReadNumber(text);
    if (*text == '.')
        field.precision = ReadNumber(++text);
    if (*text == 'h' || *text == 'l' || *text == 'w') {
        field.prefix = *text == 'h' ? Prefix::Short : *text == 'l' ? Prefix::Long : Prefix::Wide;
        ++text;
    } else if (std::strncmp(text, "I64", 3) == 0) {
        field.prefix = Prefix::Int64;
        text += 3;
    }
    field.type = *text;
    if (field.type)
        ++text;
    return field;
}

// The prefix decides; without one the upper-case letters are the wide ones, in this narrow
// formatter.
bool IsWide(const Field& field) {
    if (field.prefix == Prefix::Long || field.prefix == Prefix::Wide)
        return true;
    return field.prefix != Prefix::Short && (field.type == 'C' || field.type == 'S');
}

// One call's arguments, taken in order.
class Arguments {
  public:
    explicit Arguments(va_list arguments) { va_copy(m_list, arguments); }
    ~Arguments() { va_end(m_list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    // The C language promotes a short argument to int: it is narrowed here again.
    std::int64_t Signed(Prefix prefix) {
        if (prefix == Prefix::Int64)
            return va_arg(m_list, std::int64_t);
        const int value = va_arg(m_list, int);
        return prefix == Prefix::Short ? static_cast<SHORT>(value) : value;
    }
    std::uint64_t Unsigned(Prefix prefix) {
        if (prefix == Prefix::Int64)
            return va_arg(m_list, std::uint64_t);
        const unsigned value = va_arg(m_list, unsigned);
        return prefix == Prefix::Short ? static_cast<USHORT>(value) : value;
    }
    int Character() { return va_arg(m_list, int); }
    template <class T>
    T Pointer() {
        return va_arg(m_list, T);
    }

  private:
    va_list m_list;
};

// Width counts the sign, precision doesn't. A precision switches the filling with zeros off, and
// the left side does too.
void PrintNumber(Output& out, Field field, std::string_view sign, std::uint64_t magnitude) {
    const bool hexadecimal = field.type != 'd' && field.type != 'i' && field.type != 'u';
    // 20 digits are the most, of a 64-bit number in decimal.
    char text[24];
    char* end = std::to_chars(text, text + sizeof(text), magnitude, hexadecimal ? 16 : 10).ptr;
    if (field.type == 'X' || field.type == 'p')
        std::transform(text, end, text,
                       [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; });
    const std::string_view digits(text, static_cast<std::size_t>(end - text));

    // From here on: blanks, sign, zeros, digits; blanks again on the left side.
    std::size_t count = digits.size();
    if (field.precision != kNoPrecision)
        count = std::max(count, field.precision);
    else if (field.zeros && !field.left && field.width > sign.size())
        count = std::max(count, field.width - sign.size());
    const std::size_t used = sign.size() + count;
    const std::size_t blanks = field.width > used ? field.width - used : 0;
    if (!field.left)
        out.Fill(blanks, ' ');
    out.Add(sign);
    out.Fill(count - digits.size(), '0');
    out.Add(digits);
    if (field.left)
        out.Fill(blanks, ' ');
}

void PrintText(Output& out, const Field& field, std::string_view text) {
    const std::size_t blanks = field.width > text.size() ? field.width - text.size() : 0;
    if (!field.left)
        out.Fill(blanks, field.zeros ? '0' : ' ');
    out.Add(text);
    if (field.left)
        out.Fill(blanks, ' ');
}

// The width counts units of the wide text, not the bytes that it becomes. Half a surrogate pair
// comes out as the replacement character.
void PrintWideText(Output& out, const Field& field, std::u16string_view text) {
    const std::size_t blanks = field.width > text.size() ? field.width - text.size() : 0;
    if (!field.left)
        out.Fill(blanks, field.zeros ? '0' : ' ');
    while (!text.empty())
        out.AddWhole(platform::Utf8FromCodePoint(platform::NextCodePoint(text)));
    if (field.left)
        out.Fill(blanks, ' ');
}

void PrintString(Output& out, const Field& field, Arguments& arguments) {
    // A precision may stand for the zero that a text lacks, so nothing behind it is looked at.
    const std::size_t most = std::min(field.precision, kMaxBytes);
    if (IsWide(field)) {
        const auto* text = arguments.Pointer<const WCHAR*>();
        std::size_t size = 0;
        while (text && size < most && text[size])
            ++size;
        PrintWideText(out, field, text ? std::u16string_view(text, size) : u"(null)");
    } else {
        const auto* text = arguments.Pointer<const char*>();
        const std::size_t size = text ? strnlen(text, most) : 0;
        PrintText(out, field, text ? std::string_view(text, size) : "(null)");
    }
}

void PrintCharacter(Output& out, const Field& field, int character) {
    // Promoted to int by the call. A zero would end the output early.
    const auto unit = static_cast<char16_t>(character);
    const auto byte = static_cast<char>(character);
    if (IsWide(field) && unit != 0)
        PrintWideText(out, field, {&unit, 1});
    else if (!IsWide(field) && byte != 0)
        PrintText(out, field, {&byte, 1});
}

void PrintField(Output& out, Field field, Arguments& arguments) {
    switch (field.type) {
        case 'd':
        case 'i': {
            const std::int64_t value = arguments.Signed(field.prefix);
            // The least number has no positive counterpart: the magnitude is taken without a sign.
            const auto bits = static_cast<std::uint64_t>(value);
            PrintNumber(out, field, value < 0 ? "-" : "", value < 0 ? 0 - bits : bits);
            break;
        }
        case 'u':
            PrintNumber(out, field, "", arguments.Unsigned(field.prefix));
            break;
        case 'x':
        case 'X': {
            const char* sign = !field.alternate ? "" : field.type == 'x' ? "0x" : "0X";
            PrintNumber(out, field, sign, arguments.Unsigned(field.prefix));
            break;
        }
        case 'p':
            field.precision = kPointerDigits;
            PrintNumber(out, field, "", reinterpret_cast<ULONG_PTR>(arguments.Pointer<void*>()));
            break;
        case 'c':
        case 'C':
            PrintCharacter(out, field, arguments.Character());
            break;
        case 's':
        case 'S':
            PrintString(out, field, arguments);
            break;
        default:
            out.Add({&field.type, 1});
    }
}

}  // namespace

int wvsprintfA(LPSTR buffer, LPCSTR format, va_list list) {
    Output out(buffer);
    Arguments arguments(list);
    // Plain text up to the next percent sign, then a field.
    while (*format) {
        const std::size_t plain = std::strcspn(format, "%");
        out.Add({format, plain});
        format += plain;
        if (*format == 0)
            break;
        const Field field = ReadField(++format);
        if (field.type)
            PrintField(out, field, arguments);
    }
    return out.Finish();
}

int wsprintfA(LPSTR out, LPCSTR format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int size = wvsprintfA(out, format, arguments);
    va_end(arguments);
    return size;
}
