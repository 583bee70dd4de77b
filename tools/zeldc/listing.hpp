// The table that --list prints.
#pragma once

#include <cstdint>
#include <string>

#include "options.hpp"

namespace tool {

struct ListedFile {
    uint64_t packed = 0;
    uint64_t plain = 0;
    std::string name;  // of the restored file
    Format format = Format::gzip;
    uint32_t crc = 0;  // as the format has it, of the last member or stream
    int64_t time = 0;
};

// What is saved, in percent of the plain size.
double percentSaved(uint64_t plain, uint64_t packed);

class Listing {
  public:
    // With titles, unless quiet; format, checksum and time of each file as well, where verbose.
    explicit Listing(const Options& options) : options_(options) {}
    void add(const ListedFile& file);
    // The totals, where there was more than one file.
    void finish() const;

  private:
    void addSizes(uint64_t packed, uint64_t plain, const std::string& name) const;

    const Options& options_;
    int files_ = 0;
    uint64_t packed_ = 0;
    uint64_t plain_ = 0;
};

}  // namespace tool
