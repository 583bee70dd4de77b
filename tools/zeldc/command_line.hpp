// From arguments to what the subcommands are asked to do.
#pragma once

namespace tool {

// Returns the exit status.
int runCommandLine(int argc, char** argv);

}  // namespace tool
