// The commands that work with scanners, on simulated ones: from the shell's side of the program.

#include <nlohmann/json.hpp>

#include "pictures/picture_reader.h"
#include "tests/tools/device_commands.h"
#include "tools/geometry_text.h"
#include "tools/page_name.h"

namespace {

using Json = nlohmann::json;

Json Property(const Json& set, const std::string& name) {
    for (const Json& item : set["items"]) {
        for (const Json& property : item["properties"]) {
            if (property["name"] == name)
                return property;
        }
    }
    return {};
}

// ---- Devices

TEST_F(DeviceCommands, TheFirstUseInstallsASimulatedScannerAndSaysSo) {
    EXPECT_EQ(Run("devices --names").out, "") << "completion installs nothing";
    const Result first = Run("devices");
    EXPECT_EQ(first.code, 0);
    EXPECT_TRUE(Has(first.error, "No scanner is installed. A simulated one")) << first.error;
    const Result second = Run("devices --json");
    EXPECT_EQ(second.error, "");
    const Json devices = Json::parse(second.out)["devices"];
    ASSERT_EQ(devices.size(), 1u);
    EXPECT_EQ(devices[0]["port"], Scanner() + "/port");
    EXPECT_EQ(Run("devices --names").out, "0000\nSimulated scanner SIM300A\n");
}

TEST_F(DeviceCommands, ScannersAreInstalledSideBySideAndRemoved) {
    EXPECT_TRUE(Has(Run("install --model SIM100F").out, "0000  Simulated scanner SIM100F"));
    EXPECT_TRUE(Has(Run("install --model SIM100F --name Mine").out,
                    "0001  Mine at " + m_home / "scanners/SIM100F-2/port"));
    const struct {
        std::string line;
        int code;
        const char* message;
    } table[] = {
        {"install --model SIM999", 1, "SIM999"},
        {"install --port " + m_home / "scanners/SIM100F/port", 1, "is installed at the port"},
        {"install --port x --model SIM100F", 2, "--model is for a simulated"},
        {"install --port x --io network", 1, "needs its network identifier"},
        {"uninstall Nobody", 1, "there is no device \"Nobody\""},
        {"uninstall 0000", 0, ""},
        {"properties 0000", 1, "there is no device \"0000\""},
        {"press 9 Mine", 1, "the scanner has"},
        {"uninstall Mine", 0, ""},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.line);
        const Result result = Run(row.line);
        EXPECT_EQ(result.code, row.code);
        EXPECT_TRUE(Has(result.error, row.message)) << result.error;
        EXPECT_LE(std::ranges::count(result.error, '\n'), 1) << "one line: " << result.error;
    }
    EXPECT_EQ(Run("devices --names").out, "");
    EXPECT_FALSE(Has(ReadText(m_home / "registry.reg"), "[")) << "no key is left";
}

// ---- Properties

TEST_F(DeviceCommands, JsonHasEveryItemAndAllOfEachProperty) {
    Install();
    const Json set = Json::parse(Run("properties --all --json").out);
    ASSERT_EQ(set["items"].size(), 2u);
    EXPECT_EQ(Property(set, "Horizontal Resolution")["valid"]["kind"], "list");
    const Json brightness = Json::parse(R"({"id": 6154, "name": "Brightness", "type": "long",
        "access": "read-write", "value": 0,
        "valid": {"kind": "range", "min": -1000, "max": 1000, "step": 1, "nominal": 0}})");
    EXPECT_EQ(Property(set, "Brightness"), brightness);
    EXPECT_EQ(Property(set, "Private Defaults")["value"].get<std::string>().size(), 2u * 40);
    const Result people = Run("properties");
    for (const char* part : {"Data Type", "3 (colour)", "-1000 to 1000", "(read only)",
                             "423 (feeder, flatbed, duplex, "})
        EXPECT_TRUE(Has(people.out, part)) << people.out;
    EXPECT_FALSE(Has(people.out, "Private Defaults"));
    const Json brief =
        Json::parse(Run({"properties", "--json", "--set", "Current Intent=Gray, small"}).out);
    EXPECT_EQ(Property(brief, "Current Intent")["value"], 2 + 0x10000);
    EXPECT_EQ(Property(brief, "Current Intent")["words"], "gray, small");
    EXPECT_TRUE(Property(brief, "Private Defaults").is_null());
}

// A window that fits only behind a higher resolution.
TEST_F(DeviceCommands, WritesOfOneCallAreJudgedTogetherAndOneByOneEachOnItsOwn) {
    Install();
    Arguments writes = {"properties", "--json",
                        "--set",      "6147=600",
                        "--set",      "vertical resolution=600",
                        "--set",      "Horizontal Extent=4000"};
    const Result together = Run(writes);
    EXPECT_EQ(together.code, 1);
    EXPECT_TRUE(Has(together.error, "Horizontal Extent=4000 is refused")) << together.error;
    EXPECT_NE(Property(Json::parse(together.out), "Horizontal Resolution")["value"], 600);

    writes.push_back("--one-by-one");
    const Json made = Json::parse(Run(writes).out);
    EXPECT_EQ(Property(made, "Horizontal Extent")["value"], 4000);
    ASSERT_EQ(made["writes"].size(), 3u);
    EXPECT_EQ(made["writes"][0]["result"], 0);
    EXPECT_TRUE(Has(made["writes"][0]["changes"].dump(), "Horizontal Extent")) << "taken along";
    const Result people = Run({"properties", "--set", "data type=gray"});
    EXPECT_TRUE(Has(people.out, "3 (colour) -> 2 (gray)")) << people.out;
}

TEST_F(DeviceCommands, ARefusedWriteIsNamedAndLeavesTheSetUnchanged) {
    Install();
    const std::string before = Run("properties").out;
    const struct {
        const char* set;
        int code;
        const char* message;
    } table[] = {
        {"Brightness=5000", 1, "Brightness=5000 is refused"},
        {"Brightness=much", 2, "Brightness: 'much' is no number"},
        {"Nonsense=1", 2, "there is no property 'Nonsense'"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.set);
        const Result result = Run({"properties", "--set", row.set});
        EXPECT_EQ(result.code, row.code);
        EXPECT_TRUE(Has(result.error, row.message)) << result.error;
        EXPECT_TRUE(row.code != 1 || result.out.ends_with(before)) << result.out;
    }
}

// What a flatbed's options are doesn't say what the feeder's are, and one that isn't there is told.
TEST_F(DeviceCommands, OptionsAreThoseOfEachSource) {
    Install();
    SetIni("[xpa]\nhasXPA=0\n");
    const Json sources = Json::parse(Run("options --json").out)["sources"];
    ASSERT_EQ(sources.size(), 5u);
    const auto option = [&](std::size_t source, const std::string& name) {
        for (const Json& json : sources[source]["options"]) {
            if (json["option"] == name)
                return json;
        }
        return Json();
    };
    EXPECT_EQ(option(0, "--resolution")["default"], 150);
    EXPECT_EQ(option(1, "--resolution")["default"], 300);
    EXPECT_EQ(option(0, "--area")["height"], 297.2);  // 11.7 inches
    EXPECT_EQ(option(1, "--area")["height"], 279.4);
    EXPECT_EQ(option(0, "--brightness")["min"], -1000);
    EXPECT_EQ(option(0, "--mode")["values"],
              Json({"color", "gray", "lineart", "dither", "indexed"}));
    EXPECT_FALSE(sources[3]["available"]);
    const Result people = Run("options");
    EXPECT_TRUE(Has(people.out, "--brightness     -1000 to 1000 (0)")) << people.out;
    EXPECT_TRUE(Has(people.out, "slide: the transparency adapter")) << people.out;
    std::ofstream(Scanner() + "/panel/unload");
    EXPECT_TRUE(Has(Run("options").out, "feeder: the feeder is empty"));
    EXPECT_TRUE(Has(Run("scan --dry-run --source duplex -o a.pdf").error, "the feeder is empty"));
}

// ---- Scans

TEST_F(DeviceCommands, EverySourceAndModeIsScannedAtItsSize) {
    Install();
    // Sizes from the model: 300ths of an inch x resolution / 300, truncated.
    const struct {
        const char* options;
        std::int32_t width;
        std::int32_t height;
        std::int32_t bits;
    } table[] = {
        {"", 1275, 1755, 24},
        {"--mode lineart --threshold 128", 1275, 1755, 8},  // as it is read back
        {"--medium file --mode lineart", 1275, 1755, 8},
        {"--mode dither", 1275, 1755, 8},
        {"--mode indexed", 1275, 1755, 24},
        {"--medium file --palette adaptive", 1275, 1755, 24},
        {"--source slide --palette gray", 212, 141, 8},
        {"--area 10,20,50,30mm", 295, 177, 24},
        {"--area 1,1,2,0.5in --mode gray", 300, 75, 8},
        {"--paper a4", 1240, 1754, 24},
        {"--area 1,1,2,0.5in --sharpen 0 --smooth strong --streaks 2 --streak-detail blue", 300, 75,
         24},
        // The adapter's frame of 425 x 283, by way of whole thousandths of an inch.
        {"--source slide", 212, 141, 24},
        {"--source negative", 212, 141, 24},
        {"--source duplex --pages 1", 1275, 1650, 24},  // a letter page
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.options);
        Act("load");
        const Result result = Run(std::string("scan -o @a.png --resolution 150 ") + row.options);
        ASSERT_EQ(result.code, 0) << result.error;
        EXPECT_EQ(result.error, "");
        EXPECT_TRUE(Has(result.out, Page("a.png") + ": page 1, ")) << result.out;
        EXPECT_EQ(Pages(), Names{"a.png"});
        std::string error;
        const auto picture = OpenPicture(Page("a.png"), &error);
        ASSERT_NE(picture, nullptr) << error;
        EXPECT_EQ(picture->Info().m_width, row.width);
        EXPECT_EQ(picture->Info().m_height, row.height);
        EXPECT_EQ(picture->Info().m_bitsPerPixel, row.bits);
        std::filesystem::remove(Page("a.png"));
    }
}

TEST_F(DeviceCommands, PagesOfAJobAreNumberedOrStandInOneFile) {
    Install();
    const auto scan = [&](const std::string& rest) {
        Act("load");
        return Run("scan --source feeder --resolution 150 --mode gray -q -o @" + rest);
    };
    const Result numbered = scan("page-%2d.png");
    EXPECT_EQ(numbered.code, 0);
    EXPECT_EQ(numbered.out + numbered.error, "") << "quiet";
    EXPECT_EQ(Pages(), (Names{"page-01.png", "page-02.png", "page-03.png"}));
    const std::pair<const char*, int> files[] = {{"", 3},
                                                 {" --pages 2", 2},
                                                 {" --set Pages=1", 1},
                                                 {" --medium file", 3},
                                                 {" --set Preview=1", 1}};
    for (const auto& [options, pages] : files) {
        EXPECT_EQ(scan(std::string("a.tif") + options).code, 0) << options;
        EXPECT_EQ(CountTiffPages(Page("a.tif")), pages) << options;
    }
    EXPECT_EQ(scan("all.pdf").code, 0);
    EXPECT_EQ(CountPdfPages(Page("all.pdf")), 3);
    const std::uint32_t scans = State().scans;
    const Result several = scan("no.png");
    EXPECT_EQ(several.code, 2);
    EXPECT_TRUE(Has(several.error, "holds one page; name a file with %d")) << several.error;
    EXPECT_EQ(State().scans, scans) << "told before anything is scanned";
}

// The engine's header has one resolution for both ways. The glass has 2550 x 3510 at 300 dpi.
TEST_F(DeviceCommands, APageIsToldWithBothItsResolutionsAsItIsInItsFile) {
    Install();
    const std::string scan = "scan --json --mode gray --resolution 150 --set 6148=300 -o @a.tif ";
    const Json flat = {{"x", 150}, {"y", 300}, {"width", 1275}, {"height", 3510}};
    const Json turned = {{"x", 300}, {"y", 150}, {"width", 3510}, {"height", 1275}};
    for (const auto& [options, sides] :
         {std::pair{"", flat}, {"--medium file", flat}, {"--rotate 90", turned}}) {
        SCOPED_TRACE(options);
        const Json page = Json::parse(Run(scan + options).out);
        Json told = page["resolution"];
        told.update(page["pixels"]);
        EXPECT_EQ(told, sides);
        EXPECT_EQ(page["source"], "flatbed");
        EXPECT_EQ(page["mode"], "gray");
        EXPECT_EQ(page["result"], 0);
        std::string error;
        const auto picture = OpenPicture(page["file"], &error);
        ASSERT_NE(picture, nullptr) << error;
        EXPECT_EQ(DotsPerInch(picture->Info().m_xPelsPerMeter), sides["x"]);
        EXPECT_EQ(DotsPerInch(picture->Info().m_yPelsPerMeter), sides["y"]);
    }
}

TEST(PageName, PutsTheNumberWhereItBelongs) {
    EXPECT_EQ(CPageName("%04d-b").ForPage(12), "0012-b");
    EXPECT_EQ(CPageName("%1d").ForPage(12), "12");
    EXPECT_EQ(CPageName("100%%.png").ForPage(1), "100%.png");
    EXPECT_FALSE(CPageName("100%%d.png").IsNumbered());
    for (const char* faulty : {"a%", "%s", "%3", "%d%d", "%99d", "%-3d"})
        EXPECT_TRUE(CPageName(faulty).IsFaulty()) << faulty;
}

TEST(Geometry, OfAWindowGoesFromAnyUnitToTheNearestPixel) {
    std::string error;
    const struct {
        const char* text;
        LONG dpi;
        LONG width;
    } table[] = {
        {"10,0.5,10,3mm", 300, 118},  // 118.11
        {" 0, 0 ,\t1.5 , 1 IN", 150, 225}, {"1,1,7,1px", 150, 7},
        {"1,2,2.54,3 cm", 300, 300},       {"A4", 150, 1240},  // 210 mm: 1240.16
        {"a4 landscape", 100, 1169},       {"letter-Portrait", 100, 850},
    };
    for (const auto& row : table) {
        const auto area = ParseArea(row.text, &error);
        ASSERT_TRUE(area) << row.text;
        EXPECT_EQ(area->Pixels(area->width, row.dpi), row.width) << row.text;
    }
    for (const char* wrong : {"", "1,2,3mm", "1,2,3,4", "1,2,3,-4mm", "1,2,3,4km", "1,2,3,nanmm",
                              "1 0,2,3,4mm", "1,2,3,4 5mm", "a44", "landscape", "mm"})
        EXPECT_FALSE(ParseArea(wrong, &error)) << wrong;
    EXPECT_FALSE(ParsePaper("1,1,1,1mm", &error));
    EXPECT_EQ(ParseResolution("300X600", &error), ScanResolution(300, 600));
    for (const char* wrong : {"", "0", "x", "300x", "300x0", "1e3", "3000000", "1x2x3"})
        EXPECT_FALSE(ParseResolution(wrong, &error)) << wrong;
}

TEST_F(DeviceCommands, AScanExposesItselfAndDrawsItsTones) {
    CBitmapFile dark = CBitmapFile::Make(80, 80, 24);
    for (std::size_t i = 0; i < dark.m_rows.size(); ++i)
        dark.m_rows[i] = static_cast<std::uint8_t>(i / 3 % 32);
    WriteBytes(Scanner() + "/dark.bmp", dark.All());
    SetIni("[flatbed]\npicture=dark.bmp\n[adf2]\nmodeFlags=0\n");
    Install();
    const std::string scan = "scan --area 0,0,30,30px -o @a.png --auto ";
    const Result plain = Run(scan + "expose,color --histogram @h.svg --curves @c.pdf");
    EXPECT_EQ(plain.out.find("Exposure Method 1, Highlight Level 100, Midtone Level"), 0u)
        << plain.out;
    EXPECT_TRUE(Has(plain.out, "Hue Y") && Has(plain.out, "a.png: page 1")) << plain.out;
    EXPECT_EQ(Pages(), (Names{"a.png", "c.pdf", "h.svg"}));
    const Result set = Run(scan + "tone --set 71689=3");  // the highlight
    EXPECT_EQ(set.out.find("Exposure Method 1, Midtone Level"), 0u) << set.out;
    EXPECT_TRUE(Has(Run(scan + "tone --mode lineart").out, "--auto finds nothing to analyse"));
    EXPECT_TRUE(Has(Run(scan + "tone --source feeder --pages 1").error,
                    "--auto: the document feeder can't"));
    for (const char* wrong : {"tone --brightness 3", "more", "tone --curves @c.gif",
                              "expose --set Contrast=3", "tone --set 71686=0"})  // the method
        EXPECT_EQ(Run(scan + wrong).code, 2) << wrong;
}

TEST_F(DeviceCommands, FailuresAreToldInWordsAndLeaveNoHalfPage) {
    Install();
    const struct {
        const char* ini;
        const char* options;
        int code;
        const char* message;
        int left;  // files
    } table[] = {
        {"[behaviour]\nhatchOpen=1\n", "--source feeder -o @a.tif", 1, "is open (0x8004000E)", 0},
        {"[behaviour]\njamAtSheet=2\n", "--source feeder -o @a.tif", 1, "are whole: 1", 1},
        {"[feeder]\nsheets=0\n", "--source feeder -o @a.tif", 1, "feeder is empty (0x", 0},
        {"", "--resolution 4801 -o @a.png", 1, "the scanner can't do 4801 dpi", 0},
        {"", "--area 0,0,900,10mm -o @a.png", 1, "leaves the scanner's glass, which has 215.9", 0},
        {"", "--source feeder --area 0,0,9,300mm -o @a.tif", 1, "leaves the sheet, which has", 0},
        {"", "--paper legal -o @a.png", 1, "legal is larger than the scanner's glass", 0},
        {"", "--paper a4 --area 0,0,9,9mm -o @a.png", 2, "", 0},
        {"", "--brightness 2000 -o @a.png", 1, "Brightness: 2000 is outside the range", 0},
        {"", "-o @no/a.png", 1, "no/a.png: can't be created: No such file", 0},
        {"", "-o @a%s.png", 2, "a '%' stands for the page", 0},
        {"[xpa]\nhasXPA=0\n", "--source slide -o @a.png", 1, "adapter", 0},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.options);
        std::filesystem::remove(Scanner() + "/state");
        SetIni(row.ini);
        const Result result = Run(std::string("scan ") + row.options);
        EXPECT_EQ(result.code, row.code);
        EXPECT_TRUE(Has(result.error, row.message)) << result.error;
        EXPECT_EQ(Pages(), row.left ? Names{"a.tif"} : Names{});
        std::filesystem::remove(Page("a.tif"));
    }
}

TEST_F(DeviceCommands, CtrlCLeavesNoFileAndAUsableScanner) {
    SetIni("[behaviour]\nlinesPerSecond=300\n");
    Install();
    for (const char* name : {"a.bmp", "a.png", "a.tif", "a.pdf"}) {
        SCOPED_TRACE(name);
        CProgram program(m_streams, {"scan", "--resolution", "150", "-o", Page(name)});
        WaitForPage(program);
        program.Send(SIGINT);
        EXPECT_EQ(program.Wait(), 130);
        EXPECT_EQ(program.Error(), "nvqscan: cancelled\n");
        EXPECT_EQ(Pages(), Names{});
    }
    EXPECT_EQ(Run("scan --area 0,0,10,10px -o @b.png").code, 0);
}

// ---- Buttons and the log

// However the folder's buttons came before, and whatever the installation asks for.
TEST_F(DeviceCommands, APressReachesWhoeverWaitsForItAsTheButtonThatItIs) {
    const std::string told = m_home / "told";
    for (const char* how :
         {"--events pipe", "--sub-type index", "", "--sub-type mask", "--events poll",
          "--events pipe --sub-type signal", "--events pipe --sub-type value"}) {
        SCOPED_TRACE(how);
        ASSERT_EQ(Run(std::string("install ") + how).code, 0);
        CProgram program(m_streams, {"buttons", "--count", "1", "--exec",
                                     "echo \"$NVQ_EVENT|$NVQ_DEVICE\" > '" + told + "'"});
        CTempFolder streams;
        // A press between two openings of the port, while the program starts, reaches nobody.
        for (int attempt = 0; attempt < 200 && program.IsRunning(); ++attempt) {
            CProgram press(streams, {"press", "2"});
            press.Wait();
            usleep(50000);
        }
        program.Send(SIGKILL);  // of no effect on one that has heard
        EXPECT_EQ(program.Wait(), 0) << program.Error();
        EXPECT_EQ(program.Out(), "Copy button  {D493B727-5ABC-49EB-9521-F32FFCFD7225}\n");
        EXPECT_EQ(ReadText(told), "Copy button|0000\n");
        ASSERT_EQ(Run("uninstall 0000").code, 0);
    }
    ASSERT_EQ(Run("install --events pipe").code, 0);
    EXPECT_TRUE(Has(Run("press 1").error, "nobody listens"));
}

TEST_F(DeviceCommands, TheLogIsTurnedOnAndOffWhereTheDriverLooks) {
    Install();
    EXPECT_TRUE(Has(Run("log").out, "Logging:  off"));
    const std::string file = m_home / "scan.log";
    const Result on = Run("log on --file " + file + " --level errors information");
    EXPECT_TRUE(Has(on.out, "Levels:   errors, information\n")) << on.out;
    EXPECT_TRUE(Has(ReadText(m_home / "registry.reg"), "\"LogLevel\"=dword:90000040"));
    EXPECT_EQ(Run("scan -q --area 0,0,9,9px -o @a.png").code, 0);
    EXPECT_GT(ReadText(file).size(), 100u);
    EXPECT_TRUE(Has(Run("log off").out, "Logging:  off"));
    std::filesystem::remove(file);
    EXPECT_EQ(Run("scan -q --area 0,0,9,9px -o @a.png").code, 0);
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
