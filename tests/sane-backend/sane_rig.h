// A simulated scanner as a program of SANE has it, by the entries of the built back end.
#pragma once

#include <sane/sane.h>
#include <sane/saneopts.h>

#include <cstring>

#include "tests/driver/scan_rig.h"

class CSaneTest : public CScanTest {
  protected:
    void SetUp() override {
        m_config = TestFolder() + "/sane.d";
        setenv("SANE_CONFIG_DIR", m_config.c_str(), 1);
        WriteWholeFile(m_config + "/nvq.conf", "");
        ASSERT_EQ(sane_init(nullptr, nullptr), SANE_STATUS_GOOD);
    }
    void TearDown() override {
        sane_exit();
        EXPECT_TRUE(!std::filesystem::exists(m_folder + "/port") || IsFree());
        CScanTest::TearDown();
    }

    SANE_Handle OpenAnother() {
        SANE_Handle handle = nullptr;
        EXPECT_EQ(sane_open("", &handle), SANE_STATUS_GOOD);
        return handle;
    }
    void InstallAndOpenSane(const std::string& ini = {}) {
        SetIni(ini);
        Install(Options());
        m_scanner = OpenAnother();
        ASSERT_NE(m_scanner, nullptr);
    }
    // A picture on the glass, and the window on it.
    void LayAndOpenSane() {
        m_picture = RandomPicture(67, 50);
        Lay(m_picture);
        InstallAndOpenSane("[flatbed]\npicture=picture.bmp\n");
        SetPixels(67, 50);
    }
    // Sheets of random pictures of both sides in the feeder that is chosen.
    void LoadSheets(int sheets, const std::string& more = {}) {
        std::string ini = "[feeder]\nsheets=" + std::to_string(sheets) + '\n';
        for (int i = 0; i < 2 * sheets; ++i) {
            m_sides.push_back(RandomPicture(64, 60, static_cast<unsigned>(10 + i)));
            const std::string name = "side" + std::to_string(i) + ".bmp";
            Lay(m_sides.back(), 300, name);
            ini += "page" + std::to_string(i / 2 + 1) + (i % 2 ? ".back=" : "=") + name + '\n';
        }
        InstallAndOpenSane(ini + more);
        SetText(SANE_NAME_SCAN_SOURCE, "ADF");
        SetPixels(64, 60);
    }

    // ---- Options, by name; -1 for one that there isn't

    SANE_Int Option(const std::string& name) const {
        const SANE_Option_Descriptor* descriptor = nullptr;
        for (SANE_Int i = 1; (descriptor = sane_get_option_descriptor(m_scanner, i)); ++i) {
            if (descriptor->type != SANE_TYPE_GROUP && name == descriptor->name)
                return i;
        }
        return -1;
    }
    const SANE_Option_Descriptor& Descriptor(const std::string& name) const {
        return *sane_get_option_descriptor(m_scanner, Option(name));
    }
    bool IsActive(const std::string& name) const {
        return SANE_OPTION_IS_ACTIVE(Descriptor(name).cap);
    }
    SANE_Status Control(const std::string& name, SANE_Action action, void* value,
                        SANE_Int* info = nullptr) {
        return sane_control_option(m_scanner, Option(name), action, value, info);
    }
    SANE_Word Word(const std::string& name) {
        SANE_Word word = -1;
        EXPECT_EQ(Control(name, SANE_ACTION_GET_VALUE, &word), SANE_STATUS_GOOD) << name;
        return word;
    }
    std::string Text(const std::string& name) {
        std::string text(static_cast<std::size_t>(Descriptor(name).size), '#');
        EXPECT_EQ(Control(name, SANE_ACTION_GET_VALUE, text.data()), SANE_STATUS_GOOD) << name;
        return text.c_str();
    }
    // What a write comes to that is refused.
    SANE_Status TrySet(const std::string& name, const void* value) {
        return Control(name, SANE_ACTION_SET_VALUE, const_cast<void*>(value));
    }
    // The SANE_INFO_ bits; the value gets what was made of it.
    SANE_Int SetValue(const std::string& name, void* value) {
        SANE_Int info = -1;
        EXPECT_EQ(Control(name, SANE_ACTION_SET_VALUE, value, &info), SANE_STATUS_GOOD) << name;
        return info;
    }
    SANE_Int SetWord(const std::string& name, SANE_Word& word) { return SetValue(name, &word); }
    SANE_Int SetWord(const std::string& name, SANE_Word&& word) { return SetValue(name, &word); }
    SANE_Int SetMm(const std::string& name, double mm) { return SetWord(name, SANE_FIX(mm)); }
    SANE_Int SetText(const std::string& name, std::string text) {
        text.resize(static_cast<std::size_t>(Descriptor(name).size));
        return SetValue(name, text.data());
    }
    // At 300 dots per inch from the upper left corner.
    void SetPixels(int width, int height) {
        SetWord(SANE_NAME_SCAN_RESOLUTION, 300);
        SetMm(SANE_NAME_SCAN_BR_X, width * 25.4 / 300);
        SetMm(SANE_NAME_SCAN_BR_Y, height * 25.4 / 300);
    }

    // ---- Pages

    SANE_Parameters Parameters() {
        SANE_Parameters parameters = {};
        EXPECT_EQ(sane_get_parameters(m_scanner, &parameters), SANE_STATUS_GOOD);
        return parameters;
    }
    // What stands behind the page's last byte.
    SANE_Status ReadRest(Bytes& bytes, SANE_Int piece = 1000) {
        Bytes part(static_cast<std::size_t>(piece));
        for (;;) {
            SANE_Int read = -1;
            const SANE_Status status = sane_read(m_scanner, part.data(), piece, &read);
            if (status != SANE_STATUS_GOOD) {
                EXPECT_EQ(read, 0);
                return status;
            }
            EXPECT_GT(read, 0);
            EXPECT_LE(read, piece);
            bytes.insert(bytes.end(), part.begin(), part.begin() + read);
        }
    }
    // A page as it is announced, and as the picture on the glass makes it.
    void ExpectScan(const Picture& picture, int bits = 24, SANE_Int piece = 1000) {
        ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
        const SANE_Parameters parameters = Parameters();
        EXPECT_EQ(parameters.format, bits == 24 ? SANE_FRAME_RGB : SANE_FRAME_GRAY);
        EXPECT_EQ(parameters.depth, bits == 1 ? 1 : 8);
        EXPECT_EQ(parameters.pixels_per_line, picture.width);
        EXPECT_EQ(parameters.lines, picture.Height());
        EXPECT_EQ(parameters.bytes_per_line, (picture.width * bits + 7) / 8);
        Bytes bytes;
        EXPECT_EQ(ReadRest(bytes, piece), SANE_STATUS_EOF);
        EXPECT_TRUE(bytes == Packed(RowsOf(picture, bits, picture.Height()), picture.width, bits));
    }
    // The sides of sheets, counted from the first one's front.
    void ExpectSides(const std::vector<std::size_t>& sides) {
        for (const std::size_t side : sides)
            ExpectScan(m_sides[side]);
    }

    std::string m_config;
    SANE_Handle m_scanner = nullptr;
    Picture m_picture;
    std::vector<Picture> m_sides;

  private:
    // A bitmap's rows without padding, red first, black as 1.
    static Bytes Packed(const Bytes& rows, int width, int bits) {
        const int stride = (width * bits + 31) / 32 * 4;
        const int used = (width * bits + 7) / 8;
        Bytes packed;
        for (int i = 0; i < static_cast<int>(rows.size()); ++i) {
            const int x = i % stride;
            if (x >= used)
                continue;
            const int from = bits == 24 ? i - x % 3 + 2 - x % 3 : i;
            BYTE value = rows[static_cast<std::size_t>(from)];
            if (bits == 1)
                value =
                    static_cast<BYTE>(~value & (x == width / 8 ? 0xFF << (8 - width % 8) : 0xFF));
            packed.push_back(value);
        }
        return packed;
    }
};
