// How a job of scans ends when it can't go its way: whole pages stay, and Ctrl-C works at once.

#include <fcntl.h>
#include <sys/resource.h>

#include <chrono>

#include "tests/tools/device_commands.h"

namespace {

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
        int (*count)(const std::string& path);
    } table[] = {
        {"a.tif", SIGINT, CountTiffPages},
        {"a.pdf", SIGHUP, CountPdfPages},
        {"a.tif", SIGTERM, CountTiffPages},
        {"a%d.png", SIGINT, nullptr},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.file);
        CProgram program(m_streams, SlowFeeder(row.file));
        WaitFor(program, "page 1");
        usleep(100'000);
        program.Send(row.signal);
        ExpectEndsSoon(program, 130);
        EXPECT_EQ(program.Error().find("nvqscan: cancelled\n"), 0u) << program.Error();
        const std::string file = row.count ? row.file : "a1.png";
        EXPECT_EQ(Pages(), Names{file});
        if (row.count) {
            EXPECT_TRUE(Has(program.Error(), file + ": pages that are whole: 1"));
            EXPECT_EQ(row.count(Page(file)), 1);
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

// In each of these calls the driver doesn't come back by itself.
TEST_F(JobEnd, CtrlCEndsAtOnceWhereTheDriverWaits) {
    Install();
    const Arguments scan = {"scan", "-o", Page("a.png")};
    {
        SetIni("[behaviour]\nlinesPerSecond=20\n");
        CProgram holder(m_streams, scan);
        WaitForPage(holder);
        const CTempFolder streams;
        CProgram waiting(streams, {"scan", "-o", Page("b.png")});
        usleep(500'000);
        waiting.Send(SIGINT);
        ExpectEndsSoon(waiting, 130);
        EXPECT_TRUE(Has(waiting.Error(), "nvqscan: cancelled\n")) << waiting.Error();
        holder.Send(SIGKILL);
        holder.Wait();
    }
    {
        SetIni("[device]\nlampWarmUpFlatbed=60\n");
        CProgram warming(m_streams, scan);
        usleep(700'000);
        warming.Send(SIGINT);
        ExpectEndsSoon(warming, 130);
    }
    SetIni("");
    EXPECT_EQ(Run("scan --area 0,0,10,10px -o @c.png").code, 0) << "no lock is left behind";
    EXPECT_EQ(Pages(), Names{"c.png"}) << "and no file under a passing name";
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
