// Devices that don't keep to SANE's rules: each is refused in words, or its page is right.
#include "tests/sane-toolkit/sane_rig.h"

namespace {

using Lies = CStagedTest;

constexpr char kPort[] = "sane:staged:one";
const Arguments kWindow = {"--resolution", "150", "--area", "13.2,26.7,52,44mm"};

// What is told ahead of the start is a guess, and so is the number of lines; lines come in any
// pieces; steps needn't be told.
TEST_F(Lies, ThatDontMatterComeOutRight) {
    Stage();
    Install(kPort);
    for (const char* lie : {"before-lines 2147483647",
                            "before-pixels -5",
                            "before-bytes 0",
                            "before-depth 16",
                            "after-lines 0",
                            "after-lines -77",
                            "after-lines 2147483647",
                            "extra-lines 3000",
                            "extra-lines -1",
                            "extra-bytes 5",
                            "pad 7",
                            "read-most 1",
                            "read-empty 3",
                            "count 2147483647",
                            "when always tl-x range=null",
                            "when always mode name=null",
                            "when always source list=null",
                            "when always mode size=1",
                            "when always br-x range=-32768,32767",
                            "when always tl-x round=7",
                            "when always br-x round=7",
                            "when always tl-y range=0,297,7",
                            "when always br-y round=7",
                            "when always tl-x range=0,216,-7",
                            "when resolution=150 depth list=16"}) {
        SCOPED_TRACE(lie);
        Stage(lie);
        ASSERT_EQ(Scan(kPort, kWindow), 0) << m_error;
        const Picture page = Raw();
        EXPECT_NEAR(page.width, 52 / 25.4 * 150, 1);
        EXPECT_NEAR(page.height, 44 / 25.4 * 150, 1.5);
        // The last line may be missing.
        EXPECT_LE(CountWrong(page, 13.2, 26.7, 150, kStagedGlass), page.width * page.samples);
    }
}

TEST_F(Lies, ThatMatterAreRefusedInWords) {
    constexpr char kConnection[] = "the connection to the scanner failed";
    constexpr char kLacks[] = "the scanner lacks this function";
    constexpr char kError[] = "the scanner reports an error";
    const std::pair<const char*, const char*> kLies[] = {
        {"before-format 77", kLacks},
        {"after-pixels 0", kConnection},
        {"after-pixels 2147483647", kConnection},
        {"after-bytes -7", kConnection},
        {"after-bytes 2147483647", kConnection},
        {"after-bytes 50", kConnection},
        {"after-format 0", kLacks},
        {"after-format 2", kConnection},  // one colour of three
        {"after-format 77", kLacks},
        {"after-depth 16", kConnection},
        {"after-depth -8", kLacks},
        {"extra-lines -5", kConnection},
        {"extra-lines -100000", kConnection},
        {"read-length 0", kConnection},
        {"read-length -9", kConnection},
        {"read-length 2147483647", kConnection},
        {"unplug 100", kConnection},
        {"fail start 9", kConnection},
        {"fail start -1", kError},
        {"fail start 5", kError},
        {"fail start 3", "in use by another program"},
        {"fail open 77", "it can't be opened"},
        {"fail read 5", kConnection},
        {"fail read 77", kError},
        {"fail read 2 20", "cancelled at the scanner"},
        {"fail line 6 20", "paper is jammed"},
        {"fail line 8 20", "hatch of the document feeder is open"},
        {"fail line 10 20", "not enough memory"},
        {"fail parameters 9", kConnection},
        {"fail get: 9", "it doesn't answer"},
        {"fail get:tl-x 9", kConnection},
        {"fail set:tl-x 9 2", kConnection},
        {"fail set:mode 4", "the resolution"},
        {"count -2147483648", kLacks},
        {"when always resolution range=600,75", kLacks},
        {"when always tl-x unit=pixel", kLacks},
        {"when always br-y size=2147483647", kLacks},
        {"when always br-x range=0,0", kLacks},
        {"when mode=Color tl-x gone=1", kLacks},
        {"when resolution=150 mode value=Gray", "the resolution"},
        {"option y-resolution int caps=detect value=75", "the resolution"},
        {"after-lines 100\nextra-lines -140", kConnection},
    };
    Stage();
    Install(kPort);
    for (const auto& [lie, words] : kLies) {
        SCOPED_TRACE(lie);
        Stage(lie);
        EXPECT_NE(Scan(kPort, kWindow), 0);
        EXPECT_NE(m_error.find(words), std::string::npos) << m_error;
    }
}

}  // namespace
