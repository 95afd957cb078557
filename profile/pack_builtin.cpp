// Packs a profile's text at build time and writes it as a source with the bytes of the container.

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>

#include "profile/profile_container.h"
#include "profile/profile_writer.h"

namespace {

// Numbers and not a text: the container has zeros and bytes above 127 in it.
bool WriteSource(const std::string& text, const char* name) {
    std::ofstream out(name);
    out << "// Made by the build from the built-in profile's text.\n"
           "#include \"profile/builtin_profile.h\"\n\n"
           "const unsigned char kBuiltinProfile[] = {";
    int column = 0;
    const auto container = PackProfile(text);
    for (const unsigned byte : container)
        out << (column++ % 20 == 0 ? "\n    " : " ") << byte << ',';
    out << "\n};\nconst DWORD kBuiltinProfileBytes = " << container.size() << ";\n";
    out.close();
    return out.good();
}

int Run(const char* textName, const char* sourceName) {
    std::ifstream in(textName, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    // What readers would refuse stops the build.
    if (text.empty() || text.size() >= kProfileTextSize) {
        std::fprintf(stderr, "%s: %zu bytes of text, there must be 1 to %u\n", textName,
                     text.size(), kProfileTextSize - 1);
        return 1;
    }
    if (WriteSource(text, sourceName))
        return 0;
    std::fprintf(stderr, "%s: can't be written\n", sourceName);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "pack_builtin TEXT SOURCE\n");
        return 2;
    }
    try {
        return Run(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pack_builtin: %s\n", error.what());
        return 1;
    }
}
