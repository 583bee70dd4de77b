// The zeldc command: subcommands are registered by the files that implement them.
#include <cstdio>
#include <exception>

#include "commands.hpp"

namespace {

int run(int argc, char** argv) {
    CLI::App app{"Compress and restore .gz and .bz2 files, and look inside every stage."};
    app.name("zeldc");
    app.require_subcommand(1);
    int exitStatus = 0;
    tool::addCompressionCommands(app, exitStatus);
    tool::addSumCommand(app, exitStatus);
    tool::addStagesCommand(app, exitStatus);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1;
    }
    return exitStatus;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zeldc: %s\n", error.what());
    } catch (...) {
        std::fputs("zeldc: unknown failure\n", stderr);
    }
    return 1;
}
