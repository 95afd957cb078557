// How a job of scans ends when it can't go its way: whole pages stay, and Ctrl-C works at once.

#include <fcntl.h>
#include <sys/resource.h>

#include <chrono>

#include "tests/tools/device_commands.h"

namespace {

int CountPages(const std::string& file) {
    return file.ends_with(".pdf") ? CountPdfPages(file) : CountTiffPages(file);
}

class JobEnd : public DeviceCommands {
  protected:
    // Until the program has said so.
    static void WaitFor(const CProgram& program, const std::string& part) {
        while (program.IsRunning() && !Has(program.OutSoFar() + program.ErrorSoFar(), part))
            usleep(2000);
    }
    // Ends within a time that is long for a busy machine and short beside what the program waits
    // for.
    static void ExpectEndsSoon(CProgram& program, int code) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(program.Wait(), code) << program.Error();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
    }
    // At a pace that leaves time for what is done meanwhile.
    Arguments SlowFeeder(const std::string& file) {
        SetIni("[behaviour]\nlinesPerSecond=1200\n");
        Act("load");
        return {"scan",         "--source", "feeder", "--mode",   "gray",
                "--resolution", "150",      "-o",     Page(file), "--force"};
    }
};

// ---- Signals

TEST_F(JobEnd, EverySignalThatEndsAJobLeavesItsWholePages) {
    Install();
    const struct {
        const char* file;
        int signal;
    } table[] = {
        {"a.tif", SIGINT},
        {"a.pdf", SIGHUP},
        {"a.tif", SIGTERM},
        {"a%d.png", SIGINT},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.file);
        CProgram program(m_streams, SlowFeeder(row.file));
        WaitFor(program, "page 1");
        usleep(100'000);
        program.Send(row.signal);
        ExpectEndsSoon(program, 130);
        EXPECT_EQ(program.Error().find("nvqscan: cancelled\n"), 0u) << program.Error();
        const bool isNumbered = Has(row.file, "%");
        const std::string file = isNumbered ? "a1.png" : row.file;
        EXPECT_EQ(Pages(), Names{file});
        if (!isNumbered) {
            EXPECT_TRUE(Has(program.Error(), file + ": pages that are whole: 1"));
            EXPECT_EQ(CountPages(Page(file)), 1);
        }
        std::filesystem::remove(Page(file));
    }
}

TEST_F(JobEnd, WhatTheShellHasSetToBeIgnoredIsIgnored) {
    Install();
    Arguments job = SlowFeeder("a.tif");
    job.insert(job.end(), {"--pages", "1"});
    CProgram program(m_streams, job, [] { signal(SIGHUP, SIG_IGN); });
    WaitForPage(program);
    program.Send(SIGHUP);
    EXPECT_EQ(program.Wait(), 0) << program.Error();
}

// Where the program doesn't come back by itself for long: from the lamp, the scanner, and a picture
// of 138 megapixels; then from a scanner that another program has.
TEST_F(JobEnd, CtrlCEndsAtOnceWhereverTheProgramIs) {
    Install();
    const struct {
        const char* ini;
        const char* resolution;
        const char* notice;  // to wait for; none: a page has begun
    } table[] = {
        {"[device]\nlampWarmUpFlatbed=60\n", "150", "the lamp is warming up"},
        {"[behaviour]\nlinesPerSecond=6\n", "150", nullptr},
        {"", "1200", nullptr},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.ini);
        SetIni(row.ini);
        CProgram program(m_streams, {"scan", "--resolution", row.resolution, "-o", Page("a.png")});
        if (row.notice)
            WaitFor(program, row.notice);
        else
            WaitForPage(program);
        program.Send(SIGINT);
        ExpectEndsSoon(program, 130);
        EXPECT_TRUE(program.Error().ends_with("nvqscan: cancelled\n")) << program.Error();
        EXPECT_EQ(Pages(), Names{}) << "nor a file under a passing name";
    }
    SetIni("[behaviour]\nlinesPerSecond=20\n");
    CProgram holder(m_streams, {"scan", "-o", Page("a.png")});
    WaitForPage(holder);
    const CTempFolder streams;
    CProgram waiting(streams, {"scan", "-o", Page("b.png")});
    WaitFor(waiting, "waiting for the scanner, in use by another program\n");
    waiting.Send(SIGINT);
    ExpectEndsSoon(waiting, 130);
    holder.Send(SIGKILL);
    holder.Wait();
    SetIni("");
    EXPECT_EQ(Run("scan --area 0,0,10,10px -o @c.png").code, 0) << "no lock is left behind";
    EXPECT_EQ(Pages(), Names{"c.png"});
}

// A reader that takes no more holds the program in its write: there it has no work to conclude.
TEST_F(JobEnd, CtrlCLeavesNothingOfAPageOnItsWayToStandardOutput) {
    Install();
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    CProgram program(m_streams, {"scan", "--medium", "file", "--format", "pnm", "-o", "-"},
                     [&ends] { dup2(ends[1], STDOUT_FILENO); });
    char first = 0;
    EXPECT_EQ(read(ends[0], &first, 1), 1);
    program.Send(SIGINT);
    ExpectEndsSoon(program, 130);
    close(ends[0]);
    close(ends[1]);
    for (const auto& entry : std::filesystem::directory_iterator(m_home / ""))
        EXPECT_FALSE(entry.path().filename().string().starts_with(".nvqscan-")) << entry.path();
}

// ---- Pages that break off

TEST_F(JobEnd, APageThatBreaksOffIsKeptWhereItIsTheOnlyOne) {
    Install();
    SetIni("[faults]\nReadScan=2:12\n");
    for (const char* medium : {"callback", "file"}) {
        SCOPED_TRACE(medium);
        const Result result =
            Run(std::string("scan --resolution 150 -o @a.png --json --medium ") + medium);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Has(result.error, "page 1 broke off: the connection to the scanner failed"));
        EXPECT_TRUE(Has(result.error, "a.png: the page is kept as far as it came"));
        EXPECT_TRUE(Has(result.out, "\"result\":2147745799")) << result.out;  // 0x80040007
        EXPECT_EQ(Pages(), Names{"a.png"});
        std::filesystem::remove(Page("a.png"));
    }
}

TEST_F(JobEnd, APageThatBreaksOffIsLeftOutOfAJobOfSeveral) {
    SetIni("[behaviour]\nrecord=1\n");
    Install();
    const std::string scan = "scan --source feeder --resolution 150 --mode gray ";
    Act("load");
    ASSERT_EQ(Run(scan + "-q --pages 1 -o @a.tif").code, 0);
    // Reads of a page: those of the second one begin behind as many.
    const std::string calls = ReadText(Scanner() + "/calls.log");
    int reads = 0;
    for (std::size_t at = calls.find("ReadScan"); at < calls.size();
         at = calls.find("ReadScan", at + 1))
        ++reads;
    const struct {
        const char* options;
        int fault;  // of the toolkit
        int code;
        const char* message;
    } table[] = {
        {"-o @a.tif", 100, 1, "page 2 broke off: paper is jammed in the document feeder (0x"},
        {"-o @a.tif --medium file", 100, 1, "page 2 broke off: paper is jammed"},
        {"-o @a.pdf", 16, 130, "nvqscan: the scan was cancelled at the scanner\n"},
        {"-o @a%d.png", 12, 1, "page 2 broke off: the connection"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.options);
        SetIni("[faults]\nReadScan=" + std::to_string(reads + 2) + ":" + std::to_string(row.fault) +
               "\n");
        Act("load");
        const Result result = Run(scan + row.options);
        EXPECT_EQ(result.code, row.code);
        EXPECT_TRUE(Has(result.error, row.message)) << result.error;
        ASSERT_EQ(Pages().size(), 1u);
        const std::string file = Page(Pages()[0]);
        EXPECT_EQ(file.ends_with("f") ? CountPages(file) : 1, 1);
        std::filesystem::remove(file);
    }
}

// ---- Batches

TEST_F(JobEnd, ABatchAsksForEachPage) {
    Install();
    WriteBytes(m_home / "answers", {'\n', 'q', '\n'});
    const auto answers = [this] { dup2(open((m_home / "answers").c_str(), O_RDONLY), 0); };
    const auto silence = [] {
        int ends[2] = {};
        if (pipe(ends) == 0)
            dup2(ends[0], 0);
    };
    const Arguments scan = {"scan", "--area", "0,0,30,30px", "--batch", "-o", Page("a.pdf")};
    CProgram answered(m_streams, scan, answers);
    EXPECT_EQ(answered.Wait(), 0) << answered.Error();
    EXPECT_EQ(CountPdfPages(Page("a.pdf")), 2);

    CProgram asking(m_streams, scan, silence);
    WaitFor(asking, "Page 2: Enter scans it");
    asking.Send(SIGINT);
    ExpectEndsSoon(asking, 130);
    EXPECT_TRUE(Has(asking.Error(), "\nnvqscan: cancelled\n")) << asking.Error();
    EXPECT_EQ(CountPdfPages(Page("a.pdf")), 1);

    const Result timed = Run("scan --area 0,0,9,9px --batch=0.1 --pages 3 --start 4 -o @%d.png");
    EXPECT_EQ(timed.code, 0) << timed.error;
    EXPECT_EQ(Pages(), (Names{"4.png", "5.png", "6.png", "a.pdf"}));
}

// ---- Output that can't be written

TEST_F(JobEnd, StandardOutputThatCantBeWrittenIsAFailure) {
    Install();
    const auto full = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
    const auto closed = [] {
        int ends[2] = {};
        if (pipe(ends) == 0 && close(ends[0]) == 0)
            dup2(ends[1], STDOUT_FILENO);
    };
    for (const Arguments& arguments :
         {Arguments{"devices"}, Arguments{"properties", "--json"}, Arguments{"--help"},
          Arguments{"scan", "--area", "0,0,9,9px", "-o", Page("a.png")},
          Arguments{"scan", "--area", "0,0,9,9px", "--format", "png", "-o", "-"}}) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        for (const std::function<void()>& output : {std::function<void()>(full), {closed}}) {
            CProgram program(m_streams, arguments, output);
            EXPECT_EQ(program.Wait(), 1);
            EXPECT_TRUE(Has(program.Error(), "nvqscan: standard output: ")) << program.Error();
        }
    }
}

TEST_F(JobEnd, AFullDiskKeepsTheWholePages) {
    Install();
    for (const std::string file : {"a.tif", "a.pdf"}) {
        Arguments scan = {"scan", "--source", "feeder", "--resolution", "150", "-o", Page(file)};
        Act("load");
        CProgram whole(m_streams, scan);
        EXPECT_EQ(whole.Wait(), 0) << whole.Error();
        Act("load");
        const auto full = [all = std::filesystem::file_size(Page(file))] {
            const rlimit limit = {all - 1000, all - 1000};
            setrlimit(RLIMIT_FSIZE, &limit);
        };
        CProgram broken(m_streams, scan, full);
        EXPECT_EQ(broken.Wait(), 1);
        EXPECT_TRUE(Has(broken.Error(), file + ": can't be written: File too large"));
        EXPECT_TRUE(Has(broken.Error(), file + ": pages that are whole: 2"));
        const std::uintmax_t kept = std::filesystem::file_size(Page(file));
        Act("load");
        scan.insert(scan.end(), {"--pages", "2"});
        EXPECT_EQ(Run(scan).code, 0);
        EXPECT_EQ(kept, std::filesystem::file_size(Page(file)));
    }
}

// Where the page's own file is not the one that grows too large, or has no name.
TEST_F(JobEnd, AFullDiskIsToldOfTheFilesThatAPagePassesThrough) {
    Install();
    const std::string sample = m_home / "sample.jpg";
    ASSERT_EQ(Run({"sample", "-o", sample, "--width", "1000", "--height", "1000"}).code, 0);
    const struct {
        Arguments arguments;
        std::string message;
    } table[] = {
        {{"scan", "-o", Page("a.jpg"), "--medium", "file"},
         "the disk is full: a page on the file medium passes"},
        {{"scan", "-o", Page("a.jpg"), "--rotate", "90"},
         "the folder for temporary files lacks room"},
        {{"scan", "-o", "-", "--format", "bmp"}, "standard output: needs a temporary file, which"},
        {{"process", sample, "-o", Page("a.jpg"), "--rotate", "90"},
         sample + ": the folder for temporary files lacks room"},
    };
    for (const auto& row : table) {
        CProgram program(m_streams, row.arguments, [] {
            const rlimit limit = {2'000'000, 2'000'000};
            setrlimit(RLIMIT_FSIZE, &limit);
        });
        EXPECT_EQ(program.Wait(), 1);
        EXPECT_EQ(program.Error().find("nvqscan: " + row.message), 0u) << program.Error();
        EXPECT_EQ(Pages(), Names{});
    }
}

TEST_F(JobEnd, WhatCantBeWrittenIsToldBeforeTheScannerMoves) {
    Install();
    std::filesystem::create_directory(Page("folder.png"));
    WriteBytes(Page("p7.png"), {7});
    const std::string feeder = "--source feeder --resolution 150 ";
    const struct {
        std::string options;
        int code;
        const char* message;
    } table[] = {
        {"-o @" + std::string(256, 'x') + ".png", 1, "the name is too long"},
        {"-o @folder.png", 1, "folder.png: is a directory"},
        {"-o /dev/null --format png", 1, "/dev/null: is no regular file"},
        {"-o @no/a.png", 1, "no/a.png: can't be created: No such file"},
        {"-o /sys/a.png", 1, "/sys/a.png: can't be created: "},
        {"-o @a.png --curves @no/c.svg", 1, "no/c.svg: can't be created: "},
        {feeder + "-o @p%d.png", 1, "p7.png: is there already; --force"},
        {feeder + "-o @p%d.png --pages 7", 1, "p7.png: is there already"},
        {feeder + "-o @" + std::string(250, 'x') + "%d.png --pages 10", 1, "10.png: the name is"},
        {feeder + "-o @p.tif --start 2", 2, "--start numbers files"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.options);
        const Result result = Run("scan " + row.options);
        EXPECT_EQ(result.code, row.code);
        EXPECT_TRUE(Has(result.error, row.message)) << result.error;
        EXPECT_EQ(Pages(), (Names{"folder.png", "p7.png"}));
    }
    EXPECT_EQ(Run({"scan", "-o", ""}).code, 2);
    EXPECT_EQ(State().opens, 0u);
    const auto good = [&](const std::string& options) {
        Act("load");
        EXPECT_EQ(Run("scan -q " + feeder + options).code, 0) << options;
    };
    good("-o @p%d.png --pages 2");
    good("-o @p%d.png --start 8");
    EXPECT_EQ(ReadBytes(Page("p7.png")), Bytes{7});
    good("-o @p%d.png --start 7 --pages 1 --force");
    EXPECT_NE(ReadBytes(Page("p7.png")), Bytes{7});
    EXPECT_EQ(Pages(),
              (Names{"folder.png", "p1.png", "p10.png", "p2.png", "p7.png", "p8.png", "p9.png"}));
}

}  // namespace
