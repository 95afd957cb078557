// Packs the models' files into a source at build time.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

// As a literal for each line: compilers limit how long one may be.
void WriteLiteral(std::ofstream& out, const std::string& text) {
    out << "\n     \"";
    for (const char c : text) {
        if (c == '\n')
            out << "\\n\"\n     \"";
        else if (c == '"' || c == '\\')
            out << '\\' << c;
        else
            out << c;
    }
    out << "\"},\n";
}

// An empty file is a mistake of the build: no model is empty.
int Run(int count, char** names) {
    std::ofstream out(names[0]);
    out << "// Made by the build from the models' files.\n"
           "#include \"simulator/model_store.h\"\n\n"
           "const CEmbeddedFile kEmbeddedModels[] = {\n";
    for (int i = 1; i < count; ++i) {
        std::ifstream in(names[i], std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        if (text.empty()) {
            std::fprintf(stderr, "%s: is empty or can't be read\n", names[i]);
            return 1;
        }
        out << "    {\"" << std::filesystem::path(names[i]).filename().string() << "\",";
        WriteLiteral(out, text);
    }
    out << "};\nconst std::size_t kEmbeddedModelCount = " << count - 1 << ";\n";
    out.close();
    return out.good() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "embed_models SOURCE FILE...\n");
        return 2;
    }
    try {
        return Run(argc - 1, argv + 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "embed_models: %s\n", error.what());
        return 1;
    }
}
