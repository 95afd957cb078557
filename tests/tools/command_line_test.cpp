// The built program, as a shell meets it.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
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
        {{"process", m_input, "-o", m_folder / "x.tif", "--compression", "g4"},
         1,
         "nvqscan: " + m_folder / "x.tif" + ": would be packed by g4, which only takes line art"},
        {{"process", m_input, "-o", m_output, "--smooth", "soft"},
         2,
         "nvqscan process: --smooth: 'soft' is none of off, light, strong (see 'nvqscan process "
         "--h"},
        {{}, 2, "Usage: nvqscan COMMAND [OPTIONS]\n"},
        {{"sample", "-o", m_folder / "x.gif"},
         2,
         "nvqscan: -o " + m_folder / "x.gif" + ": ends in"},
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

TEST_F(CommandLine, AWrongLineIsToldInOneLineWithTheWayOut) {
    const std::pair<Arguments, const char*> table[] = {
        {{"scna"}, "nvqscan: 'scna' is no command; did you mean scan? (see 'nvqscan --help')"},
        {{"--quick", "scan"}, "nvqscan: --quick is no option here (see"},
        {{"profile", "pakc"}, "nvqscan profile: 'pakc' is no command; did you mean pack?"},
        {{"scan", "--resolutoin", "300"},
         "scan: --resolutoin is no option here; did you mean --reso"},
        {{"scan", "--rot=90"}, "--rot is no option here; did you mean --rotate?"},
        {{"scan"}, "nvqscan scan: -o FILE is missing"},
        {{"press"}, "nvqscan press: N is missing"},
        {{"press", "first"}, "press: N: 'first' is no number"},
        {{"scan", "-o", "a.png", "Big", "one"}, "'one' is one word too many"},
        {{"sample", "-o"}, "--output: lacks its value, FILE"},
        {{"sample", "-o", "a", "-o", "b"}, "--output: stands several times"},
        {{"process", "--band", "0"}, "--band: '0' is out of range, 1 to 4096"},
        {{"process", "--rotate", "45"}, "--rotate: '45' is none of 90, 180, 270"},
        {{"process", "--sharpen", "99999999999"}, "--sharpen: '99999999999' is out of range"},
        {{"process", "--auto", "tone,colr"}, "--auto: 'colr' is none of tone, color, expose"},
        {{"process", "--streak-detail", "red"}, "--streak-detail: goes with --streaks only"},
        {{"process", "--analyse"}, "--analyse: goes with --from-file only"},
        {{"process", "--auto", "tone", "--from-file", "--analyse"}, "can't stand beside --a"},
    };
    for (const auto& [arguments, part] : table) {
        CProgram program(m_folder, arguments);
        SCOPED_TRACE(testing::PrintToString(arguments));
        EXPECT_EQ(program.Wait(), 2);
        EXPECT_EQ(program.Out(), "");
        EXPECT_NE(program.Error().find(part), std::string::npos) << program.Error();
        EXPECT_EQ(program.Error().find('\n'), program.Error().size() - 1) << program.Error();
    }
}

// The line as bash cuts it, '=' apart; the last word is the one under way.
TEST_F(CommandLine, BashCompletesWhatComesNext) {
    const std::pair<const char*, const char*> table[] = {
        {"nvqscan sca", "scan"},
        {"nvqscan -q scan --sou", "--source"},
        {"nvqscan scan --source fl", "flatbed"},
        {"nvqscan scan --source = fe", "feeder"},
        {"nvqscan scan --auto tone,c", "tone,color"},
        {"nvqscan scan --palette i", "in.bmp"},
        {"nvqscan profile pack i", "in.bmp"},
        {"nvqscan profile unp", "unpack"},
        {"nvqscan log --level errors --to fi", "file"},
        {"nvqscan log --file scan o", "on off"},
        {"nvqscan press 2 ''", ""},
    };
    const std::string script = m_folder / "script";
    for (const auto& [line, offered] : table) {
        std::ofstream(script) << "source " NVQ_COMPLETION
                                 " && complete -p nvqscan >/dev/null || exit\n"
                              << "cd \"${0%/*}\"; COMP_WORDS=(" << line << ")\n"
                              << "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _nvqscan\n"
                              << "echo \"${COMPREPLY[@]}\" >offered\n";
        ASSERT_EQ(std::system(("bash " + script).c_str()), 0) << line;
        EXPECT_EQ(ReadText(m_folder / "offered"), std::string(offered) + "\n") << line;
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

// Written as they come, or spooled: the same bytes.
TEST_F(CommandLine, StandardOutputGetsWhatAFileWould) {
    for (const std::string kind : {"bmp", "png", "jpeg", "tiff"}) {
        const std::string file = m_folder / ("out." + kind);
        CProgram toFile(m_folder, {"process", m_input, "-o", file});
        EXPECT_EQ(toFile.Wait(), 0) << toFile.Error();
        CProgram toOutput(m_folder, {"process", m_input, "-o", "-", "--format", kind});
        EXPECT_EQ(toOutput.Wait(), 0) << toOutput.Error();
        EXPECT_EQ(toOutput.Out(), ReadText(file)) << kind;
    }
}

std::function<void()> InputFrom(const std::string& path) {
    return [path] { dup2(open(path.c_str(), O_RDONLY), STDIN_FILENO); };
}

// From a file, which is read where it is, and from a pipe, which can't be sought.
TEST_F(CommandLine, AProcessedPictureComesFromStandardInput) {
    CProgram named(m_folder, {"process", m_input, "-o", m_output});
    ASSERT_EQ(named.Wait(), 0) << named.Error();
    const Bytes expected = ReadBytes(m_output);
    const std::string pipe = m_folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& input : {m_input, pipe}) {
        for (Arguments arguments : {Arguments{"process", "-", "-o", m_output},
                                    Arguments{"process", "-", "-o", m_output, "--from-file"}}) {
            std::filesystem::remove(m_output);
            CProgram program(m_folder, arguments, InputFrom(input));
            if (input == pipe)
                WriteBytes(pipe, ReadBytes(m_input));
            EXPECT_EQ(program.Wait(), 0) << program.Error();
            EXPECT_EQ(ReadBytes(m_output), expected) << input;
        }
    }
    CProgram empty(m_folder, {"process", "-", "-o", m_output}, InputFrom("/dev/null"));
    EXPECT_EQ(empty.Wait(), 2);
    EXPECT_EQ(empty.Error(), "nvqscan: standard input: is empty\n");
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
