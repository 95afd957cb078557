#include "profile/scanner_profile.h"

#include <algorithm>

#include "platform/registry.h"
#include "platform/resources.h"
#include "profile/builtin_profile.h"
#include "profile/profile_writer.h"
#include "profile/scan_attrib.h"
#include "tests/diag/log_rig.h"
#include "tests/profile/profile_rig.h"

namespace {

constexpr char kSystemKey[] = "Software\\Microsoft\\Windows\\CurrentVersion";

std::string Pack(std::string_view text) {
    const auto bytes = PackProfile(text);
    return {bytes.begin(), bytes.end()};
}

// A resource of this program, which holds the profile's code too. At most four at a time.
class CTestResource {
  public:
    CTestResource(const char* name, const std::string& bytes)
        : m_bytes(bytes), m_table(Fill(name, m_bytes), 1) {}

  private:
    // The row must lie in the module.
    static const EmbeddedResource* Fill(const char* name, const std::string& bytes) {
        static EmbeddedResource rows[4];
        static std::size_t next = 0;
        EmbeddedResource& row = rows[next++ % 4];
        row = {kResourceData, 0, name, bytes.data(), static_cast<DWORD>(bytes.size())};
        return &row;
    }

    const std::string m_bytes;
    const ResourceTable m_table;
};

class ScannerProfile : public CLogRig {
  protected:
    void SetUp() override {
        CLogRig::SetUp();
        setenv("XDG_DATA_HOME", m_data.Path("data").c_str(), 1);
        unsetenv("NVQ_PROFILE_DIR");
    }
    void TearDown() override {
        RegClearProcessValues();
        unsetenv("NVQ_PROFILE_DIR");
        unsetenv("XDG_DATA_HOME");
        CLogRig::TearDown();
    }

    static void SetCommonFolder(const char* value, const std::string& folder) {
        RegSetProcessValue(HKEY_LOCAL_MACHINE, kSystemKey, value, REG_SZ, folder.c_str(),
                           static_cast<DWORD>(folder.size() + 1));
    }
    // What stands under the key X in the profile of that name: 0 if nothing does.
    static double Source(const char* name, const std::string& device = "",
                         const ProfileFolders& folders = {}) {
        const CScannerProfile profile(name, device.empty() ? nullptr : device.c_str(),
                                      static_cast<std::uint32_t>(device.size()), folders);
        double value = 0;
        return profile.getTable("X", "", &value, 1) ? value : 0;
    }

    CProfileFolder m_data;
};

TEST_F(ScannerProfile, DeviceWinsOverFileOverResource) {
    const CTestResource resource("nvlmtA", Pack("X\n1\nVERSION\n3\n"));
    EXPECT_EQ(Source("nvlmtA"), 1);
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", Pack("X\n2\n"));
    EXPECT_EQ(Source("nvlmtA"), 2) << "a version is compared with 0 only";
    EXPECT_EQ(Source("nvlmtA", "X\n3\n"), 3);
    EXPECT_EQ(Source("nvlmtA", "VERSION\n-1\nX\n3\n"), 2) << "negative: passed over";
    EXPECT_EQ(Source("nvlmtA", "VERSION\n0\nX\n3\n"), 3);
    EXPECT_EQ(Source("nvlmtA", "VERSION\n"), 0) << "without a value it counts as 0";
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", Pack("X\n2\nVERSION\n-0.5\n"));
    EXPECT_EQ(Source("nvlmtA"), 1);
}

TEST_F(ScannerProfile, DamagedSourceReplacesWithWhatWasDecoded) {
    const CTestResource resource("nvlmtA", Pack("X\n1\n"));
    const std::string packed = Pack("X\n2\n" + std::string(100, 'y'));
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", packed.substr(0, packed.size() - 5));
    EXPECT_EQ(Source("nvlmtA"), 2);
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", "");
    EXPECT_EQ(Source("nvlmtA"), 0) << "an empty file is an empty text";
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", "X\n2\n");
    EXPECT_EQ(Source("nvlmtA"), 0) << "files are packed";
    EXPECT_EQ(Source("nvlmtA", std::string("\0X\n3\n", 5)), 0);
    EXPECT_STREQ(CScannerProfile("nvlmtA", nullptr, 5).Text(), "") << "a length alone is no text";
}

TEST_F(ScannerProfile, TextsAboveTheBufferAreAsIfTheyWerentThere) {
    const auto text = [](const std::string& value, std::size_t size) {
        const std::string table = "X\n" + value + "\n";
        return std::string(size - table.size() - 1, 'z') + "\n" + table;
    };
    const CTestResource resource("nvlmtA", Pack("X\n1\n"));
    EXPECT_EQ(Source("nvlmtA", text("3", 9999)), 3);
    EXPECT_EQ(Source("nvlmtA", text("3", 10000)), 1);
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", Pack(text("2", 10000)));
    EXPECT_EQ(Source("nvlmtA"), 1);
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", Pack(text("2", 9999)));
    EXPECT_EQ(Source("nvlmtA"), 2);
    EXPECT_STREQ(CScannerProfile(text("1", 10000)).Text(), "");
    EXPECT_EQ(std::strlen(CScannerProfile(text("1", 9999)).Text()), 9999u);
    {
        const CTestResource large("nvlmtB", Pack(text("4", 10000)));
        EXPECT_STREQ(CScannerProfile("nvlmtB", nullptr, 0).Text(), "");
    }
}

TEST_F(ScannerProfile, ResourceGoesByNameElseTheBuiltInOneStands) {
    const auto isBuiltIn = [](const char* name) {
        double values[11] = {};
        const CScannerProfile profile(name, nullptr, 0);
        return profile.getTable("DEFAULTS", "", values, 11) && values[10] == 180;
    };
    const CTestResource resource("nvlmtA", Pack("X\n1\n"));
    EXPECT_FALSE(isBuiltIn("nvlmtA"));
    EXPECT_TRUE(isBuiltIn("nvlmtAB"));
    EXPECT_TRUE(isBuiltIn(""));
    EXPECT_TRUE(isBuiltIn(nullptr));
    EXPECT_EQ(Source("NVLMTa"), 1) << "names of resources know no case";
    EXPECT_FALSE(FindResourceA(ProfileModule(), MAKEINTRESOURCEA(202), RT_RCDATA));
    EXPECT_FALSE(FindResourceA(nullptr, "nvlmtA", RT_RCDATA));
    {
        const CTestResource empty("nvlmtC", "");
        EXPECT_TRUE(isBuiltIn("nvlmtC"));
    }
    EXPECT_FALSE(FindResourceA(ProfileModule(), "nvlmtC", RT_RCDATA)) << "gone with its module";
}

TEST_F(ScannerProfile, FileIsSoughtInItsFoldersInTheirOrder) {
    const auto put = [this](const std::string& folder, const char* value) {
        m_data.Put(folder + "/nvlmtA.spf", Pack("X\n" + std::string(value) + "\n"));
    };
    put("data/Norvane/Lumetra", "1");
    put("data/Other/Lumetra", "2");
    put("data/Other/Family", "3");
    put("common/Norvane/Lumetra", "4");
    put("x86/Norvane/Lumetra", "5");
    put("own", "6");
    EXPECT_EQ(Source("nvlmtA"), 1);
    EXPECT_EQ(Source("nvlmtA", "", {"Other"}), 2);
    EXPECT_EQ(Source("nvlmtA", "", {"Other", "Family"}), 3);
    EXPECT_EQ(Source("nvlmtA", "", {nullptr, nullptr}), 0);
    SetCommonFolder("CommonFilesDir", m_data.Path("common"));
    EXPECT_EQ(Source("nvlmtA"), 4);
    SetCommonFolder("CommonFilesDir (x86)", m_data.Path("x86"));
    EXPECT_EQ(Source("nvlmtA"), 5);
    EXPECT_EQ(Source("nvlmtA", "", {"Other"}), 0) << "the registry's folder stands for the user's";
    setenv("NVQ_PROFILE_DIR", m_data.Path("own").c_str(), 1);
    EXPECT_EQ(Source("nvlmtA"), 6);
    setenv("NVQ_PROFILE_DIR", m_data.Path("nowhere").c_str(), 1);
    EXPECT_EQ(Source("nvlmtA"), 5);
    setenv("NVQ_PROFILE_DIR", std::string(5000, 'x').c_str(), 1);
    EXPECT_EQ(Source("nvlmtA"), 5);
}

TEST_F(ScannerProfile, NameOfADeviceLeadsOutOfNoFolder) {
    m_data.Put("own/nvlmtA.spf", Pack("X\n6\n"));
    setenv("NVQ_PROFILE_DIR", m_data.Path("own/below").c_str(), 1);
    m_data.Put("own/below/nvlmt/file", "");
    EXPECT_EQ(Source("../nvlmtA"), 0);
    EXPECT_EQ(Source("nvlmt/../../nvlmtA"), 0);
    setenv("NVQ_PROFILE_DIR", m_data.Path("own").c_str(), 1);
    EXPECT_EQ(Source("nvlmtA"), 6);
}

TEST_F(ScannerProfile, ModelAndFoldersReachTheAttributeTables) {
    const auto first = [](const CScanAttrib& attrib) {
        ScanMatrix matrix;
        attrib.getAdfMatrix(matrix);
        return matrix.m_values[0];
    };
    m_data.Put("data/Norvane/Lumetra/nvlmtModel.spf", Pack("ADF\n2 0 0 0 1 0 0 0 1\n"));
    m_data.Put("data/Other/Lumetra/nvlmtModel.spf", Pack("ADF\n3 0 0 0 1 0 0 0 1\n"));
    const std::string device = "ADF\n4 0 0 0 1 0 0 0 1\n";
    EXPECT_EQ(first(CScanAttrib("Model", "", nullptr, 0)), 2);
    EXPECT_EQ(first(CScanAttrib("Model", "", nullptr, 0, {"Other"})), 3);
    EXPECT_EQ(
        first(CScanAttrib("Model", "", device.c_str(), static_cast<std::uint32_t>(device.size()))),
        4);
    EXPECT_EQ(first(CScanAttrib(nullptr, nullptr, nullptr, 0)), 1);
    EXPECT_EQ(first(CScanAttrib(std::string(5000, 'x').c_str(), "", nullptr, 0)), 1);
}

TEST_F(ScannerProfile, LogTellsWhereTheTextComesFrom) {
    const auto logOf = [this](const char* device) {
        Take();
        const CScannerProfile profile("nvlmtA", device, device ? 4 : 0);
        return Take();
    };
    const std::string head = "CScannerProfile::CScannerProfile ";
    const std::string path =
        head + "szCommonFilesPath " + m_data.Path("data") + "/Norvane/Lumetra/nvlmtA.spf\n";
    const std::string builtIn = head + " hMod Exists\n" + head + "GotResSPF dwBytes " +
                                std::to_string(kBuiltinProfileBytes) + "\n";
    Settings(0x10000042, kLogToDebugger);
    const CConfigHold hold;
    EXPECT_EQ(logOf(nullptr), head + "Constructor entry\n" + head + " hMod Exists\n" + head +
                                  "GotResSPF dwBytes " + std::to_string(kBuiltinProfileBytes) +
                                  "\n" + head + "bResSPF 1 bFileSPF 0 bHWSPF 0\n" + head +
                                  "bResSPF memcpy\n")
        << "without a folder for data no file is tried";
    m_data.Put("data/other", "");
    EXPECT_EQ(logOf("X\n3\n"), head + "Constructor entry\n" + path + head + "!PathFileExists\n" +
                                   builtIn + head + "bResSPF 1 bFileSPF 0 bHWSPF 1\n" + head +
                                   "bResSPF memcpy\n" + head + "bHWSPF memcpy\n");
    std::filesystem::create_directories(m_data.Path("data/Norvane/Lumetra/nvlmtA.spf"));
    EXPECT_NE(logOf(nullptr).find(path + head + "!fScanProf\n"), std::string::npos);
    std::filesystem::remove(m_data.Path("data/Norvane/Lumetra/nvlmtA.spf"));
    m_data.Put("data/Norvane/Lumetra/nvlmtA.spf", Pack("X\n2\n"));
    EXPECT_EQ(logOf(nullptr), head + "Constructor entry\n" + path + builtIn + head +
                                  "bResSPF 1 bFileSPF 1 bHWSPF 0\n" + head + "bResSPF memcpy\n" +
                                  head + "bFileSPF memcpy\n");
}

}  // namespace
