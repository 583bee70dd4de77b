#include "progress.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tool {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr int kBarWidth = 24;
constexpr double kMegabyte = 1e6;

std::string timeLeft(double seconds) {
    const auto whole = static_cast<unsigned long>(std::min(seconds, 359999.0));
    char text[32];
    std::snprintf(text, sizeof text, "%lu:%02lu", whole / 60, whole % 60);
    return text;
}

}  // namespace

Progress::Progress(std::string label, uint64_t total, bool wanted)
    : label_(std::move(label)), total_(total), wanted_(wanted && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    clear();
}

void Progress::clear() {
    if (drawn_) std::fputs("\r\033[K", stderr);
    drawn_ = false;
}

void Progress::update() {
    const auto now = Clock::now();
    if (now < next_) return;
    next_ = now + kInterval;
    draw(std::chrono::duration<double>(now - start_).count());
}

void Progress::draw(double seconds) {
    const double rate = static_cast<double>(done_) / seconds;
    drawn_ = true;
    if (total_ == 0) {
        std::fprintf(stderr, "\r\033[K%.30s  %.1f MB  %.1f MB/s", label_.c_str(),
                     static_cast<double>(done_) / kMegabyte, rate / kMegabyte);
        return;
    }
    const double share = std::min(1.0, static_cast<double>(done_) / static_cast<double>(total_));
    std::string bar(static_cast<size_t>(share * kBarWidth), '#');
    bar.resize(kBarWidth, '.');
    const double left = (static_cast<double>(total_) - static_cast<double>(done_)) / rate;
    std::fprintf(stderr, "\r\033[K%.30s [%s] %3.0f%%  %.1f MB/s  %s left", label_.c_str(),
                 bar.c_str(), share * 100, rate / kMegabyte, timeLeft(std::max(left, 0.0)).c_str());
}

}  // namespace tool
