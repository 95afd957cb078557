// The file medium: where the page lies until it is whole, and when there is no room for it.
#include <sys/resource.h>

#include <csignal>

#include "tests/driver/scan_rig.h"

namespace {

class Files : public CScanTest {
  protected:
    void Begin(const std::string& more = {}) {
        OpenWith(m_picture, 300, more);
        SetWindow(300, 300, 0, 0, 100, 100);
        UseMedium(TYMED_FILE);
    }
    std::uint32_t ScanResult() {
        CPages pages;
        const ScanStatus status = Scan(pages);
        EXPECT_EQ(std::filesystem::remove(pages.PageFile(1)), status.Ok());
        return static_cast<std::uint32_t>(status.code);
    }

    const Picture m_picture = RandomPicture(100, 100);
};

TEST_F(Files, LieWhereverAFolderTakesThem) {
    Begin();
    constexpr const char* kNames[] = {"XDG_DATA_HOME", "XDG_DOCUMENTS_DIR", "TMPDIR"};
    for (const char* only : {kNames[0], kNames[1], kNames[2], ""}) {
        for (const char* name : kNames)
            setenv(name, name == only ? TestFolder().c_str() : "/dev/null/none", 1);
        EXPECT_EQ(ScanResult(), *only ? 0 : 0x80004005u) << only;
    }
    unsetenv("XDG_DOCUMENTS_DIR");
    setenv("TMPDIR", TestFolder().c_str(), 1);
}

// The medium is full in the middle, or where the last byte is missing.
TEST_F(Files, LeaveNothingOnAFullDisk) {
    Begin();
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited = {};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    for (const rlim_t bytes : {8192u, 54u + 300 * 100 - 1}) {
        const rlimit limited = {bytes, unlimited.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
        EXPECT_EQ(ScanResult(), 0x80004005u) << bytes;
        setrlimit(RLIMIT_FSIZE, &unlimited);
    }
    std::signal(SIGXFSZ, before);
    ExpectInFile(m_picture, 24, 100);
}

// 40000 pixels a line at 4800 dpi, and lines in steps of 1/300 inch. Who isn't refused comes as far
// as the start, which fails here.
TEST_F(Files, OfMoreThan31BitsAreRefusedBeforeTheScannerMoves) {
    Begin("[behaviour]\nrecord=1\n[faults]\nStartScan=1+:12\n");
    const struct {
        int bits;
        int lines;
        LONG medium;
        std::uint32_t code;
    } cases[] = {{8, 53680, TYMED_FILE, 0x80040007},
                 {8, 53696, TYMED_FILE, 0x800700DF},
                 {24, 17904, TYMED_CALLBACK, 0x80040007}};
    for (const auto& c : cases) {
        SetMode(c.bits);
        SetWindow(4800, 4800, 0, 0, 40000, c.lines);
        ASSERT_EQ(Number(WIA_IPA_NUMBER_OF_LINES), c.lines);
        UseMedium(c.medium);
        std::filesystem::remove(m_folder + "/calls.log");
        CPages pages;
        const ScanStatus status = Scan(pages);
        EXPECT_EQ(static_cast<std::uint32_t>(status.code), c.code) << c.bits << ": " << c.lines;
        const bool refused = c.code == 0x800700DF;
        EXPECT_EQ(status.text.find("2 gigabytes") != status.text.npos, refused) << status.text;
        EXPECT_EQ(Calls().find("GetScanSetup") == std::string::npos, refused);
    }
}

}  // namespace
