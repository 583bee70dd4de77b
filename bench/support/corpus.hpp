// The benchmark's data: the files of the folder named by ZELDC_CORPUS (see corpus.sh).
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace bench {

using Bytes = std::vector<uint8_t>;

struct CorpusFile {
    std::string name;
    Bytes bytes;
};

// Text, source and binary, each cut to `limit` bytes.
inline std::vector<CorpusFile> corpus(size_t limit = SIZE_MAX) {
    const char* folder = std::getenv("ZELDC_CORPUS");
    std::vector<CorpusFile> files;
    for (const char* name : {"text", "source", "binary"}) {
        const std::string path =
            std::string(folder == nullptr ? "build/corpus" : folder) + "/" + name;
        std::ifstream in(path, std::ios::binary);
        Bytes bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        if (bytes.empty()) {
            std::fprintf(stderr, "%s: no data; run bench/corpus.sh and set ZELDC_CORPUS\n",
                         path.c_str());
            std::exit(1);
        }
        if (bytes.size() > limit) bytes.resize(limit);
        files.push_back({name, std::move(bytes)});
    }
    return files;
}

}  // namespace bench
