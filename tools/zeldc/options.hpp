// What the compression commands were asked to do.
#pragma once

#include <string>
#include <vector>

namespace tool {

enum class Action { compress, restore, test, list };
enum class Format { gzip, bzip2, recognise };
// Who decides between dynamic, fixed and stored blocks: exact sizes, or the library's estimate.
enum class BlockChoice { size, library };

struct Options {
    Action action = Action::compress;
    Format format = Format::gzip;
    int level = 0;  // 1..9, 0: the format's usual one
    BlockChoice choice = BlockChoice::size;
    unsigned threads = 1;
    bool toStdout = false;
    bool keep = false;
    bool force = false;
    bool quiet = false;
    bool verbose = false;
    bool recursive = false;
    bool noName = false;  // neither store nor restore name and time
    bool name = false;    // restore name and time
    std::string output;
    std::vector<std::string> files;
};

}  // namespace tool
