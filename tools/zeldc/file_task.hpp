// The work on the files that a compression command was given.
#pragma once

#include "options.hpp"

namespace tool {

// Exit status: 0, 1 after an error, 2 after a warning.
int processFiles(const Options& options);

}  // namespace tool
