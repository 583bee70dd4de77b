// Runs a fuzz target over the files of a corpus folder, then over a fixed set of made-up inputs, so
// that ordinary test runs cover it without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

constexpr int kMadeUpInputs = 300;

std::vector<uint8_t> contents(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void run(const std::vector<uint8_t>& input) {
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

// Random bytes of growing length, sparse ones among them.
std::vector<uint8_t> madeUp(uint64_t number) {
    uint64_t state = number * 0x9E3779B97F4A7C15U + 1;
    const auto next = [&state] {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return state * 0x2545F4914F6CDD1DU >> 33;
    };
    std::vector<uint8_t> bytes(next() % (1 + number * 5));
    const uint64_t mask = number % 3 == 0 ? 0x0F : 0xFF;
    for (auto& b : bytes)
        b = static_cast<uint8_t>(next() & mask);
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        const fs::path path(argv[i]);
        if (fs::is_regular_file(path)) {
            run(contents(path));
            ++replayed;
            continue;
        }
        if (!fs::is_directory(path)) continue;
        for (const auto& entry : fs::directory_iterator(path)) {
            run(contents(entry.path()));
            ++replayed;
        }
    }
    if (replayed == 0) {
        std::fprintf(stderr, "no corpus file found\n");
        return 1;
    }
    for (uint64_t i = 0; i < kMadeUpInputs; ++i)
        run(madeUp(i));
    std::printf("%d corpus files, %d made-up inputs\n", replayed, kMadeUpInputs);
    return 0;
}
