// nvqscan: the person's program.

#include <iostream>

#include <CLI/CLI.hpp>

#include "diag/log.h"
#include "engine/engine.h"
#include "pictures/picture_writer.h"
#include "pictures/sample_picture.h"
#include "platform/com.h"
#include "tools/attribute_writes.h"
#include "tools/console.h"
#include "tools/model_item.h"
#include "tools/process_run.h"
#include "tools/profile_command.h"

namespace {

// Logging of the engine is set under the driver's key.
constexpr CLSID kDriverClass = {
    0x0C3A5327, 0x4FBD, 0x4E6C, {0xBC, 0x58, 0xEF, 0x03, 0xA9, 0xB7, 0xB9, 0x81}};

constexpr int kFailure = static_cast<int>(CProcessResult::Failed);
constexpr int kUsageError = static_cast<int>(CProcessResult::BadInput);
constexpr int kCancelled = static_cast<int>(CProcessResult::Cancelled);

struct ProcessOptions {
    CProcessJob m_job;
    bool m_listAttributes = false;
    bool m_listProperties = false;
};

// The exit code is handed through.
int Complain(const std::string& text, int code) {
    std::cerr << "nvqscan: " << text << '\n';
    return code;
}

int ListTables(const ProcessOptions& options) {
    CModelItem item;
    if (options.m_listProperties)
        item.List(std::cout);
    if (options.m_listAttributes) {
        CQLEngine engine;
        engine.Init();
        engine.ReadItemSettings(&item);
        ListAttributes(engine, std::cout);
    }
    return 0;
}

int Process(ProcessOptions& options) {
    CProcessJob& job = options.m_job;
    if (options.m_listAttributes || options.m_listProperties)
        return ListTables(options);
    if (job.m_input.empty() || job.m_output.empty())
        return Complain("process needs a picture and -o FILE (see nvqscan process --help)",
                        kUsageError);
    CatchInterrupts();
    CLogConfig::Acquire(kDriverClass);
    std::string error;
    CProcessResult result;
    {
        CProgressLine progress(job.m_input);
        job.m_progress = [&progress](unsigned percent) { progress.Show(percent); };
        job.m_cancelled = WasInterrupted;
        result = RunProcess(job, &error);
    }
    CLogConfig::Release();
    if (result == CProcessResult::Done)
        return 0;
    return Complain(result == CProcessResult::Cancelled ? "cancelled" : error,
                    static_cast<int>(result));
}

int Sample(CSampleJob& job) {
    std::string error;
    const auto writer = CreatePictureWriter(job.m_output, &error);
    if (!writer)
        return Complain(job.m_output + ": " + error, kUsageError);
    CatchInterrupts();
    job.m_cancelled = WasInterrupted;
    if (WriteSamplePicture(job, *writer))
        return 0;
    return writer->Error().empty() ? Complain("cancelled", kCancelled)
                                   : Complain(job.m_output + ": " + writer->Error(), kFailure);
}

CLI::App* AddProcess(CLI::App& app, ProcessOptions& options) {
    CProcessJob& job = options.m_job;
    CLI::App* process = app.add_subcommand("process", "Run a picture through the imaging engine");
    process->add_option("IN", job.m_input, "Picture: bitmap, PNG, TIFF, JPEG or PNM file");
    process->add_option("-o,--output", job.m_output, "Result: .bmp, .png or .tif file");
    process
        ->add_option("--property", job.m_properties,
                     "NAME_OR_ID=VALUE: a property of the scan item, by its shown name or id")
        ->take_all()
        ->allow_extra_args(false);
    process
        ->add_option("--set", job.m_attributes,
                     "NAME=VALUE: an attribute of the engine, by name or number, written after "
                     "the properties were read")
        ->take_all()
        ->allow_extra_args(false);
    CLI::Option* fromFile = process->add_flag(
        "--from-file", job.m_fromFile, "Let the engine read the file itself instead of feeding it");
    process->add_flag("--analyse", job.m_analyse, "Run an analysis pass first")->needs(fromFile);
    process->add_flag(
        "--encoded", job.m_encoded,
        "The picture is encoded for screens, as photographs are; a scanner's samples are "
        "linear light");
    process->add_option("--band", job.m_bandLines, "Lines fed at a time")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    process->add_flag("--list-attributes", options.m_listAttributes,
                      "List all attributes with kind, value and what is allowed");
    process->add_flag("--list-properties", options.m_listProperties,
                      "List all properties with value and what is allowed");
    return process;
}

CLI::App* AddSample(CLI::App& app, CSampleJob& job) {
    CLI::App* sample = app.add_subcommand("sample", "Write a sample picture to work with");
    sample->add_option("-o,--output", job.m_output, "File to write: .bmp, .png or .tif")
        ->required();
    sample->add_option("--width", job.m_width, "Pixels")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    sample->add_option("--height", job.m_height, "Lines")
        ->check(CLI::Range(1, 1000000))
        ->capture_default_str();
    sample->add_option("--dpi", job.m_dpi, "Dots per inch")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    sample->add_flag("--gray", job.m_gray, "8-bit gray instead of 24-bit colour");
    sample->add_flag("--encoded", job.m_encoded,
                     "As screens show it, instead of the linear light that a scanner measures");
    return sample;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"nvqscan: scans with the nvqdrv driver, and runs pictures through its engine"};
    app.set_version_flag("--version", NVQ_VERSION);
    app.require_subcommand(1);
    ProcessOptions processOptions;
    CSampleJob sampleJob;
    ProfileOptions profileOptions;
    CLI::App* process = AddProcess(app, processOptions);
    CLI::App* profile = AddProfile(app, profileOptions);
    CLI::App* sample = AddSample(app, sampleJob);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        app.exit(error);
        return kUsageError;
    }
    if (process->parsed())
        return Process(processOptions);
    if (profile->parsed())
        return RunProfile(profileOptions, std::cout, std::cerr);
    return sample->parsed() ? Sample(sampleJob) : 0;
}
