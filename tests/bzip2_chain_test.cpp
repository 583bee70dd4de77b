// The chain of docs/examples/bzip2_chain.h: whole streams, with libbz2 as the judge.
#include <bzlib.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "docs/examples/bzip2_chain.h"
#include "support/guarded_buffer.hpp"
#include "support/shapes.hpp"

namespace {

using support::Bytes;
using support::GuardedBuffer;

Bytes taken(Bz2Buffer& buffer) {
    Bytes bytes(buffer.data, buffer.data + buffer.size);
    free(buffer.data);
    return bytes;
}

Bytes compressed(const Bytes& src, int level) {
    Bz2Buffer out = {};
    EXPECT_EQ(bz2Compress(src.data(), static_cast<int32_t>(src.size()), level, &out), zelStsOk);
    return taken(out);
}

struct Restored {
    ZelStatus status = zelStsOk;
    Bytes bytes;
    int32_t left = 0;
};

Restored restored(const Bytes& stream) {
    const GuardedBuffer guarded(stream);
    const uint8_t* src = guarded.data();
    Restored result;
    result.left = static_cast<int32_t>(stream.size());
    Bz2Buffer out = {};
    result.status = bz2Decompress(&src, &result.left, &out);
    EXPECT_EQ(src + result.left, guarded.data() + guarded.size());
    result.bytes = taken(out);
    return result;
}

// libbz2 takes no null, not even for nothing.
char* peerBytes(const Bytes& bytes) {
    static char none = 0;
    if (bytes.empty()) return &none;
    return reinterpret_cast<char*>(const_cast<uint8_t*>(bytes.data()));
}

Bytes peerCompressed(const Bytes& src, int level) {
    auto size = static_cast<unsigned>(src.size() + src.size() / 50 + 1000);
    Bytes out(size);
    EXPECT_EQ(BZ2_bzBuffToBuffCompress(peerBytes(out), &size, peerBytes(src),
                                       static_cast<unsigned>(src.size()), level, 0, 0),
              BZ_OK);
    out.resize(size);
    return out;
}

Restored peerRestored(const Bytes& stream, size_t room) {
    Restored result;
    result.bytes.resize(room);
    bz_stream bz = {};
    EXPECT_EQ(BZ2_bzDecompressInit(&bz, 0, 0), BZ_OK);
    bz.next_in = peerBytes(stream);
    bz.avail_in = static_cast<unsigned>(stream.size());
    bz.next_out = peerBytes(result.bytes);
    bz.avail_out = static_cast<unsigned>(room);
    const int status = BZ2_bzDecompress(&bz);
    result.bytes.resize(room - bz.avail_out);
    result.left = static_cast<int32_t>(bz.avail_in);
    result.status = status == BZ_STREAM_END ? zelStsOk : zelStsBadData;
    BZ2_bzDecompressEnd(&bz);
    return result;
}

void checkBothWays(const Bytes& src, int level, const std::string& name) {
    SCOPED_TRACE(name + ", " + std::to_string(src.size()) + " bytes, level " +
                 std::to_string(level));
    const Bytes ours = compressed(src, level);
    const Restored judged = peerRestored(ours, src.size() + 1);
    EXPECT_EQ(judged.status, zelStsOk);
    EXPECT_TRUE(judged.bytes == src);
    EXPECT_EQ(judged.left, 0);
    for (const Bytes& stream : {ours, peerCompressed(src, level)}) {
        const Restored back = restored(stream);
        EXPECT_EQ(back.status, zelStsOk);
        EXPECT_EQ(back.left, 0);
        EXPECT_TRUE(back.bytes == src);
    }
}

TEST(Bzip2Chain, InterchangesWithThePeer) {
    for (const size_t size : {0U, 1U, 2U, 3U, 4U, 5U, 50U, 260U, 1000U, 30000U, 99981U, 130000U}) {
        for (const auto& [name, bytes] : support::shapes(size))
            checkBothWays(bytes, 1, name);
    }
    checkBothWays(support::textLike(2000000, 1), 9, "text");
    checkBothWays(support::runs(700000, 2, 100000), 2, "long runs");
    Bytes all(256 * 8);
    for (size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<uint8_t>(i / 8);
    checkBothWays(all, 1, "every value");
}

// On real files the difference is smaller; these are short of structure for six tables.
TEST(Bzip2Chain, SizeIsThatOfThePeer) {
    for (const Bytes& bytes : {support::textLike(900000, 5), support::mixed(900000, 6)}) {
        const auto ours = static_cast<double>(compressed(bytes, 9).size());
        EXPECT_LT(ours, 1.004 * static_cast<double>(peerCompressed(bytes, 9).size()));
    }
}

// Among these are words that the pair of transforms does not restore.
TEST(Bzip2Chain, RepeatedWordsComeBack) {
    for (const char* word : {"ababac", "aababab", "acacbad", "ab", "a line of text\n", "aaaab"}) {
        const size_t length = std::string(word).size();
        for (size_t count = 6; count <= 30; ++count)
            checkBothWays(support::repeated(word, length * count), 1, word);
        checkBothWays(support::repeated(word, length * 5000), 1, word);
    }
}

TEST(Bzip2Chain, StreamsFollowEachOther) {
    const Bytes first = support::textLike(5000, 1);
    Bytes streams = compressed(first, 1);
    const size_t size = streams.size();
    const Bytes more = {'B', 'Z', 'h', 'x'};
    streams.insert(streams.end(), more.begin(), more.end());
    const Restored back = restored(streams);
    EXPECT_EQ(back.status, zelStsOk);
    EXPECT_TRUE(back.bytes == first);
    EXPECT_EQ(static_cast<size_t>(back.left), streams.size() - size);
}

TEST(Bzip2Chain, TruncatedStreamsAreNoticed) {
    const Bytes stream = peerCompressed(support::textLike(3000, 3), 1);
    for (size_t size = 0; size < stream.size(); ++size) {
        const Bytes cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(restored(cut).status, zelStsSrcExhausted) << size;
    }
}

TEST(Bzip2Chain, DamagedStreamsAreJudgedAsByThePeer) {
    support::Random random(17);
    for (int round = 0; round < 600; ++round) {
        const Bytes src = round % 2 == 0
                              ? support::textLike(1 + random.sizeBelow(4000), random.next())
                              : support::randomBytes(1 + random.sizeBelow(600), random.next());
        Bytes stream = peerCompressed(src, 1);
        for (uint32_t i = random.below(3); i-- > 0;)
            stream[random.sizeBelow(static_cast<uint32_t>(stream.size()))] ^=
                static_cast<uint8_t>(1U << random.below(8));
        const Restored ours = restored(stream);
        const Restored judged = peerRestored(stream, 1 << 20);
        // The peer still reads the randomised blocks of old, which follow the block's checksum.
        const bool randomised = (stream[14] & 0x80) != 0;
        if (randomised) continue;
        ASSERT_EQ(ours.status == zelStsOk, judged.status == zelStsOk) << round;
        if (ours.status == zelStsOk) {
            ASSERT_TRUE(ours.bytes == judged.bytes);
        }
    }
}

std::string contents(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The page quotes the code that these tests compile.
TEST(Bzip2Chain, PageShowsThisCode) {
    const std::string tests = __FILE__;
    const std::string root = tests.substr(0, tests.rfind("tests/"));
    const std::string code = contents(root + "docs/examples/bzip2_chain.h");
    const std::string page = contents(root + "docs/bzip2-chain.md");
    ASSERT_FALSE(code.empty());
    int blocks = 0;
    for (size_t from = 0; (from = page.find("```c\n", from)) != std::string::npos; ++blocks) {
        from += 5;
        const size_t to = page.find("```", from);
        ASSERT_NE(to, std::string::npos);
        const std::string block = page.substr(from, to - from);
        EXPECT_NE(code.find(block), std::string::npos) << block;
        from = to + 3;
    }
    EXPECT_GE(blocks, 8);
}

}  // namespace
