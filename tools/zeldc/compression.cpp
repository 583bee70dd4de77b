#include "commands.hpp"

namespace tool {

void addCompressionCommands(CLI::App& /*app*/, int& /*exitStatus*/) {}

}  // namespace tool
