// What outputs are called.
#pragma once

#include <string>
#include <vector>

#include "options.hpp"

namespace tool {

std::string baseName(const std::string& path);
// The name of the compressed file; empty if the file has the suffix already.
std::string compressedName(const std::string& path, Format format);
// The name of the restored file; empty if the suffix is none of the format's.
std::string restoredName(const std::string& path, Format format);
// What a compressed file may be called of which only the restored file's name was given.
std::vector<std::string> namesWithSuffix(const std::string& path, Format format);
const char* suffixOf(Format format);

}  // namespace tool
