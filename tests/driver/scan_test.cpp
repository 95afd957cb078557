// Whole pages from the glass, through service, driver, engine and toolkit, compared byte by byte
// with what they must be.
#include "frontend/mini_driver.h"
#include "service/page_reader.h"
#include "tests/driver/scan_rig.h"

namespace {

using Scans = CScanTest;

TEST_F(Scans, AtTheDevicesResolutionHaveThePicturesPixels) {
    const Picture whole = RandomPicture(540, 90);
    OpenWith(whole);
    for (const auto& [width, height] : {std::pair{83, 61}, {4, 20}, {5, 21}, {533, 41}}) {
        SetWindow(300, 300, 7, 5, width, height);
        EXPECT_TRUE(IsFree()) << "settings alone keep nobody out";
        for (const int bits : {24, 8, 1}) {
            SCOPED_TRACE(testing::Message() << width << " pixels of " << bits << " bits");
            SetMode(bits);
            ExpectBoth(Cut(whole, 7, 5, width, height), bits, height);
        }
    }
}

// The two films are two pictures: the one that the device takes is the one that was announced. On
// the glass the choice of film means nothing.
TEST_F(Scans, OfFilmSayWhichOneItIs) {
    const Picture paper = RandomPicture(64, 60);
    Lay(RandomPicture(40, 40, 2), 300, "slide.bmp");
    Lay(RandomPicture(40, 40, 3), 300, "negative.bmp");
    OpenWith(paper, 300,
             "[slide]\npicture=slide.bmp\n[negative]\npicture=negative.bmp\n"
             "[behaviour]\nrecord=1\n");
    const auto expect = [this](LONG adapter, LONG film, const char* source) {
        Set({{QL_PROP_TMA_SELECT, adapter}}, "Root");
        Set({{QL_PROP_TMA_METHOD, film}});
        const std::size_t before = Calls().size();
        CPages pages;
        EXPECT_EQ(Failure(Scan(pages)), "");
        EXPECT_NE(Calls().find(source, before), std::string::npos) << adapter << ' ' << film;
    };
    expect(1, 0, "source 2,");
    expect(1, 1, "source 3,");
    expect(0, 1, "source 0,");
}

// Whatever becomes of them: blue ahead of red, on both media. Lines that the driver fills up with
// are missing.
TEST_F(Scans, GiveTheLinesOfTheDeviceToo) {
    const Picture whole = RandomPicture(64, 60);
    OpenWith(whole, 300, "[behaviour]\nendAtLine=45\n");
    SetWindow(300, 300, 3, 5, 50, 50);
    SetMode(1);
    for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
        UseMedium(medium);
        CPages result, input;
        ASSERT_EQ(Failure(Scan(result, -1, nullptr, &input)), "");
        const Bytes& rows = input.m_pages.at(0).rows;
        EXPECT_TRUE(input.m_pages[0].ended);
        ASSERT_EQ(rows.size(), 45u * 152);
        for (std::size_t i = 0; i < 45 * 150; ++i) {
            const int x = static_cast<int>(i / 3 % 50), y = static_cast<int>(i / 150);
            ASSERT_EQ(rows[i / 150 * 152 + i % 150], whole.At(3 + x, 5 + y, 2 - i % 3));
        }
    }
    std::filesystem::remove(CPages().PageFile(1));
}

// A row is longer than the service's least buffer, and comes in parts.
TEST_F(Scans, MayBeWiderThanTheClientsBuffer) {
    const Picture whole = RandomPicture(24000, 24);
    OpenWith(whole, 4800);
    SetWindow(4800, 4800, 0, 0, 24000, 16);
    ExpectBoth(Cut(whole, 0, 0, 24000, 16), 24, 16, 4800);
}

TEST_F(Scans, OfOneChannelHaveIt) {
    // In steps of four, so that (red + 2 green + blue) / 4 has no fraction.
    const Picture whole = RandomPicture(50, 45, 2, 4);
    OpenWith(whole);
    SetWindow(300, 300, 0, 0, 50, 45);
    for (const LONG channel : {2, 3, 4, 5}) {
        SCOPED_TRACE(channel);
        Picture stream{50, {}, 1};
        for (std::size_t i = 0; i < whole.samples.size(); i += 3) {
            const BYTE* rgb = whole.samples.data() + i;
            stream.samples.push_back(static_cast<BYTE>(
                channel < 5 ? rgb[channel - 2] : (rgb[0] + 2 * rgb[1] + rgb[2]) / 4));
        }
        SetMode(8, channel);
        ExpectBoth(stream, 8, 45);
    }
}

// 1200 is this device's highest, so that 2400 is twice of it; what the bands don't give of the
// window's lines is white.
TEST_F(Scans, BeyondTheDevicesResolutionAreScaledUp) {
    OpenWith(RandomPicture(60, 50, 4), 1200,
             "[simulator]\nmodel=SIM100F\n[device]\nlampWarmUpFlatbed=0\nmaxXResolution=1200\n");
    SetWindow(2400, 2400, 0, 0, 87, 95);
    // (87 x 300 + 0.5) / 2400 = 10.8 is 10 units, 40 pixels; (95 x 300 + 0.5) / 2400 = 11.8 is 11,
    // 44 lines.
    const Picture scan = Cut(RandomPicture(60, 50, 4), 0, 0, 40, 44);
    ExpectBoth(ScaledTo(scan, 87, {40, 40, 8}), 24, 95, 2400);
}

TEST_F(Scans, OfShortMediaAreWhiteToTheEndOrCut) {
    const Picture whole = RandomPicture(70, 100, 5);
    const struct {
        int endAtLine;
        int yRes;
        int lines;
        std::vector<std::size_t> bands;  // of a page with white lines, when it is scaled
        std::vector<std::size_t> cut;    // of one that is cut
    } cases[] = {
        {33, 300, 61, {}, {}}, {12, 300, 61, {}, {}}, {33, 150, 30, {10, 10, 10}, {10, 6}}};
    OpenWith(whole);
    for (const auto& c : cases) {
        for (const int bits : {24, 8, 1}) {
            SCOPED_TRACE(testing::Message() << c.endAtLine << " lines of " << bits << " bits");
            const std::string ini = "[flatbed]\npicture=picture.bmp\n";
            SetIni(ini);
            SetMode(bits);
            SetWindow(300, c.yRes, 0, 0, 70, c.lines);
            SetIni(ini + "[behaviour]\nendAtLine=" + std::to_string(c.endAtLine) + '\n');
            const Picture media = Cut(whole, 0, 0, 70, c.endAtLine);
            // The band in which the medium ends has white lines before it is scaled.
            const Picture page = Cut(media, 0, 0, 70, c.lines * 300 / c.yRes);
            ExpectOnCallback(c.bands.empty() ? page : ScaledTo(page, 70, c.bands), bits, c.lines);
            const Picture cut = c.cut.empty() ? media : ScaledTo(media, 70, c.cut);
            ExpectInFile(cut, bits, cut.Height());
            UseMedium(TYMED_CALLBACK);
            CPages pages;
            CPages input;
            EXPECT_EQ(Failure(Scan(pages, -1, nullptr, &input)), "");
            EXPECT_EQ(input.m_pages.at(0).rows.size(),
                      input.m_pages[0].page.stride * static_cast<std::size_t>(cut.Height()))
                << "white that the driver adds is no input";
        }
    }
}

// Fewer lines than the engine leaves behind at its first feed, and bands that bring as few.
TEST_F(Scans, OfFewLinesComeWhole) {
    const Picture whole = RandomPicture(61, 60);
    const std::string coarse = "[flatbed]\npicture=picture.bmp\n";
    OpenWith(whole);
    Lay(whole, 600, "fine.bmp");
    for (int lines = 1; lines <= 12; ++lines) {
        SCOPED_TRACE(testing::Message() << lines << " lines");
        SetIni(coarse);
        SetWindow(300, 300, 0, 0, 6, lines);
        ExpectBoth(Cut(whole, 0, 0, 6, lines), 24, lines);
        SetWindow(300, 300, 0, 0, 6, 40);
        SetIni(coarse + "[behaviour]\nendAtLine=" + std::to_string(lines) + '\n');
        Picture part = Cut(whole, 0, 0, 6, lines);
        part.announced = 40;
        ExpectInFile(part, 24, lines);
        // Five lines a band.
        SetIni("[flatbed]\npicture=fine.bmp\n");
        SetWindow(600, 150, 0, 0, 6, lines);
        std::vector<std::size_t> bands(static_cast<std::size_t>(lines / 5), 5);
        if (lines % 5 != 0)
            bands.push_back(static_cast<std::size_t>(lines % 5));
        ExpectBoth(ScaledTo(Cut(whole, 0, 0, 6, 4 * lines), 6, bands), 24, lines, 600);
    }
}

// Media that end within the first line, scaled or not.
TEST_F(Scans, WithoutALineAreWhite) {
    OpenWith(RandomPicture(61, 60), 600);
    const Picture white{6, Bytes(6 * 12 * 3, 0xFF)};
    for (const auto& [yRes, fault] : {std::pair(600, "[faults]\nReadScan=1:15\n"),
                                      std::pair(150, "[behaviour]\nendAtLine=3\n")}) {
        SCOPED_TRACE(yRes);
        SetIni("");
        SetWindow(600, yRes, 0, 0, 6, 12);
        SetIni(fault);
        ExpectInFile(white, 24, 12, 600);
    }
}

// A dark dot stays by itself, gets darker where detail is sharpened, and spreads where it is
// smoothed.
TEST_F(Scans, AreFilteredAsTheItemSays) {
    Picture dot{40, Bytes(40 * 30 * 3, 200)};
    std::fill_n(dot.samples.begin() + (12 * 40 + 20) * 3, 3, BYTE{100});
    OpenWith(dot);
    SetWindow(300, 300, 0, 0, 40, 30);
    Set({{QL_PROP_SMOOTHING, 0}, {QL_PROP_SHARPEN_LEVEL, 5}});
    dot.announced = 0;
    ExpectBoth(dot, 24, 30);
    UseMedium(TYMED_CALLBACK);
    const auto scan = [this](LONG smoothing, LONG streaks) {
        Set({{QL_PROP_SMOOTHING, smoothing}, {QL_PROP_STREAKS, streaks}});
        CPages pages;
        EXPECT_EQ(Failure(Scan(pages)), "");
        return pages.m_pages.at(0).rows;
    };
    const std::size_t at = (12 * 40 + 20) * 3;
    const Bytes plain = scan(0, 0), sharp = scan(0, 1), smooth = scan(2, 0);
    EXPECT_LT(sharp.at(at), plain.at(at));
    EXPECT_GT(smooth.at(at), plain.at(at));
    EXPECT_LT(smooth.at(at + 120), plain.at(at + 120)) << "in the line below";
    EXPECT_EQ(scan(0, 0), plain);
}

// ---- Pages that don't come through

TEST_F(Scans, CanBeCancelledAtEveryMoment) {
    const Picture whole = RandomPicture(40, 100, 6);
    OpenWith(whole);
    SetWindow(300, 300, 0, 0, 40, 100);
    for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
        UseMedium(medium);
        CPages full;
        ASSERT_EQ(Failure(Scan(full)), "");
        ASSERT_GT(full.m_calls, 5);
        std::filesystem::remove(full.PageFile(1));
        for (int call = 1; call < full.m_calls; ++call) {
            SCOPED_TRACE(call);
            CPages pages;
            pages.m_stopAt = call;
            int scanned = -1;
            ASSERT_EQ(Scan(pages, -1, &scanned).code, S_FALSE);
            EXPECT_EQ(scanned, 0);
            EXPECT_FALSE(std::filesystem::exists(pages.PageFile(1)));
        }
    }
    ExpectBoth(whole, 24, 100);
}

TEST_F(Scans, ThatFailTellTheScannersResultAndTheNextOneIsWhole) {
    const Picture whole = RandomPicture(61, 47);
    const std::string ini = "[flatbed]\npicture=picture.bmp\n";
    OpenWith(whole);
    SetWindow(300, 300, 0, 0, 61, 47);
    for (const std::string fault : {"SetTonemap", "StartScan"}) {
        for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
            SCOPED_TRACE(fault);
            UseMedium(medium);
            SetIni(ini + "[faults]\n" + fault + "=1+:12\n");
            CPages pages;
            EXPECT_EQ(static_cast<std::uint32_t>(Scan(pages).code), 0x80040007u);
            EXPECT_EQ(pages.m_calls, 0);
            SetIni(ini);
            ExpectBoth(whole, 24, 47);
        }
    }
}

// Of a page of 2550 x 100 in colour the device gives 8 lines a read. What came before the failure
// stays, the client gets the page, and the scan ends with the failure; a reader that pulls it gets
// all rows first.
TEST_F(Scans, ThatBreakOffInMidPageTellWhy) {
    const Picture whole = RandomPicture(2550, 100);
    OpenWith(whole);
    SetWindow(300, 300, 0, 0, 2550, 100);
    const std::string ini = "[flatbed]\npicture=picture.bmp\n";
    // Other faults than before, so that reads are counted from 1 again.
    auto failAt = [&, turn = 0](const char* fault) mutable {
        SetIni(ini + "[faults]\nReadScan=" + fault + "\nReadNvram=" + std::to_string(++turn + 99) +
               ":12\n");
    };
    const std::pair<const char*, HRESULT> faults[] = {{"7:12", MakeResult(0x80040007)},
                                                      {"7:100", MakeResult(0x8004000A)},
                                                      {"7:16", kCancelledAtScanner},
                                                      {"1:12", MakeResult(0x80040007)}};
    for (const auto& [fault, code] : faults) {
        for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
            SCOPED_TRACE(testing::Message() << fault << " on medium " << medium);
            UseMedium(medium);
            failAt(fault);
            CPages pages;
            int scanned = -1;
            EXPECT_EQ(Scan(pages, -1, &scanned).code, code);
            EXPECT_EQ(scanned, 0);
            EXPECT_TRUE(pages.m_pages.at(0).ended);
            EXPECT_EQ(pages.m_pages[0].page.result, code);
            EXPECT_EQ(Number(QL_PROP_PAGE_RESULT, "Root"), code);
            EXPECT_TRUE(IsFree());
            if (medium == TYMED_CALLBACK) {
                EXPECT_EQ(pages.m_pages[0].rows.size(), 7652u * 100);
            } else {
                const std::string file = ReadWholeFile(pages.PageFile(1));
                LONG lines = 0;
                std::memcpy(&lines, file.data() + 22, sizeof(lines));
                EXPECT_EQ(file.size(), 54u + 7652u * static_cast<std::size_t>(lines));
                EXPECT_EQ(lines == 100, *fault == '1') << lines;
                std::filesystem::remove(pages.PageFile(1));
            }
        }
        UseMedium(TYMED_CALLBACK);
        failAt(fault);
        CPageReader reader;
        std::optional<ScanPage> page;
        ASSERT_EQ(Failure(reader.Start(m_device, "Top")), "");
        ASSERT_EQ(Failure(reader.NextPage(page)), "");
        Bytes rows(7652u * 101);
        std::size_t read = 0;
        std::size_t all = 0;
        while (reader.Read(rows.data(), rows.size(), read).code == S_OK && read > 0)
            all += read;
        EXPECT_EQ(all, 7652u * 100);
        EXPECT_EQ(reader.Read(rows.data(), rows.size(), read).code, code);
        EXPECT_EQ(reader.End().code, code);
    }
    SetIni(ini);
    CPages pages;
    EXPECT_EQ(Failure(Scan(pages)), "");
    EXPECT_EQ(pages.m_pages.at(0).page.result, S_OK);
    EXPECT_EQ(Number(QL_PROP_PAGE_RESULT, "Root"), S_OK);
}

// The device has lines ahead when the button is pressed, but not all of them.
TEST_F(Scans, EndByTheScannersOwnButton) {
    OpenWith(RandomPicture(2550, 100));
    SetWindow(300, 300, 0, 0, 2550, 1000);
    for (const LONG medium : {TYMED_CALLBACK, TYMED_FILE}) {
        UseMedium(medium);
        CPages pages;
        pages.m_onCall = [&] {
            if (pages.m_calls == 3)
                Act("cancel");
        };
        EXPECT_EQ(Scan(pages).code, kCancelledAtScanner);
        EXPECT_EQ(pages.m_pages.at(0).page.result, kCancelledAtScanner);
        EXPECT_EQ(std::filesystem::remove(pages.PageFile(1)), medium == TYMED_FILE);
    }
}

TEST_F(Scans, AreRefusedAtTheDoorForNonsense) {
    Install(Options());
    ComPtr<IWiaMiniDrv> driver;
    ASSERT_EQ(
        CoCreateInstance(CLSID_MiniDrv, nullptr, CLSCTX_ALL, IID_IWiaMiniDrv, driver.OutVoid()),
        S_OK);
    BYTE item = 0;
    LONG error = 0;
    MINIDRV_TRANSFER_CONTEXT context = {};
    context.lSize = sizeof(context);
    EXPECT_EQ(driver->drvAcquireItemData(nullptr, 0, &context, &error), E_INVALIDARG);
    EXPECT_EQ(driver->drvAcquireItemData(&item, 0, nullptr, &error), E_INVALIDARG);
    EXPECT_EQ(driver->drvAcquireItemData(&item, 0, &context, &error), E_FAIL) << "not opened";
}

}  // namespace
