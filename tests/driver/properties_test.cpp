// The properties of both items as they are built, and what writes make of them.
#include <algorithm>
#include <set>
#include <sstream>

#include "service/property_rules.h"
#include "tests/driver/driver_rig.h"

namespace {

constexpr const char* kTop = "Top";
constexpr const char* kRoot = "Root";
constexpr PROPID kSelectId = WIA_DPS_DOCUMENT_HANDLING_SELECT;

// Short names of what the tests write or see change. Lengths of the root are 1/1000 inch.
// clang-format off
constexpr std::pair<const char*, PROPID> kNames[] = {
    {"SELECT", kSelectId}, {"STATUS", WIA_DPS_DOCUMENT_HANDLING_STATUS}, {"PAGES", WIA_DPS_PAGES},
    {"TMA", QL_PROP_TMA_SELECT}, {"PREVIEW", WIA_DPS_SHOW_PREVIEW_CONTROL},
    {"BEDW", WIA_DPS_HORIZONTAL_BED_SIZE}, {"BEDH", WIA_DPS_VERTICAL_BED_SIZE},
    {"SHEETW", WIA_DPS_HORIZONTAL_SHEET_FEED_SIZE}, {"SHEETH", WIA_DPS_VERTICAL_SHEET_FEED_SIZE},
    // From here on the scanned item's.
    {"XRES", WIA_IPS_XRES}, {"XPOS", WIA_IPS_XPOS}, {"XEXT", WIA_IPS_XEXTENT},
    {"YRES", WIA_IPS_YRES}, {"YPOS", WIA_IPS_YPOS}, {"YEXT", WIA_IPS_YEXTENT},
    {"PIX", WIA_IPA_PIXELS_PER_LINE}, {"LINES", WIA_IPA_NUMBER_OF_LINES}, {"DEPTH", WIA_IPA_DEPTH},
    {"BYTES", WIA_IPA_BYTES_PER_LINE}, {"TYPE", WIA_IPA_DATATYPE}, {"FORMAT", WIA_IPA_FORMAT},
    {"BPC", WIA_IPA_BITS_PER_CHANNEL}, {"CPP", WIA_IPA_CHANNELS_PER_PIXEL},
    {"CHANNEL", QL_PROP_SCANNER_CHANNEL}, {"SCALE", 71711}, {"INTENT", WIA_IPS_CUR_INTENT}, {"TYMED", WIA_IPA_TYMED}, {"CONTRAST", WIA_IPS_CONTRAST},
    {"PALETTE", QL_PROP_PALETTE},
};
// clang-format on
constexpr std::ptrdiff_t kRootNames = 9;

std::string NameOf(PROPID id) {
    const auto* row = std::ranges::find_if(kNames, [id](const auto& r) { return r.second == id; });
    return row != std::end(kNames) ? row->first : std::to_string(id);
}

std::string Show(const PropertyValue& value) {
    if (const GUID* guid = std::get_if<GUID>(&value))
        return *guid == WiaImgFmt_BMP ? "BMP" : "MEMORYBMP";
    return ShownValue(value);
}

// "0..100" for a range, "1,2,3" for a list, "bits7" for flags.
std::string Show(const ValidValues& valid) {
    if (valid.kind == ValidKind::Flags)
        return "bits" + std::to_string(valid.bits);
    std::string all;
    if (valid.kind == ValidKind::Range)
        all = std::to_string(valid.min) + ".." + std::to_string(valid.max);
    for (const PropertyValue& value : valid.list)
        all += (all.empty() ? "" : ",") + Show(value);
    return all;
}

// Words in an order of their own, so that a test may tell them in any.
using Words = std::set<std::string>;

Words Split(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

std::string Join(const Words& words) {
    std::string text;
    for (const std::string& word : words)
        text += word + ' ';
    return text;
}

class Properties : public CDriverTest {
  protected:
    // All of both items, as "XRES=300" and "XEXT:0..2550". The item's size, which a read works out
    // from the others, has a test of its own.
    Words Now() {
        Words words;
        for (const char* item : {kRoot, kTop}) {
            std::vector<ScanProperty> all;
            EXPECT_EQ(Failure(m_device.Read(item, {}, all)), "");
            std::erase_if(all, [](const auto& p) { return p.id == WIA_IPA_ITEM_SIZE; });
            for (const ScanProperty& p : all) {
                words.insert(NameOf(p.id) + '=' + Show(p.value));
                words.insert(NameOf(p.id) + ':' + Show(p.valid));
            }
        }
        return words;
    }
    static std::string Changes(const Words& before, const Words& after) {
        Words changes;
        std::ranges::set_difference(after, before, std::inserter(changes, changes.end()));
        return Join(changes);
    }
    // "XRES=300 YRES=300": one write, to the item that has these properties.
    ScanStatus Write(const std::string& text) {
        std::istringstream words(text);
        std::vector<PropertyWrite> writes;
        const char* item = nullptr;
        for (std::string word; words >> word;) {
            const std::size_t equals = word.find('=');
            const std::string value = word.substr(equals + 1);
            const auto* row = std::ranges::find_if(
                kNames, [&](const auto& r) { return word.substr(0, equals) == r.first; });
            item = row - kNames < kRootNames ? kRoot : kTop;
            writes.push_back({row->second, std::atoi(value.c_str())});
            if (row->second == WIA_IPA_FORMAT)
                writes.back().value = value == "BMP" ? WiaImgFmt_BMP : WiaImgFmt_MEMORYBMP;
        }
        return m_device.Write(item, writes);
    }
    void Set(const std::string& text) { ASSERT_EQ(Failure(Write(text)), "") << text; }
    void Reset() {
        Set("SELECT=2");
        Set("TMA=0");
        ASSERT_EQ(Failure(m_device.Synchronize()), "");
    }
};

// A list, a range, flags and identifiers, with all that a client is told of each.
TEST_F(Properties, TellNameAccessLimitsAndNominalValue) {
    InstallAndOpen();
    std::vector<ScanProperty> all;
    ASSERT_EQ(Failure(m_device.Read(
                  kTop, {WIA_IPS_XRES, WIA_IPS_XEXTENT, WIA_IPS_CUR_INTENT, WIA_IPA_FORMAT}, all)),
              "");
    std::string lines;
    for (const ScanProperty& p : all) {
        lines += p.name + '|' + std::to_string(p.access) + '|' + Show(p.value) + '|' +
                 Show(p.valid) + '|' + Show(p.valid.nominal) + '|' + std::to_string(p.valid.step) +
                 '\n';
    }
    EXPECT_EQ(lines,
              "Horizontal Resolution|35|150|150,300,600,1200,2400,4800|150|1\n"
              "Horizontal Extent|19|1275|0..1275|1275|1\n"
              "Current Intent|67|0|bits196615|0|1\n"
              "Format|35|MEMORYBMP|MEMORYBMP,BMP|MEMORYBMP|1\n");
}

TEST_F(Properties, FollowTheModel) {
    const std::pair<const char*, const char*> cases[] = {
        // A feeder without paper: its area is not asked for.
        {"[feeder]\nsheets=0\n", "SHEETH=11700 PREVIEW=1 STATUS=2 SELECT=2 SELECT:bits7 YEXT=1755"},
        {"[simulator]\nmodel=SIM100F\n", "SHEETH=0 PREVIEW=0 STATUS=2 SELECT:bits2 YEXT=1755"},
        // Nothing but a feeder, which takes 8.5 x 14 inches: also while it is empty.
        {"[simulator]\nmodel=SIM200S\n",
         "BEDW=8500 BEDH=14000 SHEETH=14000 STATUS=1 SELECT=1 SELECT:bits1 XRES=300 YEXT=4200"},
        // Duplex is a switch's business: not offered, and told where it stands.
        {"[simulator]\nmodel=SIM500D\n",
         "BEDW=8640 BEDH=14000 SHEETW=8640 SHEETH=14000 STATUS=1 SELECT:bits3 XEXT=1296 YEXT=2100"},
        {"[simulator]\nmodel=SIM500D\n[feeder]\nduplexSwitch=1\n",
         "SHEETW=8500 SHEETH=11700 STATUS=5 SELECT=2 SELECT:bits3 XEXT=1296"},
    };
    for (const auto& [ini, shown] : cases) {
        SCOPED_TRACE(ini);
        m_device.Close();
        std::filesystem::remove(m_folder + "/state");
        // The driver keeps the name of the model that it has met.
        ForgetRegistry();
        Install(Options());
        SetIni(ini);
        Open();
        const Words words = Split(shown);
        EXPECT_TRUE(std::ranges::includes(Now(), words)) << Changes(Now(), words);
    }
}

// ---- Writes

// What changes with the type of a flatbed item whose lines have 1275 pixels.
#define LINE_ART "TYPE=0 DEPTH=1 CPP=1 BPC=1 BYTES=160"
#define GRAY "TYPE=2 DEPTH=8 CPP=1 BYTES=1276"
#define COLOR "TYPE=3 DEPTH=24 CPP=3 BYTES=3828"

// A line has pixels x depth bits, rounded up to 4 bytes; before the first write it has no length
// yet.
// clang-format off
const struct {
    const char* name;
    std::vector<const char*> before;
    const char* write;
    const char* changes;
} kRules[] = {
    {"the scale of the highest: 2 for 4800, 1 for 2400", {}, "XRES=2400 YRES=2400 XEXT=8 YEXT=8",
     "PIX=8 BYTES=24 LINES=8 XRES=2400 YRES=2400 XPOS:0..20400 YPOS:0..28080 XEXT=8 XEXT:0..20400 "
     "YEXT=8 YEXT:0..28080 SCALE=1"},
    {"a position cuts the extent", {}, "XPOS=100", "PIX=1175 BYTES=3528 XPOS=100 XEXT=1175 XEXT:0..1175"},
    {"a resolution takes the window to the far edge", {"XPOS=100 XEXT=50"}, "XRES=300",
     "PIX=2350 BYTES=7052 XRES=300 XPOS=200 XPOS:0..2550 XEXT=2350 XEXT:0..2550"},
    {"a lower resolution truncates the position", {"YRES=300", "YPOS=201"}, "YRES=150",
     "LINES=1655 YRES=150 YPOS=100 YPOS:0..1755 YEXT=1655 YEXT:0..1755"},
    {"in whatever order, and once", {"XPOS=100"}, "YPOS=10 YRES=300 XRES=300 YEXT=20",
     "PIX=2350 BYTES=7052 LINES=20 XRES=300 YRES=300 XPOS=200 XPOS:0..2550 YPOS=10 YPOS:0..3510 "
     "XEXT=2350 XEXT:0..2550 YEXT=20 YEXT:0..3510"},
    {"text by intent", {}, "INTENT=4", LINE_ART " INTENT=4"},
    {"but not a resolution that the client wrote", {}, "INTENT=131074 XRES=150",
     GRAY " LINES=3510 INTENT=131074 YRES=300 YPOS:0..3510 YEXT=3510 YEXT:0..3510"},
    {"colour takes the channel away", {"TYPE=2 CHANNEL=2"}, "TYPE=3", COLOR " CHANNEL=0"},
    {"a depth alone is line art", {}, "DEPTH=1", LINE_ART},
    {"but dither has one bit too", {"TYPE=1"}, "DEPTH=1", ""},
    {"a depth of colours lets go of a palette", {"PALETTE=1"}, "DEPTH=24", "PALETTE=0 DEPTH=24 CPP=3 BYTES=3828"},
    {"a type decides over a depth", {}, "DEPTH=1 TYPE=2", GRAY},
    {"and a depth over bits of a channel", {}, "BPC=1 DEPTH=8", GRAY},
    {"also the one that is there", {}, "BPC=1 DEPTH=24", "BYTES=3828"},
    {"8 bits on a gray item are colour", {"TYPE=2"}, "BPC=8", COLOR},
    {"a file has no bitmap of memory", {}, "TYMED=2", "FORMAT=BMP TYMED=2"},
    {"a format alone takes the medium along", {}, "FORMAT=BMP", "FORMAT=BMP TYMED=2"},
    {"a refused write ahead of a good one", {}, "INTENT=3 TYMED=2", "FORMAT=BMP TYMED=2 INTENT=3"},
    {"both sides", {"SELECT=1"}, "SELECT=5", "SELECT=4"},
    {"the flatbed again, all as at first", {"SELECT=1", "XRES=600 TYPE=2 CONTRAST=9"}, "SELECT=2",
     "SELECT=2 TYPE=3 DEPTH=24 CPP=3 PIX=1275 BYTES=0 LINES=1755 XRES=150 YRES=150 XPOS:0..1275 "
     "YPOS:0..1755 XEXT=1275 XEXT:0..1275 YEXT=1755 YEXT:0..1755 CONTRAST=0"},
    // A letter page is 11 inches long, and 300 dots per inch are the feeder's.
    {"from the adapter to both sides of the feeder", {"TMA=1"}, "SELECT=4",
     "SELECT=4 TMA=0 PIX=2550 LINES=3300 XRES=300 YRES=300 XPOS:0..2550 YPOS:0..3300 XEXT=2550 "
     "XEXT:0..2550 YEXT=3300 YEXT:0..3300"},
    // The first of its media: 425 x 283 units are 1.416 x 0.943 inches, at 600 dots per inch.
    {"from the feeder to the adapter", {"SELECT=1"}, "TMA=1",
     "SELECT=2 TMA=1 PIX=849 LINES=565 XRES=600 YRES=600 XPOS:0..849 YPOS:0..565 XEXT=849 "
     "XEXT:0..849 YEXT=565 YEXT:0..565"},
};
// clang-format on

TEST_F(Properties, FollowWhatIsWritten) {
    InstallAndOpen();
    for (const auto& rule : kRules) {
        SCOPED_TRACE(rule.name);
        Reset();
        for (const char* step : rule.before)
            Set(step);
        const Words before = Now();
        Set(rule.write);
        EXPECT_EQ(Changes(before, Now()), Join(Split(rule.changes)));
    }
}

// 40 bytes of header, and 1755 lines of 3825 bytes, rounded up to 3828.
TEST_F(Properties, HaveASizeForABitmapInMemoryAlone) {
    InstallAndOpen();
    EXPECT_EQ(Number(WIA_IPA_ITEM_SIZE), 40 + 1755 * 3828);
    std::vector<ScanProperty> made;
    ASSERT_EQ(Failure(m_device.Try(kTop, {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}}, made)), "");
    EXPECT_EQ(Show(std::ranges::find(made, WIA_IPA_ITEM_SIZE, &ScanProperty::id)->value),
              std::to_string(40 + 256 * 4 + 1755 * 1276));
    Set("FORMAT=BMP");
    EXPECT_EQ(Number(WIA_IPA_ITEM_SIZE), 0);
    Set("TYMED=128");
    EXPECT_EQ(Number(WIA_IPA_ITEM_SIZE), 40 + 1755 * 3828);
}

// What the service itself checks has tests there; here it must have the right lists and accesses.
TEST_F(Properties, StayAsTheyAreWhenAWriteIsRefused) {
    InstallAndOpen();
    // Not the defaults, so that a rebuild would show.
    Set("XRES=300 XPOS=10 TYPE=2 CONTRAST=5");
    const Words before = Now();
    for (const std::string bad : {"XPOS=2551", "XRES=301", "DEPTH=16", "INTENT=3"}) {
        EXPECT_EQ(Write(bad).code, E_INVALIDARG) << bad;
        EXPECT_EQ(Write("CONTRAST=7 YRES=600 INTENT=4 " + bad).code, E_INVALIDARG)
            << "the driver's last answer counts";
        ASSERT_EQ(Changes(before, Now()), "") << bad;
    }
    for (const char* noColors : {"PALETTE=4", "PALETTE=4 TYPE=3"})
        EXPECT_EQ(Write(noColors).code, MakeResult(0x80040017)) << noColors;
    for (const char* bad : {"SELECT=0", "PAGES=2 SELECT=3", "PAGES=51"})
        EXPECT_EQ(Write(bad).code, E_INVALIDARG) << bad;
    EXPECT_EQ(Changes(before, Now()), "");
    for (const char* readOnly : {"PIX=5", "CPP=1", "BEDW=1"})
        EXPECT_EQ(Write(readOnly).code, STG_E_ACCESSDENIED) << readOnly;
    const PropertyWrite profile = {WIA_IPA_ICM_PROFILE_NAME, std::string("sRGB")};
    EXPECT_EQ(m_device.Write(kTop, {profile}).code, E_INVALIDARG);
}

// ---- Windows of nothing

TEST_F(Properties, HaveAWindowOfOnePixelAtLeastAtEveryResolution) {
    InstallAndOpen();
    const auto expectRefused = [this](const std::string& write, const std::string& words) {
        const Words before = Now();
        const ScanStatus status = Write(write);
        EXPECT_EQ(status.code, MakeResult(0x80040001)) << write;
        EXPECT_NE(status.text.find(' ' + words), std::string::npos) << status.text;
        EXPECT_EQ(Changes(before, Now()), "") << write;
    };
    for (const LONG dpi : {150, 300, 600, 1200, 2400, 4800}) {
        const std::string text = std::to_string(dpi);
        Set("XRES=" + text + " YRES=" + text);
        // The scanner measures windows in 1/300 inch.
        const LONG least = std::max(dpi / 300, LONG{1});
        const std::string few = std::to_string(least - 1);
        expectRefused("XEXT=" + few + " YEXT=" + text, few + " x " + text + " pixels at 0, 0");
        expectRefused("YEXT=" + few, "x " + few + " pixels at 0, 0");
        Set("XEXT=" + std::to_string(least) + " YEXT=" + std::to_string(least));
        CPages pages;
        EXPECT_EQ(Failure(Scan(pages)), "") << dpi;
    }
    Set("XRES=300 YRES=300");
    expectRefused("XPOS=2550", "0 x 3510 pixels at 2550, 0 with 300 x 300");
    // Beyond the bed at the resolution that comes with it.
    expectRefused("XPOS=2000 XRES=150", "0 x 3510 pixels at 2000, 0 with 150 x 300");
}

// ---- Gray

TEST_F(Properties, KeepTheGrayThatWasAskedForInWhateverOrderTheyAreWritten) {
    InstallAndOpen();
    // The device's own gray ends at 1200 dots per inch.
    std::vector<std::string> writes = {"CHANNEL=1 ", "TYPE=2 ", "XRES=2400 ", "YRES=2400 "};
    do {
        SCOPED_TRACE(writes[0] + writes[1] + writes[2]);
        Reset();
        Set(writes[0] + writes[1] + writes[2] + writes[3]);
        EXPECT_EQ(Number(QL_PROP_SCANNER_CHANNEL), 1);
        Reset();
        Set("TYPE=2");  // as long as the item has colours, a channel alone means nothing
        for (const std::string& write : writes)
            Set(write);
        EXPECT_EQ(Number(QL_PROP_SCANNER_CHANNEL), 1);
    } while (std::ranges::next_permutation(writes).found);
    Set("XEXT=80 YEXT=80");
    CPages pages;
    EXPECT_EQ(Failure(Scan(pages)), "");
    EXPECT_EQ(Number(QL_PROP_SCANNER_CHANNEL), 1);
}

// ---- Sources

TEST_F(Properties, OfASourceThatWasOnlyTriedLeaveTheOtherOneChosen) {
    InstallAndOpen("[adapter]\nfilm=slide\n");
    std::vector<ScanProperty> made;
    Set("TMA=1");
    const Words before = Now();
    ASSERT_EQ(Failure(m_device.Try(kRoot, {{kSelectId, FEEDER}}, made)), "");
    EXPECT_EQ(m_device.Write(kRoot, {{kSelectId, FLATBED | FEEDER}}).code, E_INVALIDARG);
    EXPECT_EQ(Changes(before, Now()), "");
    // The film's 1.416 inches are 1699 pixels, or 424 units of four; the flatbed has 8.5 inches.
    Set("XRES=1200");
    EXPECT_EQ(Number(WIA_IPS_XEXTENT), 1696);
    Set("SELECT=1");
    ASSERT_EQ(Failure(m_device.Try(kRoot, {{QL_PROP_TMA_SELECT, 1}}, made)), "");
    Set("YRES=600");
    EXPECT_EQ(Number(WIA_IPS_YEXTENT), 6600) << "the feeder's letter page";
}

TEST_F(Properties, OfASourceThatCanNotBeHadNowAreRefused) {
    InstallAndOpen();
    const std::tuple<const char*, const char*, std::uint32_t> cases[] = {
        {"", "open-hatch", 0x8004000E},
        {"[behaviour]\njamAtSheet=1\n", "load", 0x8004000A},
        {"[faults]\nLockScanner=1+:12\n", "load", 0x80040007},  // no connection
    };
    for (const auto& [ini, act, code] : cases) {
        SCOPED_TRACE(ini);
        m_device.Close();
        std::filesystem::remove(m_folder + "/state");
        Open();
        const Words before = Now();
        SetIni(ini);
        Act(act);
        EXPECT_EQ(Write("SELECT=1").code, MakeResult(code));
        SetIni("");
        EXPECT_TRUE(IsFree()) << "no sheet is waited for";
        EXPECT_EQ(Changes(before, Now()), "");
    }
}

TEST_F(Properties, ThatCanNotBeValidatedForWantOfASheetGiveTheScannerBack) {
    InstallAndOpen("[feeder]\nsheets=3\n");
    Set("SELECT=1");
    Set("XEXT=20 YEXT=20");
    CPages pages;
    ASSERT_EQ(Failure(Scan(pages, 1)), "");
    Set("CONTRAST=1");
    EXPECT_FALSE(IsFree()) << "more pages are to come";
    Act("open-hatch");
    EXPECT_EQ(Write("XRES=600").code, MakeResult(0x8004000E));
    EXPECT_TRUE(IsFree());
    Act("close-hatch");
    Set("XEXT=20 YEXT=20");
    EXPECT_EQ(Failure(Scan(pages, 1)), "");
}

}  // namespace
