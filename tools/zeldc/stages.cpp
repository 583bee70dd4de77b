// zeldc stages: every chain of the library's stages on one file, verified and timed.
#include <chrono>
#include <cstdio>
#include <new>
#include <nlohmann/json.hpp>

#include "byte_source.hpp"
#include "chains.hpp"
#include "commands.hpp"
#include "failure.hpp"
#include "input_file.hpp"
#include "measurement.hpp"
#include "zeldc.h"

namespace tool {
namespace {

// More of a file is not looked at: the chains work in memory.
constexpr size_t kMaxSize = size_t{64} << 20;
// Short work is repeated for so long, and the best time counts.
constexpr double kMinSeconds = 0.05;
constexpr double kMegabyte = 1e6;

struct Input {
    Bytes bytes;
    bool whole = true;
};

Input readFile(const std::string& name) {
    const Descriptor file(openForReading(name));
    Progress progress(name, 0, false);
    ByteSource source(file.get(), progress);
    Input input;
    Bytes& bytes = input.bytes;
    size_t got = 0;
    do {
        constexpr size_t kStep = size_t{1} << 20;
        bytes.resize(bytes.size() + kStep);
        got = source.take(bytes.data() + bytes.size() - kStep, kStep);
        bytes.resize(bytes.size() - kStep + got);
    } while (got > 0 && bytes.size() < kMaxSize);
    if (bytes.empty()) throw Failure("is empty: there is nothing to measure");
    input.whole = !source.ensure(1);
    return input;
}

// The best rate of as many runs as it takes to measure one.
template <class Work>
double rateOf(size_t size, Work work) {
    using Clock = std::chrono::steady_clock;
    double total = 0, best = 1e9;
    while (total < kMinSeconds) {
        const auto start = Clock::now();
        work();
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        best = std::min(best, std::max(seconds, 1e-9));
        total += seconds;
    }
    return static_cast<double>(size) / kMegabyte / best;
}

Measurement measure(const Chain& chain, const Bytes& plain) {
    Measurement result{.chain = chain.name, .stages = chain.stages, .fault = ""};
    try {
        Bytes packed, restored;
        result.packRate = rateOf(plain.size(), [&] { packed = chain.pack(plain); });
        result.packedSize = packed.size();
        result.unpackRate =
            rateOf(plain.size(), [&] { restored = chain.unpack(packed, plain.size()); });
        result.verified = restored == plain;
        if (!result.verified) result.fault = "decodes to something else";
    } catch (const Failure& failure) {
        result.fault = failure.what();
    } catch (const std::bad_alloc&) {
        result.fault = "out of memory";
    }
    return result;
}

void printTable(const Report& report) {
    std::printf("%s: %s%llu bytes\n", printable(report.file).c_str(),
                report.whole ? "" : "the first ", static_cast<unsigned long long>(report.size));
    std::printf("%-20s %12s %8s %12s %12s\n", "chain", "bytes", "ratio", "pack MB/s",
                "unpack MB/s");
    for (const Measurement& chain : report.chains) {
        if (chain.verified) {
            std::printf("%-20s %12llu %8.3f %12.1f %12.1f\n", chain.chain.c_str(),
                        static_cast<unsigned long long>(chain.packedSize), report.ratio(chain),
                        chain.packRate, chain.unpackRate);
        } else {
            std::printf("%-20s FAILED: %s\n", chain.chain.c_str(), chain.fault.c_str());
        }
    }
}

void printJson(const Report& report) {
    nlohmann::ordered_json json;
    json["file"] = report.file;
    json["size"] = report.size;
    json["whole"] = report.whole;
    json["library"] = report.library;
    for (const Measurement& chain : report.chains) {
        nlohmann::ordered_json entry;
        entry["chain"] = chain.chain;
        entry["stages"] = chain.stages;
        entry["verified"] = chain.verified;
        if (chain.verified) {
            entry["packedSize"] = chain.packedSize;
            entry["ratio"] = report.ratio(chain);
            entry["packMegabytesPerSecond"] = chain.packRate;
            entry["unpackMegabytesPerSecond"] = chain.unpackRate;
        } else {
            entry["fault"] = chain.fault;
        }
        json["chains"].push_back(entry);
    }
    // A file's name may be any bytes.
    std::puts(json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

void writeText(const std::string& name, const std::string& text) {
    FILE* file = std::fopen(name.c_str(), "w");
    if (file == nullptr) failWithErrno("cannot write " + name);
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (std::fclose(file) != 0 || !written) failWithErrno("cannot write " + name);
}

int race(const StagesRequest& request) {
    const Input input = readFile(request.file);
    const Bytes& plain = input.bytes;
    const ZelLibraryVersion* version = zeldcGetLibVersion();
    Report report{request.file,
                  plain.size(),
                  input.whole,
                  std::string(version->name) + " " + version->version,
                  {}};
    bool allVerified = true;
    const std::vector<Chain> chains = allChains();
    Progress progress("stages", plain.size() * uint64_t{chains.size()}, true);
    for (const Chain& chain : chains) {
        report.chains.push_back(measure(chain, plain));
        allVerified &= report.chains.back().verified;
        progress.advance(plain.size());
    }
    progress.clear();
    if (request.json) {
        printJson(report);
    } else {
        printTable(report);
    }
    if (!request.plotFile.empty()) writeText(request.plotFile, drawPlot(report));
    return allVerified ? 0 : 1;
}

}  // namespace

int runStages(const StagesRequest& request) {
    try {
        return race(request);
    } catch (const Failure& failure) {
        say(request.file, failure.what());
        return 1;
    }
}

}  // namespace tool
