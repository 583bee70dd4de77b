#include "commands.hpp"

namespace tool {

void addStagesCommand(CLI::App& /*app*/, int& /*exitStatus*/) {}

}  // namespace tool
