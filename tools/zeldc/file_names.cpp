#include "file_names.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace tool {
namespace {

struct Suffix {
    Format format;
    std::string_view compressed;
    std::string_view restored;
};

constexpr std::array<Suffix, 11> kSuffixes = {{
    {Format::gzip, ".gz", ""},
    {Format::gzip, "-gz", ""},
    {Format::gzip, ".z", ""},
    {Format::gzip, "-z", ""},
    {Format::gzip, "_z", ""},
    {Format::gzip, ".tgz", ".tar"},
    {Format::gzip, ".taz", ".tar"},
    {Format::bzip2, ".bz2", ""},
    {Format::bzip2, ".bz", ""},
    {Format::bzip2, ".tbz2", ".tar"},
    {Format::bzip2, ".tbz", ".tar"},
}};

// The suffix that the name ends with, in whatever case; a name consists of more than that.
const Suffix* findSuffix(const std::string& path, Format format) {
    std::string name = baseName(path);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const Suffix& suffix : kSuffixes) {
        if (format != Format::recognise && suffix.format != format) continue;
        if (name.size() > suffix.compressed.size() && name.ends_with(suffix.compressed)) {
            return &suffix;
        }
    }
    return nullptr;
}

}  // namespace

std::string baseName(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

const char* suffixOf(Format format) {
    return format == Format::bzip2 ? ".bz2" : ".gz";
}

std::vector<std::string> namesWithSuffix(const std::string& path, Format format) {
    std::vector<std::string> names;
    if (format != Format::bzip2) names.push_back(path + suffixOf(Format::gzip));
    if (format != Format::gzip) names.push_back(path + suffixOf(Format::bzip2));
    return names;
}

std::string compressedName(const std::string& path, Format format) {
    return findSuffix(path, format) != nullptr ? "" : path + suffixOf(format);
}

std::string restoredName(const std::string& path, Format format) {
    const Suffix* suffix = findSuffix(path, format);
    if (suffix == nullptr) return "";
    return path.substr(0, path.size() - suffix->compressed.size()) + std::string(suffix->restored);
}

}  // namespace tool
