// nvq.conf, and the list of scanners that comes of it.
#include "tests/sane-backend/sane_rig.h"

namespace {

class SaneDevices : public CSaneTest {
  protected:
    std::vector<std::string> Models(const std::string& config) {
        WriteWholeFile(m_config + "/nvq.conf", config);
        const SANE_Device** list = nullptr;
        EXPECT_EQ(sane_get_devices(&list, SANE_TRUE), SANE_STATUS_GOOD);
        std::vector<std::string> models;
        for (; *list; ++list)
            models.emplace_back((*list)->model);
        return models;
    }
};

using Names = std::vector<std::string>;

TEST_F(SaneDevices, AreThoseOfTheRegistryAsTheFileSays) {
    EXPECT_EQ(Models(""), Names{});
    SANE_Handle none = nullptr;
    EXPECT_EQ(sane_open("", &none), SANE_STATUS_INVAL);
    Install(Options());
    InstallOptions second = Options();
    second.name = "Big one";
    second.port = SimulatedPort(m_folder + "/second");
    Install(second);
    EXPECT_EQ(Models("# nothing\n\n"), (Names{"Scanner", "Big one"}));
    EXPECT_EQ(Models("hide \"Scanner\nhide Scanner \""), (Names{"Scanner", "Big one"}));
    EXPECT_EQ(Models("name \"Big one\" Big\nname 0001 \"Room 12\" # upstairs\nhide Scanner\n"),
              Names{"Room 12"})
        << "the last of two";
    EXPECT_EQ(sane_open("0000", &none), SANE_STATUS_INVAL) << "hidden";
    EXPECT_EQ(Models("hide \"Big one\""), Names{"Scanner"});
    // Garbage around a line that counts.
    std::string garbage = "hide\nhide a b\nname\nname 0001\nsimulated perhaps\nfoo \"bar\n";
    for (int i = 1; i < 2000; ++i)
        garbage += static_cast<char>(i * 7919 % 256 == '#' ? '?' : i * 7919 % 256);
    EXPECT_EQ(Models(garbage + "\nhide 0001\n\"").size(), 1u);
    // A number is a scanner's, whatever another one is called.
    EXPECT_EQ(Models("name 0000 0001"), (Names{"0001", "Big one"}));
    WriteWholeFile(m_folder + "/second/device.ini", "");
    EXPECT_EQ(sane_open("0001", &none), SANE_STATUS_GOOD);
    EXPECT_TRUE(std::filesystem::exists(m_folder + "/second/state"));
}

TEST_F(SaneDevices, TheListStaysWhenAScannerIsOpened) {
    Install(Options());
    const SANE_Device** list = nullptr;
    ASSERT_EQ(sane_get_devices(&list, SANE_TRUE), SANE_STATUS_GOOD);
    ForgetRegistry();
    SANE_Handle none = nullptr;
    EXPECT_EQ(sane_open("0000", &none), SANE_STATUS_INVAL);
    ASSERT_TRUE(list[0] && !list[1]);
    EXPECT_STREQ(list[0]->model, "Scanner");
}

TEST_F(SaneDevices, HaveASimulatedOneWhereItIsAllowedAndThereIsNoOther) {
    setenv("NVQ_MODULE_DIR", std::filesystem::path(DRIVER_MODULE).parent_path().c_str(), 1);
    setenv("NVQ_SIM_DIR", (m_folder + "/simulated").c_str(), 1);
    EXPECT_EQ(Models("simulated off"), Names{});
    EXPECT_EQ(Models("simulated on"), Names{"Simulated scanner SIM300A"});
    ForgetRegistry();
    Install(Options());
    EXPECT_EQ(Models("simulated on"), Names{"Scanner"});
}

}  // namespace
