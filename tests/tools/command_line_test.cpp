// The built program, as a shell meets it.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "tests/tools/program.h"

namespace {

using Names = std::vector<std::string>;

class CommandLine : public testing::Test {
  protected:
    void SetUp() override { WriteBytes(m_input, TestBitmap(16, 16, 24).All()); }

    CTempFolder m_folder;
    const std::string m_input = m_folder / "in.bmp";
    const std::string m_output = m_folder / "out.bmp";
};

TEST_F(CommandLine, ExitCodesAndMessagesTellWhatIsWrong) {
    WriteBytes(m_folder / "bad.bmp", {'B', 'M', 1});
    const std::string bad = m_folder / "bad.bmp";
    const struct {
        Arguments arguments;
        int code;
        std::string message;  // the beginning of standard error
    } table[] = {
        {{"process", m_input, "-o", m_output}, 0, ""},
        {{"process", m_input, "-o", m_output, "--from-file", "--analyse"}, 0, ""},
        {{"process", m_input, "-o", m_output, "--band", "64", "--set", "INVERT=true", "--property",
          "Data Type=2", "--set", "THRESHOLD=5"},
         0,
         ""},
        {{"process", bad, "-o", m_output}, 2, "nvqscan: " + bad + ": ends at byte 3, inside the"},
        {{"process", m_input, "-o", m_output, "--property", "Gamma=-1"},
         2,
         "nvqscan: Gamma cannot be '-1' (allowed: 0 to 4000)\n"},
        {{"process", m_input, "-o", m_folder / "no/x.bmp"}, 1, "nvqscan: " + m_folder / "no/x.bm"},
        {{"process", m_input, "-o", m_output, "--band", "0"}, 2, "--band: "},
        {{"process", m_input, "-o", m_output, "--streak-detail", "red"}, 2, "--streak-detail req"},
        {{"process", m_input, "-o", m_output, "--sharpen", "6"}, 2, "--sharpen: "},
        {{"process", m_input, "-o", m_output, "--smooth", "soft"}, 2, "--smooth: 'soft' is none"},
        {{"process", m_input, "-o", m_output, "--analyse"}, 2, "--analyse requires --from-file"},
        {{}, 2, "A subcommand is required"},
        {{"sample", "-o", m_folder / "x.gif"}, 2, "nvqscan: -o " + m_folder / "x.gif" + ": ends in"},
    };
    for (const auto& row : table) {
        WriteBytes(m_output, {7});
        CProgram program(m_folder, row.arguments);
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        EXPECT_EQ(program.Wait(), row.code);
        EXPECT_EQ(program.Out(), "");
        EXPECT_EQ(program.Error().substr(0, row.message.size()), row.message);
        if (row.code == 0) {
            EXPECT_EQ(program.Error(), "") << "no progress where standard error is no terminal";
        }
        EXPECT_EQ(ReadBytes(m_output) == Bytes{7}, row.code != 0) << "replaced by success alone";
        EXPECT_EQ(m_folder.Names(), (Names{"bad.bmp", "in.bmp", "out.bmp"}));
    }
}

TEST_F(CommandLine, TellsItsVersionAndListsWhatCanBeSet) {
    const std::pair<Arguments, const char*> table[] = {
        {{"--version"}, "0.1.0"},
        {{"process", "--help"}, "--list-attributes"},
        {{"process", "--list-properties"}, "6154   Brightness                  0       -1000 to"},
    };
    for (const auto& [arguments, part] : table) {
        CProgram program(m_folder, arguments);
        EXPECT_EQ(program.Wait(), 0);
        EXPECT_NE(program.Out().find(part), std::string::npos) << program.Out();
        EXPECT_EQ(program.Error(), "");
    }
}

TEST_F(CommandLine, ASampleOfAnySizeCanBeProcessed) {
    for (const char* size : {"1", "61"}) {
        CProgram sample(m_folder, {"sample", "-o", m_input, "--width", size, "--height", size});
        ASSERT_EQ(sample.Wait(), 0) << sample.Error();
        CProgram process(m_folder, {"process", m_input, "-o", m_folder / "out.png"});
        ASSERT_EQ(process.Wait(), 0) << process.Error();
    }
}

// A picture that takes its time: 240 MB of zeros, of which the disk holds none.
void LayLargePicture(const std::string& path) {
    CBitmapFile large = CBitmapFile::Make(1000, 1, 24);
    large.m_info.biHeight = 80000;
    large.m_rows.clear();
    large.m_file.bfSize = 54 + 3000 * 80000;
    WriteBytes(path, large.All());
    std::filesystem::resize_file(path, 54 + 3000 * 80000);
}

TEST_F(CommandLine, AnInterruptEndsTheRunAndLeavesNothing) {
    LayLargePicture(m_input);
    WriteBytes(m_output, {7});
    const Arguments process = {"process", m_input, "-o", m_output};
    const struct {
        Arguments arguments;
        int signal;
    } table[] = {
        {process, SIGINT},
        {process, SIGTERM},
        {{"process", m_input, "-o", m_output, "--from-file"}, SIGINT},
        {{"sample", "-o", m_output, "--width", "10000", "--height", "10000"}, SIGINT},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        CProgram program(m_folder, row.arguments);
        // The output has begun when its file under a passing name is there.
        while (program.IsRunning() && m_folder.Names()[0].find(".nvqscan-") == std::string::npos)
            usleep(1000);
        program.Send(row.signal);
        EXPECT_EQ(program.Wait(), 130);
        EXPECT_EQ(program.Error(), "nvqscan: cancelled\n");
        EXPECT_EQ(m_folder.Names(), (Names{"in.bmp", "out.bmp"}));
        EXPECT_EQ(ReadBytes(m_output), Bytes{7}) << "what was there before stays";
    }
}

}  // namespace
