// What the subcommands do once their arguments are known (processFiles is in file_task.hpp). All
// return the exit status: 0 when all went well, 1 after an error, 2 after a warning.
#pragma once

#include <string>
#include <vector>

namespace tool {

struct StagesRequest {
    std::string file;
    bool json = false;
    std::string plotFile;
};

int printSums(const std::vector<std::string>& files);
int runStages(const StagesRequest& request);

}  // namespace tool
