// What `zeldc stages` found out about one chain.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

struct Measurement {
    std::string chain;
    std::string stages;
    uint64_t packedSize = 0;
    double packRate = 0;    // MB of plain data per second
    double unpackRate = 0;  // the same
    bool verified = false;  // decoding gave the file back
    std::string fault;      // why it did not
};

struct Report {
    std::string file;
    uint64_t size = 0;  // of what was measured
    bool whole = true;  // the file has no more
    std::string library;
    std::vector<Measurement> chains;

    // How many times smaller the chain makes the file.
    double ratio(const Measurement& chain) const {
        return chain.packedSize == 0
                   ? 0
                   : static_cast<double>(size) / static_cast<double>(chain.packedSize);
    }
};

// Speed against ratio as an SVG drawing.
std::string drawPlot(const Report& report);

}  // namespace tool
