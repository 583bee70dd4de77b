// Each subcommand registers itself and, when chosen, runs and leaves its exit status: 0 when all
// went well, 1 after an error, 2 after a warning.
#pragma once

#include <CLI/CLI.hpp>

namespace tool {

void addCompressionCommands(CLI::App& app, int& exitStatus);
void addSumCommand(CLI::App& app, int& exitStatus);
void addStagesCommand(CLI::App& app, int& exitStatus);

}  // namespace tool
