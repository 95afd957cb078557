// The toolkit module that the documents show, with a picture in it.
#include "tests/driver/scan_rig.h"

namespace {

class Example : public CScanTest {
  protected:
    void Put(const Picture& picture) {
        WriteWholeFile(m_port, "P6\n" + std::to_string(picture.width) + ' ' +
                                   std::to_string(picture.Height()) + "\n255\n" +
                                   std::string(picture.samples.begin(), picture.samples.end()));
    }

    const std::string m_port = TestFolder() + "/page.ppm";
};

TEST_F(Example, ScansThePictureThatItsPortIs) {
    const Picture picture = RandomPicture(80, 60);
    InstallOptions options = Options();
    options.port = m_port;
    options.toolkitModule = EXAMPLE_MODULE;
    Put(picture);
    Install(options);
    Open();
    SetWindow(300, 300, 20, 10, 50, 40);
    ExpectBoth(Cut(picture, 20, 10, 50, 40), 24, 40);
    // Each pixel twice, both ways.
    SetWindow(600, 600, 0, 0, 8, 8);
    Picture fine{8, {}};
    for (int i = 0; i < 8 * 8 * 3; ++i)
        fine.samples.push_back(static_cast<BYTE>(picture.At(i / 3 % 8 / 2, i / 24 / 2, i % 3)));
    ExpectBoth(fine, 24, 8, 600);
    WriteWholeFile(m_port, "P6\n80 60\n255\n");
    CPages none;
    EXPECT_EQ(static_cast<std::uint32_t>(Scan(none).code), 0x80040007u) << "a picture cut short";
    EXPECT_EQ(none.m_calls, 0);
    m_device.Close();
    std::filesystem::remove(m_port);
    EXPECT_EQ(static_cast<std::uint32_t>(m_client.Open("", m_device).code), 0x80040003u);
}

}  // namespace
