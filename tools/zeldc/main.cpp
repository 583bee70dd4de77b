// The zeldc command: subcommands are registered by the files that implement them.
#include "commands.hpp"

int main(int argc, char** argv) {
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
