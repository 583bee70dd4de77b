#include "listing.hpp"

#include <cstdio>
#include <ctime>

#include "failure.hpp"

namespace tool {

double percentSaved(uint64_t plain, uint64_t packed) {
    return plain == 0 ? 0
                      : 100.0 * (1.0 - static_cast<double>(packed) / static_cast<double>(plain));
}

void Listing::add(const ListedFile& file) {
    if (files_++ == 0 && !options_.quiet) {
        if (options_.verbose) std::printf("%-6s %-8s %-12s ", "method", "crc", "date");
        std::printf("%19s %19s %6s %s\n", "compressed", "uncompressed", "ratio", "name");
    }
    if (options_.verbose) {
        const auto time = static_cast<std::time_t>(file.time);
        std::tm parts{};
        char date[32] = "";
        if (localtime_r(&time, &parts) != nullptr) {
            std::strftime(date, sizeof date, "%b %e %H:%M", &parts);
        }
        std::printf("%-6s %08x %-12s ", file.format == Format::bzip2 ? "bzip2" : "defla", file.crc,
                    date);
    }
    addSizes(file.packed, file.plain, file.name);
    packed_ += file.packed;
    plain_ += file.plain;
}

void Listing::finish() const {
    if (files_ < 2 || options_.quiet) return;
    if (options_.verbose) std::printf("%28s ", "");
    addSizes(packed_, plain_, "(totals)");
}

void Listing::addSizes(uint64_t packed, uint64_t plain, const std::string& name) const {
    std::printf("%19llu %19llu %5.1f%% %s\n", static_cast<unsigned long long>(packed),
                static_cast<unsigned long long>(plain), percentSaved(plain, packed),
                printable(name).c_str());
}

}  // namespace tool
