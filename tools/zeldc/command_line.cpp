// From arguments to options. The one file that knows the argument parser, whose templates take long
// to compile.
#include "command_line.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "commands.hpp"
#include "file_task.hpp"
#include "zeldc.h"

namespace tool {
namespace {

// With more, what a 32-bit process needs for the worst of inputs would approach a gigabyte.
constexpr unsigned kMaxDefaultThreads = 32;
constexpr unsigned kMaxThreads = 256;

struct CommandForm {
    const char* name;
    const char* description;
    const char* footer;
    Action action;
    Format format;
};

constexpr CommandForm kForms[] = {
    {"gzip", "Compress files to .gz",
     "Examples:\n"
     "  zeldc gzip notes.txt              notes.txt becomes notes.txt.gz\n"
     "  zeldc gzip -3 -k *.log            best compression, keeping the files\n"
     "  tar c src | zeldc gzip > src.tgz  in a pipe",
     Action::compress, Format::gzip},
    {"gunzip", "Restore .gz files",
     "Examples:\n"
     "  zeldc gunzip notes.txt.gz         notes.txt.gz becomes notes.txt\n"
     "  zeldc gunzip -c src.tgz | tar x   in a pipe\n"
     "  zeldc gunzip -t *.gz              test only",
     Action::restore, Format::gzip},
    {"bzip2", "Compress files to .bz2",
     "Examples:\n"
     "  zeldc bzip2 notes.txt             notes.txt becomes notes.txt.bz2\n"
     "  zeldc bzip2 -j 4 -k big.tar       with four threads, keeping the file",
     Action::compress, Format::bzip2},
    {"bunzip2", "Restore .bz2 files",
     "Examples:\n"
     "  zeldc bunzip2 notes.txt.bz2       notes.txt.bz2 becomes notes.txt\n"
     "  zeldc bunzip2 -o out big.bz2      to a file of another name",
     Action::restore, Format::bzip2},
    {"compress", "Compress files to the format that --format names",
     "Example:\n"
     "  zeldc compress -f bz2 notes.txt   notes.txt becomes notes.txt.bz2",
     Action::compress, Format::gzip},
    {"decompress", "Restore .gz and .bz2 files, recognised by their content",
     "Example:\n"
     "  zeldc decompress a.gz b.bz2       become a and b",
     Action::restore, Format::recognise},
};

// Of options that exclude each other the last one counts, so they act as they are met.
void addSwitch(CLI::App& command, const std::string& names, std::function<void()> act,
               const std::string& text) {
    command.add_flag_callback(names, std::move(act), text)->trigger_on_parse();
}

void addLevels(CLI::App& command, Options& options) {
    auto* group = command.add_option_group("Level");
    for (int level = 1; level <= 9; ++level) {
        std::string text;
        if (options.format == Format::bzip2) {
            text = "Blocks of " + std::to_string(level) + "00 kB";
            if (level == 9) text += " (the default)";
        } else if (level <= 3) {
            text = level == 1 ? "Fast" : level == 2 ? "Normal (the default)" : "Best";
        } else {
            text = "As -3";
        }
        addSwitch(
            *group, "-" + std::to_string(level), [&options, level] { options.level = level; },
            text);
    }
    addSwitch(
        *group, "--fast", [&options] { options.level = 1; }, "As -1");
    addSwitch(
        *group, "--best", [&options] { options.level = 9; }, "As -9");
}

void addActions(CLI::App& command, Options& options) {
    addSwitch(
        command, "-d,--decompress",
        [&options] {
            if (options.action == Action::compress) options.action = Action::restore;
        },
        "Restore");
    addSwitch(
        command, "-z,--compress", [&options] { options.action = Action::compress; }, "Compress");
    addSwitch(
        command, "-t,--test", [&options] { options.action = Action::test; },
        "Test compressed files");
    addSwitch(
        command, "-l,--list", [&options] { options.action = Action::list; },
        "List sizes, by restoring to nowhere");
}

void addFormatOptions(CLI::App& command, const CommandForm& form, Options& options,
                      Format& compressFormat) {
    static const std::map<std::string, Format> kFormats = {{"gz", Format::gzip},
                                                           {"gzip", Format::gzip},
                                                           {"bz2", Format::bzip2},
                                                           {"bzip2", Format::bzip2}};
    static const std::map<std::string, BlockChoice> kChoices = {{"size", BlockChoice::size},
                                                                {"library", BlockChoice::library}};
    const bool choosesFormat = std::string_view(form.name) == "compress";
    if (choosesFormat) {
        command.add_option("-f,--format", compressFormat, "gz (the default) or bz2")
            ->transform(CLI::CheckedTransformer(kFormats))
            ->take_last();
    }
    command.add_flag(choosesFormat ? "--force" : "-f,--force", options.force,
                     "Overwrite outputs; take links, and terminals");
    if (form.format != Format::bzip2) {
        command.add_flag("-n,--no-name", options.noName, "Neither store nor restore name and time");
        command.add_flag("-N,--name", options.name, "Restore the stored name and time");
    }
    if (form.format != Format::bzip2 && form.format != Format::recognise) {
        command
            .add_option("--select", options.choice,
                        "Who chooses the kind of a deflate block: size (the default), library")
            ->transform(CLI::CheckedTransformer(kChoices))
            ->take_last();
    }
}

unsigned defaultThreads() {
    return std::clamp(std::thread::hardware_concurrency(), 1U, kMaxDefaultThreads);
}

void addOptions(CLI::App& command, const CommandForm& form, Options& options,
                Format& compressFormat) {
    command.add_option("FILE", options.files, "Files to work on; - or none: standard input");
    command.add_flag("-c,--stdout", options.toStdout, "Write to standard output, keep the files");
    addActions(command, options);
    command.add_flag("-k,--keep", options.keep, "Keep the input");
    command.add_flag("-q,--quiet", options.quiet, "No warnings and no progress");
    command.add_flag("-v,--verbose", options.verbose, "Tell what was done to each file");
    command.add_flag("-r,--recursive", options.recursive, "Work on all files in directories");
    // An empty name would stand for none, and the input be replaced.
    command.add_option("-o,--output", options.output, "Write to this file, keep the input")
        ->check([](const std::string& name) { return name.empty() ? "an empty name" : ""; })
        ->take_last();
    command
        .add_option("-j,--threads", options.threads, "Threads; the output does not depend on it")
        ->check(CLI::Range(1U, kMaxThreads))
        ->take_last()
        ->default_str("all cores, up to 32");
    addFormatOptions(command, form, options, compressFormat);
    addLevels(command, options);
}

void settle(Options& options, Format compressFormat, const CommandForm& form) {
    const bool compresses = options.action == Action::compress;
    if (std::string_view(form.name) == "compress") {
        options.format = compresses ? compressFormat : Format::recognise;
    } else if (form.format == Format::recognise && compresses) {
        options.format = Format::gzip;
    }
    if (!options.output.empty() && (options.files.size() > 1 || options.recursive)) {
        throw CLI::ValidationError("--output", "takes a single input");
    }
}

void addCommand(CLI::App& app, const CommandForm& form, int& exitStatus) {
    auto* command = app.add_subcommand(form.name, form.description);
    command->footer(form.footer);
    auto options = std::make_shared<Options>();
    auto compressFormat = std::make_shared<Format>(Format::gzip);
    options->action = form.action;
    options->format = form.format;
    options->threads = defaultThreads();
    addOptions(*command, form, *options, *compressFormat);
    command->callback([options, compressFormat, &form, &exitStatus] {
        settle(*options, *compressFormat, form);
        exitStatus = processFiles(*options);
    });
}

void addSumCommand(CLI::App& app, int& exitStatus) {
    auto* command = app.add_subcommand("sum", "Print CRC-32, bzip2 CRC and Adler-32 of files");
    command->footer(
        "Examples:\n"
        "  zeldc sum notes.txt copy.txt      a line for each file\n"
        "  zeldc gunzip -c a.gz | zeldc sum  of what a pipe delivers");
    auto files = std::make_shared<std::vector<std::string>>();
    command->add_option("FILE", *files, "Files to read; - or none: standard input");
    command->callback([files, &exitStatus] {
        if (files->empty()) files->emplace_back("-");
        exitStatus = printSums(*files);
    });
}

void addStagesCommand(CLI::App& app, int& exitStatus) {
    auto* command = app.add_subcommand(
        "stages", "Run every chain of the library's stages on a file (its first 64 MiB)");
    command->footer(
        "Examples:\n"
        "  zeldc stages notes.txt                  a table of ratio and speed\n"
        "  zeldc stages --plot out.svg notes.txt   and a drawing of it");
    auto request = std::make_shared<StagesRequest>();
    command->add_option("FILE", request->file, "File to read; -: standard input")->required();
    command->add_flag("--json", request->json, "Print JSON");
    command->add_option("--plot", request->plotFile, "Draw speed against ratio to this SVG file");
    command->callback([request, &exitStatus] { exitStatus = runStages(*request); });
}

// The arguments, last one first, as the parser wants them. It takes a word in square brackets for a
// list of words; such a name of a file is given in another form.
std::vector<std::string> argumentsOf(int argc, char** argv) {
    std::vector<std::string> arguments;
    while (--argc > 0) {
        const std::string argument = argv[argc];
        const bool listLike = argument.starts_with('[') && argument.ends_with(']');
        arguments.push_back(listLike ? "./" + argument : argument);
    }
    return arguments;
}

void describe(CLI::App& app) {
    app.name("zeldc");
    app.require_subcommand(1);
    app.set_version_flag("-V,--version", std::string("zeldc ") + zeldcGetLibVersion()->version);
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("zeldc: ") + error.what() + " (--help tells more)\n";
    });
    app.footer(
        "Examples:\n"
        "  zeldc gzip notes.txt              notes.txt becomes notes.txt.gz\n"
        "  zeldc decompress a.gz b.bz2       become a and b\n"
        "  zeldc bzip2 -k -j 4 big.tar       with four threads, keeping the file\n"
        "  zeldc gzip --help                 the options of a command");
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    CLI::App app{"Compress and restore .gz and .bz2 files, and look inside every stage."};
    describe(app);
    int exitStatus = 0;
    for (const CommandForm& form : kForms)
        addCommand(app, form, exitStatus);
    addSumCommand(app, exitStatus);
    addStagesCommand(app, exitStatus);
    try {
        app.parse(argumentsOf(argc, argv));
    } catch (const CLI::ParseError& error) {
        exitStatus = app.exit(error) == 0 ? 0 : 1;
    }
    // What was printed may have been waiting for this.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fprintf(stderr, "zeldc: cannot write: %s\n", std::strerror(errno));
        return 1;
    }
    return exitStatus;
}

}  // namespace tool
