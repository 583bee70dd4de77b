// The zeldc command: subcommands are registered by the files that implement them.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "commands.hpp"
#include "zeldc.h"

namespace {

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

// A file opened in the place of a closed standard one would be taken for it, and messages written
// into an output. What stands in refuses to be read or written.
void occupyStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
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

int run(int argc, char** argv) {
    CLI::App app{"Compress and restore .gz and .bz2 files, and look inside every stage."};
    describe(app);
    int exitStatus = 0;
    tool::addCompressionCommands(app, exitStatus);
    tool::addSumCommand(app, exitStatus);
    tool::addStagesCommand(app, exitStatus);
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

}  // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zeldc: %s\n", error.what());
    } catch (...) {
        std::fputs("zeldc: unknown failure\n", stderr);
    }
    return 1;
}
