#include "profile/scanner_profile.h"

#include <algorithm>

#include "platform/com.h"
#include "platform/registry.h"
#include "platform/resources.h"
#include "profile/builtin_profile.h"
#include "tests/diag/log_rig.h"
#include "tests/profile/profile_rig.h"
#include "tests/support/failing_allocation.h"

namespace {

constexpr char kSystemKey[] = "Software\\Microsoft\\Windows\\CurrentVersion";

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
        std::filesystem::remove_all(PathOf("data"));
        setenv("XDG_DATA_HOME", PathOf("data").c_str(), 1);
    }
    void TearDown() override {
        RegClearProcessValues();
        unsetenv("NVQ_PROFILE_DIR");
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
    static void PutFile(const std::string& packed) {
        Put("data/Norvane/Lumetra/nvlmtA.spf", packed);
    }

    const CTestResource m_resource{"nvlmtA", Pack("X\n1\nVERSION\n3\n")};
};

TEST_F(ScannerProfile, DeviceWinsOverFileOverResource) {
    EXPECT_EQ(Source("nvlmtA"), 1);
    PutFile(Pack("X\n2\n"));
    EXPECT_EQ(Source("nvlmtA"), 2) << "a version is compared with 0 only";
    EXPECT_EQ(Source("nvlmtA", "X\n3\n"), 3);
    EXPECT_EQ(Source("nvlmtA", "VERSION\n-1\nX\n3\n"), 2) << "negative: passed over";
    EXPECT_EQ(Source("nvlmtA", "VERSION\n0\nX\n3\n"), 3);
    EXPECT_EQ(Source("nvlmtA", "VERSION\n"), 0) << "without a value it counts as 0";
    PutFile(Pack("X\n2\nVERSION\n-0.5\n"));
    EXPECT_EQ(Source("nvlmtA"), 1);
}

TEST_F(ScannerProfile, DamagedSourceReplacesWithWhatWasDecoded) {
    const std::string packed = Pack("X\n2\n" + std::string(100, 'y'));
    PutFile(packed.substr(0, packed.size() - 5));
    EXPECT_EQ(Source("nvlmtA"), 2);
    PutFile("");
    EXPECT_EQ(Source("nvlmtA"), 0) << "an empty file is an empty text";
    PutFile("X\n2\n");
    EXPECT_EQ(Source("nvlmtA"), 0) << "files are packed";
    EXPECT_EQ(Source("nvlmtA", std::string("\0X\n3\n", 5)), 0);
    EXPECT_STREQ(CScannerProfile("nvlmtA", nullptr, 5).Text(), "") << "a length alone is no text";
}

TEST_F(ScannerProfile, TextsAboveTheBufferAreAsIfTheyWerentThere) {
    const auto text = [](const std::string& value, std::size_t size) {
        const std::string table = "X\n" + value + "\n";
        return std::string(size - table.size() - 1, 'z') + "\n" + table;
    };
    EXPECT_EQ(Source("nvlmtA", text("3", 9999)), 3);
    EXPECT_EQ(Source("nvlmtA", text("3", 10000)), 1);
    PutFile(Pack(text("2", 10000)));
    EXPECT_EQ(Source("nvlmtA"), 1);
    PutFile(Pack(text("2", 9999)));
    EXPECT_EQ(Source("nvlmtA"), 2);
    const CTestResource large("nvlmtB", Pack(text("4", 10000)));
    EXPECT_STREQ(CScannerProfile("nvlmtB", nullptr, 0).Text(), "");
}

TEST_F(ScannerProfile, ResourceGoesByNameElseTheBuiltInOneStands) {
    const auto isBuiltIn = [](const char* name) {
        return CScannerProfile(name, nullptr, 0).Text() == BuiltinProfileText();
    };
    const CTestResource empty("nvlmtC", "");
    EXPECT_FALSE(isBuiltIn("nvlmtA"));
    for (const char* name : {"nvlmtAB", "nvlmtC", "", static_cast<const char*>(nullptr)})
        EXPECT_TRUE(isBuiltIn(name));
    EXPECT_EQ(Source("NVLMTa"), 1) << "names of resources know no case";
    {
        const CTestResource other("nvlmtB", Pack("X\n5\n"));
        EXPECT_EQ(Source("nvlmtB"), 5);
    }
    EXPECT_TRUE(isBuiltIn("nvlmtB")) << "gone with its module";
}

TEST_F(ScannerProfile, FileIsSoughtInItsFoldersInTheirOrder) {
    const auto put = [](const std::string& folder, const char* value) {
        Put(folder + "/nvlmtS.spf", Pack("X\n" + std::string(value) + "\n"));
    };
    put("data/Norvane/Lumetra", "1");
    put("data/Other/Lumetra", "2");
    put("data/Other/Family", "3");
    put("data/common/Norvane/Lumetra", "4");
    put("data/x86/Norvane/Lumetra", "5");
    put("data/own", "6");
    EXPECT_EQ(Source("nvlmtS"), 1);
    EXPECT_EQ(Source("nvlmtS", "", {"Other"}), 2);
    EXPECT_EQ(Source("nvlmtS", "", {"Other", "Family"}), 3);
    EXPECT_EQ(Source("nvlmtS", "", {nullptr, nullptr}), 0);
    SetCommonFolder("CommonFilesDir", PathOf("data/common"));
    EXPECT_EQ(Source("nvlmtS"), 4);
    SetCommonFolder("CommonFilesDir (x86)", PathOf("data/x86"));
    EXPECT_EQ(Source("nvlmtS"), 5);
    EXPECT_EQ(Source("nvlmtS", "", {"Other"}), 0) << "the registry's folder stands for the user's";
    setenv("NVQ_PROFILE_DIR", PathOf("data/own").c_str(), 1);
    EXPECT_EQ(Source("nvlmtS"), 6);
    setenv("NVQ_PROFILE_DIR", std::string(5000, 'x').c_str(), 1);
    EXPECT_EQ(Source("nvlmtS"), 5);
}

TEST_F(ScannerProfile, NameOfADeviceLeadsOutOfNoFolder) {
    Put("data/own/nvlmtB.spf", Pack("X\n6\n"));
    Put("data/own/below/nvlmt/file", "");
    setenv("NVQ_PROFILE_DIR", PathOf("data/own/below").c_str(), 1);
    EXPECT_EQ(Source("../nvlmtB"), 0);
    EXPECT_EQ(Source("nvlmt/../../nvlmtB"), 0);
}

TEST_F(ScannerProfile, ModelAndFoldersReachTheAttributeTables) {
    const auto first = [](const CScanAttrib& attrib) {
        ScanMatrix matrix;
        attrib.getAdfMatrix(matrix);
        return matrix.m_values[0];
    };
    Put("data/Norvane/Lumetra/nvlmtModel.spf", Pack("ADF\n2 0 0 0 1 0 0 0 1\n"));
    Put("data/Other/Lumetra/nvlmtModel.spf", Pack("ADF\n3 0 0 0 1 0 0 0 1\n"));
    const std::string device = "ADF\n4 0 0 0 1 0 0 0 1\n";
    const auto length = static_cast<std::uint32_t>(device.size());
    EXPECT_EQ(first(CScanAttrib("Model", "", nullptr, 0)), 2);
    EXPECT_EQ(first(CScanAttrib("Model", "", nullptr, 0, {"Other"})), 3);
    EXPECT_EQ(first(CScanAttrib("Model", "", device.c_str(), length)), 4);
    EXPECT_EQ(first(CScanAttrib(nullptr, nullptr, nullptr, 0)), 1);
    EXPECT_EQ(first(CScanAttrib(std::string(5000, 'x').c_str(), "", nullptr, 0)), 1);
}

TEST_F(ScannerProfile, EveryFailureOfMemoryLeavesTablesThatStand) {
    const std::string text =
        "FB\n2 0 0 0 1 0 0 0 1\nEXCLUSION_AREAS\n1\n1 2 3 4 5\nJPEG_QFACTOR_24\n1\n100 1 50\n";
    // What of the text has reached its table: 1 the matrix, 2 the areas, 4 the rows.
    const auto load = [&text] {
        const CScanAttrib attrib("Model", "", text.c_str(),
                                 static_cast<std::uint32_t>(text.size()));
        ScanMatrix matrix;
        attrib.getFlatbedMatrix(matrix);
        EXPECT_EQ(matrix.m_values[8], 1);
        std::uint32_t counts[2] = {};
        ExclusionArea* areas = nullptr;
        JpegRow* rows = nullptr;
        attrib.getExclusionAreas(counts[0], areas);
        attrib.getJpegTable24(counts[1], rows);
        CoTaskMemFree(areas);
        CoTaskMemFree(rows);
        return static_cast<std::uint32_t>(matrix.m_values[0] == 2) + 2 * counts[0] + 4 * counts[1];
    };
    bool isListLost = false;
    for (const bool forGood : {false, true}) {
        bool happened = true;
        for (std::size_t which = 1; happened; ++which) {
            {
                const CFailingAllocation failing(which, forGood);
                const auto loaded = load();
                isListLost |= loaded == 5 || loaded == 3;
                happened = failing.Happened();
            }
            EXPECT_EQ(load(), 7u) << "after failure " << which;
        }
    }
    EXPECT_TRUE(isListLost) << "a list without memory is empty, and its neighbours aren't";
}

TEST_F(ScannerProfile, LogTellsWhereTheTextComesFrom) {
    const std::string head = "CScannerProfile::CScannerProfile ";
    const auto log = [this, &head](const char* device, std::initializer_list<std::string> lines) {
        std::string expected;
        for (const std::string& line : lines)
            expected += head + line + '\n';
        Take();
        const CScannerProfile profile("nvlmtA", device, device ? 4 : 0);
        EXPECT_EQ(Take(), expected);
    };
    const std::string path = PathOf("data/Norvane/Lumetra/nvlmtA.spf");
    const std::string begin = "Constructor entry";
    const std::string tried = "szCommonFilesPath " + path;
    const std::string module = " hMod Exists";
    const std::string found =
        "GotResSPF dwBytes " + std::to_string(Pack("X\n1\nVERSION\n3\n").size());
    Settings(0x10000042, kLogToDebugger);
    const CConfigHold hold;
    // Without a folder for data no file is tried.
    log(nullptr, {begin, module, found, "bResSPF 1 bFileSPF 0 bHWSPF 0", "bResSPF memcpy"});
    Put("data/other", "");
    log("X\n3\n", {begin, tried, "!PathFileExists", module, found, "bResSPF 1 bFileSPF 0 bHWSPF 1",
                   "bResSPF memcpy", "bHWSPF memcpy"});
    std::filesystem::create_directories(path);
    log(nullptr, {begin, tried, "!fScanProf", module, found, "bResSPF 1 bFileSPF 0 bHWSPF 0",
                  "bResSPF memcpy"});
    std::filesystem::remove(path);
    PutFile(Pack("X\n2\n"));
    log(nullptr, {begin, tried, module, found, "bResSPF 1 bFileSPF 1 bHWSPF 0", "bResSPF memcpy",
                  "bFileSPF memcpy"});
}

}  // namespace
