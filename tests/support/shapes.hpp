// Data that coders behave differently on, made from a seed: the same on every machine and run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace support {

using Bytes = std::vector<uint8_t>;

// A small generator whose sequence is fixed here (xorshift64*), so that failures reproduce.
class Random {
  public:
    explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 1) {}
    uint64_t next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return state_ * 0x2545F4914F6CDD1DU;
    }
    // 0 .. bound-1
    uint32_t below(uint32_t bound) { return static_cast<uint32_t>((next() >> 32) % bound); }
    // Random in magnitude too: small values are as likely as large ones.
    uint32_t sizeBelow(uint32_t bound) { return below(1 + below(bound)); }

  private:
    uint64_t state_;
};

struct Shape {
    std::string name;
    Bytes bytes;
};

inline Bytes randomBytes(size_t size, uint64_t seed, uint32_t alphabet = 256) {
    Random random(seed);
    Bytes bytes(size);
    for (auto& b : bytes)
        b = static_cast<uint8_t>(random.below(alphabet));
    return bytes;
}

// Words drawn with a skew from a small made-up dictionary: compresses about as text does.
inline Bytes textLike(size_t size, uint64_t seed) {
    Random random(seed);
    std::vector<std::string> words(400);
    for (auto& word : words) {
        word.resize(1 + random.below(9));
        for (auto& c : word)
            c = static_cast<char>('a' + random.sizeBelow(26));
    }
    Bytes bytes;
    bytes.reserve(size + 16);
    while (bytes.size() < size) {
        const auto& word = words[random.sizeBelow(400)];
        bytes.insert(bytes.end(), word.begin(), word.end());
        bytes.push_back(random.below(12) == 0 ? '\n' : ' ');
    }
    bytes.resize(size);
    return bytes;
}

inline Bytes runs(size_t size, uint64_t seed, uint32_t longest) {
    Random random(seed);
    Bytes bytes;
    while (bytes.size() < size) {
        bytes.insert(bytes.end(), 1 + random.sizeBelow(longest),
                     static_cast<uint8_t>(random.below(256)));
    }
    bytes.resize(size);
    return bytes;
}

inline Bytes repeated(const std::string& word, size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>(word[i % word.size()]);
    return bytes;
}

// Half text, half noise, in pieces: stored and compressed blocks alternate.
inline Bytes mixed(size_t size, uint64_t seed) {
    Bytes bytes;
    while (bytes.size() < size) {
        const Bytes piece = seed % 2 == 0 ? textLike(7000, seed) : randomBytes(5000, seed);
        bytes.insert(bytes.end(), piece.begin(), piece.end());
        ++seed;
    }
    bytes.resize(size);
    return bytes;
}

// One of each kind, `size` bytes long.
inline std::vector<Shape> shapes(size_t size, uint64_t seed = 1) {
    return {
        {"zeros", Bytes(size, 0)},
        {"random", randomBytes(size, seed)},
        {"two letters", randomBytes(size, seed + 1, 2)},
        {"text", textLike(size, seed + 2)},
        {"runs", runs(size, seed + 3, 600)},
        {"short runs", runs(size, seed + 4, 6)},
        {"periodic", repeated("abcabcabd", size)},
        {"mixed", mixed(size, seed + 5)},
    };
}

}  // namespace support
