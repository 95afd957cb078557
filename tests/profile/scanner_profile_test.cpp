#include "profile/scanner_profile.h"

#include <optional>

#include "platform/com.h"
#include "platform/registry.h"
#include "platform/resources.h"
#include "profile/builtin_profile.h"
#include "tests/profile/profile_rig.h"
#include "tests/support/failing_allocation.h"

namespace {

constexpr char kSystemKey[] = "Software\\Microsoft\\Windows\\CurrentVersion";
constexpr char kFile[] = "data/Norvane/Lumetra/nvlmtA.spf";

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

// A profile that can be told from others.
std::string Text(int number) {
    return "SLIDE_DEFAULT_SELECTION\n" + std::to_string(number) + " 0 0 0\n";
}

class ScannerProfile : public testing::Test {
  protected:
    ScannerProfile() {
        std::filesystem::remove_all(PathOf("data"));
        setenv("XDG_DATA_HOME", PathOf("data").c_str(), 1);
    }
    ~ScannerProfile() override {
        RegClearProcessValues();
        unsetenv("NVQ_PROFILE_DIR");
    }
    // The number of the profile of a model; 0 for another's.
    static int Source(const char* model, const std::string& device = "",
                      const ProfileFolders& folders = {}) {
        const CScanAttrib attrib(model, "", device.empty() ? nullptr : device.c_str(),
                                 static_cast<std::uint32_t>(device.size()), folders);
        DefaultSelection selection;
        attrib.getSlideDefaultSelection(selection);
        return static_cast<int>(selection.m_values[0]);
    }
};

TEST_F(ScannerProfile, EachSourceThatIsThereReplacesTheOneBeforeIt) {
    const auto sized = [](int number, std::size_t size) {
        return std::string(size - Text(number).size() - 1, 'z') + "\n" + Text(number);
    };
    const std::string longer = Pack(Text(2) + std::string(100, 'y'));
    const struct {
        std::optional<std::string> file;
        std::string device;
        int source;
        const char* why;
    } rows[] = {
        {{}, "", 1, "the resource"},
        {Pack(Text(2)), "", 2, "a version is compared with 0 only"},
        {Pack(Text(2)), Text(3), 3, "the device wins"},
        {Pack(Text(2)), "VERSION\n-1\n" + Text(3), 2, "negative: passed over"},
        {Pack(Text(2)), "VERSION\n", 0, "without a value it counts as 0"},
        {longer.substr(0, longer.size() - 5), "", 2, "the text up to the fault"},
        {Text(2), "", 0, "files are packed"},
        {{}, sized(3, 9999), 3, "fits the buffer"},
        {Pack(sized(2, 10000)), "", 1, "as if it weren't there"},
    };
    const CTestResource resource("nvlmtA", Pack(Text(1) + "VERSION\n3\n"));
    for (const auto& row : rows) {
        std::filesystem::remove(PathOf(kFile));
        if (row.file)
            Put(kFile, *row.file);
        EXPECT_EQ(Source("A", row.device), row.source) << row.why;
    }
}

TEST_F(ScannerProfile, ResourceGoesByNameElseTheBuiltInOneStands) {
    const auto isBuiltIn = [](const char* name) {
        return CScannerProfile(name, nullptr, 5).Text() == BuiltinProfileText();
    };
    for (const char* name : {"nvlmtA", "", static_cast<const char*>(nullptr)})
        EXPECT_TRUE(isBuiltIn(name));
    {
        const CTestResource resource("nvlmtA", Pack(Text(1)));
        EXPECT_EQ(Source("A"), 1);
        EXPECT_EQ(Source("a"), 1) << "names of resources know no case";
    }
    EXPECT_TRUE(isBuiltIn("nvlmtA")) << "gone with its module";
}

TEST_F(ScannerProfile, FileIsSoughtInItsFoldersInTheirOrder) {
    int number = 0;
    for (const char* folder : {"Norvane/Lumetra", "Other/Lumetra", "Other/Family",
                               "common/Norvane/Lumetra", "x86/Norvane/Lumetra", "own"})
        Put("data/" + std::string(folder) + "/nvlmtA.spf", Pack(Text(++number)));
    const auto setCommonFolder = [](const char* value, const char* name) {
        const std::string folder = PathOf(name);
        RegSetProcessValue(HKEY_LOCAL_MACHINE, kSystemKey, value, REG_SZ, folder.c_str(),
                           static_cast<DWORD>(folder.size() + 1));
    };
    EXPECT_EQ(Source("A"), 1);
    EXPECT_EQ(Source("A", "", {"Other", "Family"}), 3);
    setCommonFolder("CommonFilesDir", "data/common");
    EXPECT_EQ(Source("A"), 4);
    setCommonFolder("CommonFilesDir (x86)", "data/x86");
    EXPECT_EQ(Source("A"), 5);
    EXPECT_EQ(Source("A", "", {"Other"}), 0) << "the registry's folder stands for the user's";
    setenv("NVQ_PROFILE_DIR", PathOf("data/own").c_str(), 1);
    EXPECT_EQ(Source("A"), 6);
    // A device's name leads out of no folder.
    Put("data/own/nvlmt/file", "");
    EXPECT_EQ(Source("/../nvlmtA"), 0);
}

TEST_F(ScannerProfile, EveryFailureOfMemoryLeavesTablesThatStand) {
    const std::string text = Text(1) + "JPEG_QFACTOR_24\n1\n1 1 1\n";
    for (const bool forGood : {false, true}) {
        bool happened = true;
        for (std::size_t which = 1; happened; ++which) {
            {
                const CFailingAllocation failing(which, forGood);
                const CScanAttrib attrib("A", "", text.c_str(),
                                         static_cast<std::uint32_t>(text.size()));
                std::uint32_t count = 9;
                JpegRow* rows = nullptr;
                attrib.getJpegTable24(count, rows);
                EXPECT_EQ(count, rows ? 1u : 0u);
                CoTaskMemFree(rows);
                happened = failing.Happened();
            }
            EXPECT_EQ(Source("A", text), 1) << "after failure " << which;
        }
    }
}

}  // namespace
