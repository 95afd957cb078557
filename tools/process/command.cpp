// nvqscan process and sample: pictures through the imaging engine, without a scanner.

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "diag/log.h"
#include "engine/engine.h"
#include "pictures/picture_reader.h"
#include "pictures/picture_writer.h"
#include "pictures/sample_picture.h"
#include "pictures/tiff_pages.h"
#include "service/install.h"
#include "tools/command.h"
#include "tools/console.h"
#include "tools/filter_options.h"
#include "tools/interrupt_watch.h"
#include "tools/mode_option.h"
#include "tools/option_facts.h"
#include "tools/output_options.h"
#include "tools/process/attribute_writes.h"
#include "tools/process/model_item.h"
#include "tools/process/run.h"
#include "tools/tone_options.h"
#include "tools/turn_options.h"

namespace {

// The command line of `process`.
struct ProcessOptions {
    CProcessJob m_job;
    COutputOptions m_output;
    CModeOptions m_mode;
    bool m_listAttributes = false;
    bool m_listProperties = false;
};

// The values are those of a run without further settings.
int ListTables(const ProcessOptions& options) {
    CModelItem item;
    if (options.m_listProperties)
        item.List(std::cout);
    if (options.m_listAttributes) {
        CQLEngine engine;
        engine.Init();
        engine.ProvideStreaks();
        engine.ReadItemSettings(&item);
        ListAttributes(engine, std::cout);
    }
    return 0;
}

// The log is the driver's: what the engine writes there is wanted here too.
int Process(ProcessOptions& options) {
    CProcessJob& job = options.m_job;
    if (options.m_listAttributes || options.m_listProperties)
        return ListTables(options);
    job.m_output = options.m_output.m_path;
    job.m_picture = options.m_output.m_picture;
    if (job.m_input.empty() || job.m_output.empty())
        return Complain("process needs a picture and -o FILE (see 'nvqscan process --help')",
                        kExitUsage);
    std::string error;
    if (!CheckPageOutput(job.m_output, job.m_picture, &error) ||
        !CheckFilters(job.m_filters, &error) ||
        !TakePalette(options.m_mode, &job.m_palette, &error))
        return Complain(error, kExitUsage);
    job.m_mode = options.m_mode.m_mode;
    CLogConfig::Acquire(kDriverClass);
    CProcessResult result;
    {
        CProgressLine progress(job.m_input == "-" ? "standard input" : job.m_input);
        job.m_progress = [&progress](unsigned percent) { progress.Show(percent); };
        job.m_cancelled = WasInterrupted;
        job.m_notice = TellLine;
        result = RunProcess(job, &error);
    }
    CLogConfig::Release();
    if (result == CProcessResult::Cancelled)
        return TellCancelled();
    return result == CProcessResult::Done ? kExitDone : Complain(error, static_cast<int>(result));
}

// Nothing is left of a picture that was interrupted.
int Sample(CSampleJob& job, const COutputOptions& output) {
    std::string error;
    if (!CheckOutput(output.m_path, output.m_picture, &error))
        return Complain(error, kExitUsage);
    const auto writer = CreatePictureWriter(output.m_path, output.m_picture, &error);
    job.m_cancelled = WasInterrupted;
    if (WriteSamplePicture(job, *writer))
        return kExitDone;
    return writer->Error().empty()
               ? TellCancelled()
               : Complain(ShownName(output.m_path) + ": " + writer->Error(), kExitFailed);
}

CLI::App* AddProcess(CLI::App& app, ProcessOptions& options) {
    CProcessJob& job = options.m_job;
    CLI::App* process = app.add_subcommand("process", "Run a picture through the imaging engine");
    process->option_defaults()->group(kGroupFiles);
    process
        ->add_option("IN", job.m_input,
                     "Picture: " + ReadableKinds() + " file; - is standard input")
        ->type_name(kFileValue);
    AddOutputOptions(
        *process, options.m_output,
        "Result: " + WritableEndings() + " file; of several pages a %d stands for the page");
    process
        ->add_option("--page", job.m_page,
                     "Page of a TIFF file; for all pages the result's name has a %d for the page, "
                     "or is that of a TIFF or PDF file")
        ->check(CLI::Range(1, kMostTiffPages))
        ->default_str("all");
    process->option_defaults()->group(kGroupPicture);
    AddTurnOptions(*process, job.m_mirror, job.m_rotate, "picture",
                   "Lines are written when the whole picture has been read");
    AddModeOptions(*process, options.m_mode);
    process
        ->add_option("--property", job.m_properties,
                     "A property of the scan item, by the name or number that --list-properties "
                     "shows")
        ->type_name("NAME=VALUE")
        ->take_all()
        ->allow_extra_args(false);
    process
        ->add_option("--set", job.m_attributes,
                     "An attribute of the engine, by the name or number that --list-attributes "
                     "shows; written after the properties were read")
        ->type_name("NAME=VALUE")
        ->take_all()
        ->allow_extra_args(false);
    AddFilterOptions(*process, job.m_filters);
    process->option_defaults()->group(kGroupJob);
    CLI::Option* fromFile = process->add_flag(
        "--from-file", job.m_fromFile, "Let the engine read the file itself instead of feeding it");
    CLI::Option* analyse =
        process->add_flag("--analyse", job.m_analyse, "Run an analysis pass first")
            ->needs(fromFile);
    process->add_flag(
        "--encoded", job.m_encoded,
        "The picture is encoded for screens, as photographs are; a scanner's samples are "
        "linear light");
    process->add_option("--band", job.m_bandLines, "Lines fed at a time")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    process->option_defaults()->group(kGroupPicture);
    AddAutoWish(
        *process, job.m_auto,
        "tone, color or expose, or several with commas: settle levels, the colour point, or "
        "both as a whole exposure by an analysis of the picture")
        ->excludes(analyse);
    process->option_defaults()->group(kGroupFiles);
    AddToneFiles(*process, job.m_plots);
    process->option_defaults()->group(kGroupOther);
    process->add_flag("--list-attributes", options.m_listAttributes,
                      "List all attributes with kind, value and what is allowed");
    process->add_flag("--list-properties", options.m_listProperties,
                      "List all properties with value and what is allowed");
    return process;
}

CLI::App* AddSample(CLI::App& app, CSampleJob& job, COutputOptions& output) {
    CLI::App* sample = app.add_subcommand("sample", "Write a sample picture to work with");
    AddOutputOptions(*sample, output, "File: " + WritableEndings())->required();
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

void AddProcessCommands(CLI::App& app, CCommandList& commands) {
    const auto options = std::make_shared<ProcessOptions>();
    commands.push_back({AddProcess(app, *options), [options] { return Process(*options); }});
    const auto job = std::make_shared<CSampleJob>();
    const auto output = std::make_shared<COutputOptions>();
    commands.push_back(
        {AddSample(app, *job, *output), [job, output] { return Sample(*job, *output); }});
}
