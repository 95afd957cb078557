#include "tests/platform/test_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

class TestFolderEnvironment final : public testing::Environment {
  public:
    void SetUp() override {
        if (!m_folder.empty()) {  // the tests are repeated, and the paths are known already
            std::filesystem::create_directory(m_folder);
            return;
        }
        m_folder = (std::filesystem::temp_directory_path() / "nvq-XXXXXX").string();
        ASSERT_NE(mkdtemp(m_folder.data()), nullptr);
        setenv("NVQ_REGISTRY", (m_folder + "/config/nvqdrv/registry.reg").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", m_folder.c_str(), 1);
        setenv("TMPDIR", m_folder.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::string m_folder;
};

const auto* const g_environment = static_cast<TestFolderEnvironment*>(
    testing::AddGlobalTestEnvironment(new TestFolderEnvironment));

}  // namespace

const std::string& TestFolder() {
    return g_environment->m_folder;
}

std::string RegistryPath() {
    return std::getenv("NVQ_REGISTRY");
}

void ForgetRegistry() {
    std::filesystem::remove_all(std::filesystem::path(RegistryPath()).parent_path());
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteWholeFile(const std::string& path, std::string_view content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}
