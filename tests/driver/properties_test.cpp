// The properties of both items as they are built, and what writes make of them.
#include <algorithm>
#include <iterator>
#include <map>

#include "tests/driver/driver_rig.h"

namespace {

std::string ShowGuid(const GUID& guid) {
    if (guid == WiaImgFmt_MEMORYBMP)
        return "MEMORYBMP";
    return guid == WiaImgFmt_BMP ? "BMP" : "other";
}

std::string Show(const PropertyValue& value) {
    if (const LONG* number = std::get_if<LONG>(&value))
        return std::to_string(*number);
    if (const auto* text = std::get_if<std::string>(&value))
        return '"' + *text + '"';
    if (const GUID* guid = std::get_if<GUID>(&value))
        return ShowGuid(*guid);
    if (const auto* bytes = std::get_if<Bytes>(&value))
        return std::to_string(bytes->size()) + " bytes";
    return "nothing";
}

// "0..100 n50" for a range, "1,2,3 n1" for a list, "bits 7" for flags; n is the nominal value.
std::string ShowValid(const ValidValues& valid) {
    switch (valid.kind) {
        case ValidKind::Range:
            return std::to_string(valid.min) + ".." + std::to_string(valid.max) +
                   (valid.step == 1 ? "" : " step " + std::to_string(valid.step)) + " n" +
                   Show(valid.nominal);
        case ValidKind::List: {
            std::string all;
            for (const PropertyValue& value : valid.list)
                all += (all.empty() ? "" : ",") + Show(value);
            return all + " n" + Show(valid.nominal);
        }
        case ValidKind::Flags:
            return "bits " + std::to_string(valid.bits);
        case ValidKind::Anything:
            break;
    }
    return {};
}

std::string Join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    return text;
}

// What both items say of themselves, by item and id.
struct Shown {
    std::string value;
    std::string valid;
};
using Everything = std::map<std::pair<std::string, PROPID>, Shown>;

class Properties : public CDriverTest {
  protected:
    // The driver's own properties of an item, in their order: id, name, access, value, valid ones.
    std::string Built(const std::string& item) {
        std::vector<ScanProperty> properties;
        EXPECT_EQ(Failure(m_device.Read(item, {}, properties)), "");
        std::vector<std::string> lines;
        for (const ScanProperty& p : properties) {
            if (p.id < WIA_DPA_FIRMWARE_VERSION || p.id == WIA_DPA_CONNECT_STATUS ||
                (p.id >= WIA_IPA_ITEM_NAME && p.id <= WIA_IPA_ITEM_FLAGS))
                continue;  // the service's
            std::string line = std::to_string(p.id) + '|' + p.name + '|' +
                               std::to_string(p.access) + '|' + Show(p.value);
            if (const std::string valid = ShowValid(p.valid); !valid.empty())
                line += '|' + valid;
            lines.push_back(line);
        }
        return Join(lines);
    }
    std::string RootRow(PROPID id) {
        std::vector<ScanProperty> properties;
        EXPECT_EQ(Failure(m_device.Read("Root", {id}, properties)), "");
        return properties.empty()
                   ? "none"
                   : Show(properties[0].value) + ' ' + ShowValid(properties[0].valid);
    }
    // Values and valid values, also those that are the service's. The item's size, which a read
    // works out from the others, is left out.
    Everything All() {
        Everything all;
        for (const char* item : {"Root", "Top"}) {
            std::vector<ScanProperty> properties;
            EXPECT_EQ(Failure(m_device.Read(item, {}, properties)), "");
            for (const ScanProperty& p : properties)
                all[{item, p.id}] = {Show(p.value), ShowValid(p.valid)};
        }
        all.erase({"Top", WIA_IPA_ITEM_SIZE});
        return all;
    }
    // What differs: "Top 6147=300", "Top 6151:0..2550 n0".
    static std::vector<std::string> Changes(const Everything& before, const Everything& after) {
        std::vector<std::string> changes;
        for (const auto& [key, now] : after) {
            const auto old = before.find(key);
            const std::string name = key.first + ' ' + std::to_string(key.second);
            if (old == before.end() || old->second.value != now.value)
                changes.push_back(name + '=' + now.value);
            if (old != before.end() && old->second.valid != now.valid)
                changes.push_back(name + ':' + now.valid);
        }
        if (after.size() != before.size())
            changes.push_back("another count of properties");
        return changes;
    }
    void Reset() {
        Set({{WIA_DPS_DOCUMENT_HANDLING_SELECT, FLATBED}}, "Root");
        Set({{QL_PROP_TMA_SELECT, 0}}, "Root");
        ASSERT_EQ(Failure(m_device.Synchronize()), "");
    }
};

// 2550 x 3510 units of 1/300 inch are 8.5 x 11.7 inches; the feeder takes 14 inches.
TEST_F(Properties, OfTheRootTellTheDevice) {
    InstallAndOpen();
    EXPECT_EQ(
        Built("Root"),
        Join({"3074|Horizontal Bed Size|9|8500", "3075|Vertical Bed Size|9|11700",
              "3076|Horizontal Sheet Feed Size|9|8500", "3077|Vertical Sheet Feed Size|9|14000",
              "4102|Access Rights|9|3", "3090|Horizontal Optical Resolution|9|2400",
              "3091|Vertical Optical Resolution|9|2400", "1026|Firmware Version|9|\"SIM 3.00A\"",
              "3095|Max Scan Time|9|500000", "3100|Preview|35|0|0,1 n0",
              "3103|Show preview control|9|1", "3078|Sheet Feeder Registration|9|0",
              "3080|Vertical Bed Registration|9|0", "3086|Document Handling Capabilities|9|423",
              "3088|Document Handling Select|67|2|bits 7", "3087|Document Handling Status|9|1",
              "3096|Pages|19|1|0..50 n1", "71683|TMA Select|35|0|0,1 n0"}));
}

// The item's size is that of a bitmap in memory, worked out when it is read: 40 bytes of header and
// 1755 lines of 3825 bytes, rounded up to 3828.
TEST_F(Properties, OfTheTopItemAreThoseOfTheFlatbedAtFirst) {
    InstallAndOpen();
    EXPECT_EQ(Built("Top"),
              Join({"6147|Horizontal Resolution|35|150|150,300,600,1200,2400,4800 n150",
                    "6148|Vertical Resolution|35|150|150,300,600,1200,2400,4800,9600 n150",
                    "6151|Horizontal Extent|19|1275|0..1275 n1275",
                    "6152|Vertical Extent|19|1755|0..1755 n1755",
                    "4112|Pixels Per Line|9|1275",
                    "4114|Number of Lines|9|1755",
                    "6149|Horizontal Start Position|19|0|0..1275 n0",
                    "6150|Vertical Start Position|19|0|0..1755 n0",
                    "6154|Brightness|19|0|-1000..1000 n0",
                    "6155|Contrast|19|0|-1000..1000 n0",
                    "6146|Current Intent|67|0|bits 196615",
                    "4103|Data Type|35|3|0,1,2,3 n3",
                    "4104|Bits Per Pixel|35|24|1,8,16,24 n24",
                    "4118|Minimum Buffer Size|9|262144",
                    "4110|Bits Per Channel|35|8|1,8 n8",
                    "4109|Channels Per Pixel|9|3",
                    "6159|Threshold|19|55|0..128 n55",
                    "4107|Compression|9|0",
                    "4123|Filename extension|9|\"BMP\"",
                    "4106|Format|35|MEMORYBMP|MEMORYBMP,BMP nMEMORYBMP",
                    "4105|Preferred Format|9|MEMORYBMP",
                    "4120|Color Profile Name|43|\"sRGB Color Space Profile\"",
                    "4116|Item Size|9|6718180",
                    "4111|Planar|9|0",
                    "4108|Media Type|35|128|128,2 n128",
                    "4102|Access Rights|9|3",
                    "6153|Photometric Interpretation|9|0",
                    "4113|Bytes Per Line|9|0",
                    "71685|Scanner Channel|35|0|0,2,3,4,1,5 n0",
                    "71686|Exposure Method|35|0|0,1 n0",
                    "71684|TMA Method|35|0|0,1 n0",
                    "71689|Highlight Level|19|0|-100..100 n0",
                    "71691|Midtone Level|19|0|-100..100 n0",
                    "71690|Shadow Level|19|0|-100..100 n0",
                    "71692|Gamma|19|2200|0..4000 n2200",
                    "71693|Hue X|19|0|-100..100 n0",
                    "71694|Hue Y|19|0|-100..100 n0",
                    "71695|Sharpen Level|19|2|0..5 n2",
                    "71696|Saturation|19|1000|0..1500 n1000",
                    "71698|Private Defaults|9|40 bytes",
                    "71699|Private Property|9|72 bytes",
                    "71700|Private Property|9|72 bytes",
                    "71701|Private Property|9|72 bytes",
                    "71708|Private Property|9|144 bytes",
                    "71709|Private Property|9|72 bytes",
                    "71702|Private Property|9|88 bytes",
                    "71703|Private Property|9|88 bytes",
                    "71704|Private Property|9|88 bytes",
                    "71705|Private Property|9|88 bytes",
                    "71706|Private Property|9|88 bytes",
                    "71707|Private Property|9|56 bytes",
                    "71711|Private Property|9|0"}));
}

TEST_F(Properties, FollowTheModel) {
    struct Case {
        const char* ini;
        std::vector<std::pair<PROPID, const char*>> root;
        std::vector<std::pair<PROPID, LONG>> top;
    };
    const Case cases[] = {
        // A feeder without paper: its area is not asked for.
        {"[feeder]\nsheets=0\n",
         {{3076, "8500 "}, {3077, "11700 "}, {3103, "1 "}, {3087, "2 "}, {3088, "2 bits 7"}},
         {{WIA_IPS_XRES, 150}, {WIA_IPS_YEXTENT, 1755}}},
        {"[simulator]\nmodel=SIM100F\n",
         {{3076, "0 "},
          {3077, "0 "},
          {3103, "0 "},
          {3087, "2 "},
          {3088, "2 bits 2"},
          {3090, "1200 "},
          {1026, "\"n/a\" "},
          {3086, "423 "}},
         {{WIA_IPS_XRES, 150}, {WIA_IPS_XEXTENT, 1275}, {WIA_IPS_YEXTENT, 1755}}},
        // Nothing but a feeder, which takes 8.5 x 14 inches: also while it is empty.
        {"[simulator]\nmodel=SIM200S\n",
         {{3074, "8500 "},
          {3075, "14000 "},
          {3076, "8500 "},
          {3077, "14000 "},
          {3103, "1 "},
          {3087, "1 "},
          {3088, "1 bits 1"},
          {1026, "\"SIM 2.00S\" "}},
         {{WIA_IPS_XRES, 300}, {WIA_IPS_XEXTENT, 2550}, {WIA_IPS_YEXTENT, 4200}}},
        {"[simulator]\nmodel=SIM200S\n[feeder]\nsheets=0\n",
         {{3087, "2 "}, {3088, "1 bits 1"}},
         {{WIA_IPS_XRES, 300}, {WIA_IPS_XEXTENT, 2550}, {WIA_IPS_YEXTENT, 4200}}},
        // Duplex is a switch's business: not offered, and told where it stands.
        {"[simulator]\nmodel=SIM500D\n",
         {{3074, "8640 "},
          {3075, "14000 "},
          {3076, "8640 "},
          {3077, "14000 "},
          {3087, "1 "},
          {3088, "2 bits 3"},
          {3090, "4800 "},
          {1026, "\"SIM 5.00D\" "}},
         {{WIA_IPS_XEXTENT, 1296}, {WIA_IPS_YEXTENT, 2100}}},
        {"[simulator]\nmodel=SIM500D\n[feeder]\nduplexSwitch=1\n",
         {{3076, "8500 "}, {3077, "11700 "}, {3087, "5 "}, {3088, "2 bits 3"}},
         {{WIA_IPS_XEXTENT, 1296}}},
    };
    Install(Options());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ini);
        m_device.Close();
        std::filesystem::remove(m_folder + "/state");
        // The driver keeps the name of the model that it has met.
        ForgetRegistry();
        Install(Options());
        SetIni(c.ini);
        Open();
        for (const auto& [id, row] : c.root)
            EXPECT_EQ(RootRow(id), row) << id;
        for (const auto& [id, value] : c.top)
            EXPECT_EQ(Number(id), value) << id;
    }
}

// ---- Writes

struct Step {
    const char* item;
    std::vector<PropertyWrite> writes;
};
struct Rule {
    const char* name;
    std::vector<Step> before;
    Step step;
    std::vector<std::string> changes;  // by item and id
};

constexpr const char* kTop = "Top";
constexpr const char* kRoot = "Root";
constexpr PROPID kSelect = WIA_DPS_DOCUMENT_HANDLING_SELECT;

// A letter page is 11 inches long, and 300 dots per inch are the feeder's.
const std::vector<std::string> kFeederMade = {
    "Top 4112=2550",       "Top 4114=3300",
    "Top 6147=300",        "Top 6147:150,300,600,1200,2400,4800 n300",
    "Top 6148=300",        "Top 6148:150,300,600,1200,2400,4800,9600 n300",
    "Top 6149:0..2550 n0", "Top 6150:0..3300 n0",
    "Top 6151=2550",       "Top 6151:0..2550 n2550",
    "Top 6152=3300",       "Top 6152:0..3300 n3300"};

// The first of the adapter's media: 425 x 283 units are 1.416 x 0.943 inches, at 600 dots per inch.
const std::vector<std::string> kAdapterMade = {
    "Top 4112=849",       "Top 4114=565",
    "Top 6147=600",       "Top 6147:150,300,600,1200,2400,4800 n600",
    "Top 6148=600",       "Top 6148:150,300,600,1200,2400,4800,9600 n600",
    "Top 6149:0..849 n0", "Top 6150:0..565 n0",
    "Top 6151=849",       "Top 6151:0..849 n849",
    "Top 6152=565",       "Top 6152:0..565 n565"};

std::vector<std::string> Behind(std::vector<std::string> first,
                                const std::vector<std::string>& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

// A line has pixels x depth bits, rounded up to 4 bytes; before the first write it has no length
// yet. Ranges that a rule sets have the nominal value 0.
// clang-format off
const Rule kRules[] = {
    {"one resolution takes its axis along, and the scaler has the other one",
     {},
     {kTop, {{WIA_IPS_XRES, 300}}},
     {"Top 4112=2550", "Top 4113=7652", "Top 6147=300", "Top 6149:0..2550 n0", "Top 6151=2550",
      "Top 6151:0..2550 n0"}},
    {"both resolutions",
     {},
     {kTop, {{WIA_IPS_XRES, 600}, {WIA_IPS_YRES, 600}}},
     {"Top 4112=5100", "Top 4113=15300", "Top 4114=7020", "Top 6147=600", "Top 6148=600",
      "Top 6149:0..5100 n0", "Top 6150:0..7020 n0", "Top 6151=5100", "Top 6151:0..5100 n0",
      "Top 6152=7020", "Top 6152:0..7020 n0"}},
    // 2 for 4800 dots per inch, 1 for 2400.
    {"the scale of the highest resolutions",
     {},
     {kTop,
      {{WIA_IPS_XRES, 2400}, {WIA_IPS_YRES, 2400}, {WIA_IPS_XEXTENT, 8}, {WIA_IPS_YEXTENT, 8}}},
     {"Top 4112=8", "Top 4113=24", "Top 4114=8", "Top 6147=2400", "Top 6148=2400",
      "Top 6149:0..20400 n0", "Top 6150:0..28080 n0", "Top 6151=8", "Top 6151:0..20400 n0",
      "Top 6152=8", "Top 6152:0..28080 n0", "Top 71711=1"}},
    {"a position leaves the extent what lies behind it",
     {},
     {kTop, {{WIA_IPS_XPOS, 100}}},
     {"Top 4112=1175", "Top 4113=3528", "Top 6149=100", "Top 6151=1175", "Top 6151:0..1175 n0"}},
    {"a resolution takes the position along, and the extent to the far edge",
     {{kTop, {{WIA_IPS_XPOS, 100}, {WIA_IPS_XEXTENT, 50}}}},
     {kTop, {{WIA_IPS_XRES, 300}}},
     {"Top 4112=2350", "Top 4113=7052", "Top 6147=300", "Top 6149=200", "Top 6149:0..2550 n0",
      "Top 6151=2350", "Top 6151:0..2550 n0"}},
    {"a lower resolution truncates the position",
     {{kTop, {{WIA_IPS_YRES, 300}}}, {kTop, {{WIA_IPS_YPOS, 201}}}},
     {kTop, {{WIA_IPS_YRES, 150}}},
     {"Top 4114=1655", "Top 6148=150", "Top 6150=100", "Top 6150:0..1755 n0", "Top 6152=1655",
      "Top 6152:0..1755 n0"}},
    {"a window that is written with the resolution stays as written",
     {},
     {kTop, {{WIA_IPS_XRES, 300}, {WIA_IPS_XPOS, 30}, {WIA_IPS_XEXTENT, 400}}},
     {"Top 4112=400", "Top 4113=1200", "Top 6147=300", "Top 6149=30", "Top 6149:0..2550 n0",
      "Top 6151=400", "Top 6151:0..2550 n0"}},
    {"in whatever order, and once",
     {{kTop, {{WIA_IPS_XPOS, 100}}}},
     {kTop, {{WIA_IPS_YPOS, 10}, {WIA_IPS_YRES, 300}, {WIA_IPS_XRES, 300}, {WIA_IPS_YEXTENT, 20}}},
     {"Top 4112=2350", "Top 4113=7052", "Top 4114=20", "Top 6147=300", "Top 6148=300",
      "Top 6149=200", "Top 6149:0..2550 n0", "Top 6150=10", "Top 6150:0..3510 n0",
      "Top 6151=2350", "Top 6151:0..2550 n0", "Top 6152=20", "Top 6152:0..3510 n0"}},
    {"a window over the edge of the bed is cut",
     {},
     {kTop, {{WIA_IPS_XPOS, 1000}, {WIA_IPS_XEXTENT, 500}}},
     {"Top 4112=275", "Top 4113=828", "Top 6149=1000", "Top 6151=275", "Top 6151:0..275 n0"}},
    {"gray by intent",
     {},
     {kTop, {{WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_GRAYSCALE}}},
     {"Top 4103=2", "Top 4104=8", "Top 4109=1", "Top 4113=1276", "Top 6146=2"}},
    {"text by intent",
     {},
     {kTop, {{WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_TEXT}}},
     {"Top 4103=0", "Top 4104=1", "Top 4109=1", "Top 4110=1", "Top 4113=160", "Top 6146=4"}},
    {"small colour by intent: 150 dots per inch on the flatbed",
     {{kTop, {{WIA_IPS_XRES, 600}, {WIA_IPS_YRES, 600}}}},
     {kTop, {{WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_COLOR | WIA_INTENT_MINIMIZE_SIZE}}},
     {"Top 4112=1275", "Top 4113=3828", "Top 4114=1755", "Top 6146=65537", "Top 6147=150",
      "Top 6148=150", "Top 6149:0..1275 n0", "Top 6150:0..1755 n0", "Top 6151=1275",
      "Top 6151:0..1275 n0", "Top 6152=1755", "Top 6152:0..1755 n0"}},
    {"quality by intent raises both axes and takes the window along",
     {},
     {kTop, {{WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_COLOR | WIA_INTENT_MAXIMIZE_QUALITY}}},
     {"Top 4112=2550", "Top 4113=7652", "Top 4114=3510", "Top 6146=131073", "Top 6147=300",
      "Top 6148=300", "Top 6149:0..2550 n0", "Top 6150:0..3510 n0", "Top 6151=2550",
      "Top 6151:0..2550 n0", "Top 6152=3510", "Top 6152:0..3510 n0"}},
    {"quality by intent leaves a resolution that the client wrote",
     {},
     {kTop,
      {{WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_GRAYSCALE | WIA_INTENT_MAXIMIZE_QUALITY},
       {WIA_IPS_XRES, 150}}},
     {"Top 4103=2", "Top 4104=8", "Top 4109=1", "Top 4113=1276", "Top 4114=3510",
      "Top 6146=131074", "Top 6148=300", "Top 6150:0..3510 n0", "Top 6151:0..1275 n0",
      "Top 6152=3510", "Top 6152:0..3510 n0"}},
    {"quality by intent leaves what is higher",
     {{kTop, {{WIA_IPS_XRES, 600}, {WIA_IPS_YRES, 600}}}},
     {kTop, {{WIA_IPS_CUR_INTENT, WIA_INTENT_IMAGE_TYPE_COLOR | WIA_INTENT_MAXIMIZE_QUALITY}}},
     {"Top 6146=131073"}},
    {"size bits without an image type mean nothing",
     {},
     {kTop, {{WIA_IPS_CUR_INTENT, WIA_INTENT_MAXIMIZE_QUALITY}}},
     {"Top 4113=3828", "Top 6146=131072"}},
    {"threshold",
     {},
     {kTop, {{WIA_IPA_DATATYPE, WIA_DATA_THRESHOLD}}},
     {"Top 4103=0", "Top 4104=1", "Top 4109=1", "Top 4110=1", "Top 4113=160"}},
    {"dither",
     {},
     {kTop, {{WIA_IPA_DATATYPE, WIA_DATA_DITHER}}},
     {"Top 4103=1", "Top 4104=1", "Top 4109=1", "Top 4110=1", "Top 4113=160"}},
    {"gray",
     {},
     {kTop, {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}}},
     {"Top 4103=2", "Top 4104=8", "Top 4109=1", "Top 4113=1276"}},
    {"gray of one sensor",
     {},
     {kTop, {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}, {QL_PROP_SCANNER_CHANNEL, 3}}},
     {"Top 4103=2", "Top 4104=8", "Top 4109=1", "Top 4113=1276", "Top 71685=3"}},
    {"the device's own gray in place of the norm's",
     {},
     {kTop, {{QL_PROP_SCANNER_CHANNEL, 1}, {WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}}},
     {"Top 4103=2", "Top 4104=8", "Top 4109=1", "Top 4113=1276", "Top 71685=5"}},
    {"colour has no channel", {}, {kTop, {{QL_PROP_SCANNER_CHANNEL, 2}}}, {"Top 4113=3828"}},
    {"colour takes the channel away",
     {{kTop, {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}, {QL_PROP_SCANNER_CHANNEL, 2}}}},
     {kTop, {{WIA_IPA_DATATYPE, WIA_DATA_COLOR}}},
     {"Top 4103=3", "Top 4104=24", "Top 4109=3", "Top 4113=3828", "Top 71685=0"}},
    {"a channel alone on a gray item",
     {{kTop, {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}}}},
     {kTop, {{QL_PROP_SCANNER_CHANNEL, 4}}},
     {"Top 71685=4"}},
    {"a depth alone counts for the length of lines",
     {},
     {kTop, {{WIA_IPA_DEPTH, 8}}},
     {"Top 4104=8", "Top 4113=1276"}},
    {"single bits are line art",
     {},
     {kTop, {{WIA_IPA_BITS_PER_CHANNEL, 1}}},
     {"Top 4103=0", "Top 4104=1", "Top 4109=1", "Top 4110=1", "Top 4113=160"}},
    {"8 bits on a gray item are colour",
     {{kTop, {{WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}}}},
     {kTop, {{WIA_IPA_BITS_PER_CHANNEL, 8}}},
     {"Top 4103=3", "Top 4104=24", "Top 4109=3", "Top 4113=3828"}},
    {"unless the type is written too",
     {},
     {kTop, {{WIA_IPA_BITS_PER_CHANNEL, 1}, {WIA_IPA_DATATYPE, WIA_DATA_GRAYSCALE}}},
     {"Top 4103=2", "Top 4104=8", "Top 4109=1", "Top 4113=1276"}},
    {"a file has no bitmap of memory",
     {},
     {kTop, {{WIA_IPA_TYMED, TYMED_FILE}}},
     {"Top 4106=BMP", "Top 4108=2"}},
    {"also when it is written with it",
     {},
     {kTop, {{WIA_IPA_TYMED, TYMED_FILE}, {WIA_IPA_FORMAT, WiaImgFmt_MEMORYBMP}}},
     {"Top 4106=BMP", "Top 4108=2"}},
    {"and back",
     {{kTop, {{WIA_IPA_TYMED, TYMED_FILE}}}},
     {kTop, {{WIA_IPA_TYMED, TYMED_CALLBACK}}},
     {"Top 4106=MEMORYBMP", "Top 4108=128"}},
    {"the one colour profile",
     {},
     {kTop, {{WIA_IPA_ICM_PROFILE_NAME, std::string("sRGB Color Space Profile")}}},
     {}},
    {"a setting that no rule knows",
     {},
     {kTop, {{WIA_IPS_BRIGHTNESS, 30}, {QL_PROP_GAMMA, 1}}},
     {"Top 6154=30", "Top 71692=1"}},
    {"a refused write before one that is accepted doesn't count",
     {},
     {kTop, {{WIA_IPS_CUR_INTENT, 3}, {WIA_IPA_TYMED, TYMED_FILE}}},
     {"Top 4106=BMP", "Top 4108=2", "Top 6146=3"}},
    {"the feeder", {}, {kRoot, {{kSelect, FEEDER}}}, Behind({"Root 3088=1"}, kFeederMade)},
    {"both sides",
     {{kRoot, {{kSelect, FEEDER}}}},
     {kRoot, {{kSelect, FEEDER | DUPLEX}}},
     {"Root 3088=4"}},
    {"the flatbed again, with everything as at first",
     {{kRoot, {{kSelect, FEEDER}}},
      {kTop, {{WIA_IPS_XRES, 600}, {WIA_IPA_DATATYPE, 2}, {WIA_IPS_CONTRAST, 9}}}},
     {kRoot, {{kSelect, FLATBED}}},
     {"Root 3088=2", "Top 4103=3", "Top 4104=24", "Top 4109=3", "Top 4112=1275", "Top 4113=0",
      "Top 4114=1755", "Top 6147=150", "Top 6147:150,300,600,1200,2400,4800 n150", "Top 6148=150",
      "Top 6148:150,300,600,1200,2400,4800,9600 n150", "Top 6149:0..1275 n0",
      "Top 6150:0..1755 n0", "Top 6151=1275", "Top 6151:0..1275 n1275", "Top 6152=1755",
      "Top 6152:0..1755 n1755", "Top 6155=0"}},
    {"the adapter", {}, {kRoot, {{QL_PROP_TMA_SELECT, 1}}}, Behind({"Root 71683=1"}, kAdapterMade)},
    {"from the adapter to the feeder",
     {{kRoot, {{QL_PROP_TMA_SELECT, 1}}}},
     {kRoot, {{kSelect, DUPLEX}}},
     Behind({"Root 3088=4", "Root 71683=0"}, kFeederMade)},
    {"from the feeder to the adapter",
     {{kRoot, {{kSelect, FEEDER}}}},
     {kRoot, {{QL_PROP_TMA_SELECT, 1}}},
     Behind({"Root 3088=2", "Root 71683=1"}, kAdapterMade)},
};
// clang-format on

TEST_F(Properties, FollowWhatIsWritten) {
    InstallAndOpen();
    for (const Rule& rule : kRules) {
        SCOPED_TRACE(rule.name);
        Reset();
        for (const Step& step : rule.before)
            Set(step.writes, step.item);
        const Everything before = All();
        Set(rule.step.writes, rule.step.item);
        EXPECT_EQ(Join(Changes(before, All())), Join(rule.changes));
    }
}

TEST_F(Properties, OfAnEmptyFeederSayThatItIs) {
    InstallAndOpen("[feeder]\nsheets=0\n");
    const Everything before = All();
    Set({{kSelect, FEEDER}}, "Root");
    EXPECT_EQ(Join(Changes(before, All())), "Root 3088=1\n") << "the flatbed's are kept";
    Act("load-1");
    EXPECT_EQ(Number(WIA_DPS_DOCUMENT_HANDLING_STATUS, "Root"), 1) << "a read asks the device";
    Act("unload");
    EXPECT_EQ(Number(WIA_DPS_DOCUMENT_HANDLING_STATUS, "Root"), 2);
    CPages pages;
    EXPECT_EQ(Scan(pages).code, WIA_ERROR_PAPER_EMPTY);
}

TEST_F(Properties, StayAsTheyAreWhenAWriteIsRefused) {
    InstallAndOpen();
    // Not the defaults, so that a rebuild would show.
    Set({{WIA_IPS_XRES, 300}, {WIA_IPS_XPOS, 10}, {WIA_IPA_DATATYPE, 2}, {WIA_IPS_CONTRAST, 5}});
    const struct {
        const char* item;
        PropertyWrite write;
        HRESULT code;
    } bad[] = {
        {kTop, {WIA_IPS_XPOS, -1}, E_INVALIDARG},
        {kTop, {WIA_IPS_XPOS, 2551}, E_INVALIDARG},
        {kTop, {WIA_IPS_YEXTENT, 0x7FFFFFFF}, E_INVALIDARG},
        {kTop, {WIA_IPS_BRIGHTNESS, 1001}, E_INVALIDARG},
        {kTop, {QL_PROP_GAMMA, 4001}, E_INVALIDARG},
        {kTop, {WIA_IPS_XRES, 301}, E_INVALIDARG},
        {kTop, {WIA_IPS_YRES, 0}, E_INVALIDARG},
        {kTop, {WIA_IPA_DATATYPE, WIA_DATA_COLOR_THRESHOLD}, E_INVALIDARG},
        {kTop, {WIA_IPA_BITS_PER_CHANNEL, 16}, E_INVALIDARG},
        {kTop, {QL_PROP_SCANNER_CHANNEL, 6}, E_INVALIDARG},
        {kTop, {WIA_IPS_CUR_INTENT, 8}, E_INVALIDARG},
        {kTop, {WIA_IPS_CUR_INTENT, 3}, E_INVALIDARG},
        {kTop, {WIA_IPA_TYMED, TYMED_MULTIPAGE_CALLBACK}, E_INVALIDARG},
        {kTop, {WIA_IPA_FORMAT, GUID_NULL}, E_INVALIDARG},
        {kTop, {WIA_IPA_FORMAT, 1}, E_INVALIDARG},
        {kTop, {WIA_IPS_XRES, std::string("300")}, E_INVALIDARG},
        {kTop, {WIA_IPS_XRES, PropertyValue{}}, E_INVALIDARG},
        {kTop, {WIA_IPS_XRES, Bytes(4)}, E_INVALIDARG},
        {kTop, {WIA_IPA_ICM_PROFILE_NAME, 1}, E_INVALIDARG},
        {kTop, {WIA_IPA_ICM_PROFILE_NAME, std::string("sRGB")}, E_INVALIDARG},
        {kTop, {WIA_IPA_ICM_PROFILE_NAME, std::string()}, E_INVALIDARG},
        {kTop, {WIA_IPA_ICM_PROFILE_NAME, std::string(5000, 's')}, E_INVALIDARG},
        {kTop, {WIA_IPA_PIXELS_PER_LINE, 5}, STG_E_ACCESSDENIED},
        {kTop, {WIA_IPA_CHANNELS_PER_PIXEL, 1}, STG_E_ACCESSDENIED},
        {kTop, {QL_PROP_DEFAULTS, Bytes(40)}, STG_E_ACCESSDENIED},
        {kTop, {QL_PROP_DEFAULTS, Bytes(39)}, STG_E_ACCESSDENIED},
        {kTop, {99999, 1}, E_INVALIDARG},
        {kTop, {kSelect, FLATBED}, E_INVALIDARG},  // the root's
        {kRoot, {kSelect, 0}, E_INVALIDARG},
        {kRoot, {kSelect, FLATBED | FEEDER}, E_INVALIDARG},
        {kRoot, {kSelect, FLATBED | DUPLEX}, E_INVALIDARG},
        {kRoot, {kSelect, FLATBED | FEEDER | DUPLEX}, E_INVALIDARG},
        {kRoot, {kSelect, 8}, E_INVALIDARG},
        {kRoot, {QL_PROP_TMA_SELECT, 2}, E_INVALIDARG},
        {kRoot, {WIA_DPS_PAGES, 51}, E_INVALIDARG},
        {kRoot, {WIA_DPS_HORIZONTAL_BED_SIZE, 1}, STG_E_ACCESSDENIED},
        {kRoot, {WIA_DPA_FIRMWARE_VERSION, std::string("x")}, STG_E_ACCESSDENIED},
    };
    const Everything before = All();
    const std::vector<PropertyWrite> good[] = {
        {{WIA_IPS_BRIGHTNESS, 7}, {WIA_IPS_YRES, 600}, {WIA_IPS_CUR_INTENT, 4}},
        {{WIA_DPS_PAGES, 2}, {WIA_DPS_PREVIEW, 1}}};
    for (const auto& c : bad) {
        EXPECT_EQ(m_device.Write(c.item, {c.write}).code, c.code) << c.item << ' ' << c.write.id;
        // Behind many that are good; the driver's last answer counts.
        std::vector<PropertyWrite> many;
        while (many.size() < 60) {
            const auto& some = good[c.item == kRoot];
            many.insert(many.end(), some.begin(), some.end());
        }
        many.push_back(c.write);
        EXPECT_EQ(m_device.Write(c.item, many).code, c.code) << c.item << ' ' << c.write.id;
        ASSERT_EQ(Join(Changes(before, All())), "") << c.item << ' ' << c.write.id;
    }
    EXPECT_EQ(m_device.Write("Top", {}).code, E_INVALIDARG);
    EXPECT_EQ(m_device.Write("Bottom", {{WIA_IPS_XRES, 300}}).code, E_INVALIDARG);
    EXPECT_EQ(Join(Changes(before, All())), "");
    Set({{WIA_IPS_XRES, 600}});
}

}  // namespace
