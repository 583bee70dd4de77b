#include "progress.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "failure.hpp"

namespace tool {
namespace {

constexpr auto kInterval = std::chrono::milliseconds(200);
constexpr size_t kLabelWidth = 30;
constexpr size_t kBarWidth = 24, kLeastBarWidth = 6;
constexpr double kMegabyte = 1e6;

std::string timeLeft(double seconds) {
    const auto whole = static_cast<unsigned long>(std::min(seconds, 359999.0));
    char text[32];
    std::snprintf(text, sizeof text, "%lu:%02lu", whole / 60, whole % 60);
    return text;
}

size_t terminalWidth() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

// At most so many bytes, and no part of a UTF-8 sequence behind them.
std::string cut(std::string text, size_t size) {
    if (text.size() <= size) return text;
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80)
        --size;
    text.resize(size);
    return text;
}

}  // namespace

Progress::Progress(std::string label, uint64_t total, bool wanted)
    : label_(cut(printable(std::move(label)), kLabelWidth)),
      total_(total),
      wanted_(wanted && isatty(STDERR_FILENO) == 1) {}

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
    const auto done = static_cast<double>(done_);
    const double rate = done / seconds;
    char numbers[96];
    std::string bar;
    // The line must not wrap, or it could not be taken off again.
    const size_t width = terminalWidth() - 1;
    if (total_ == 0) {
        std::snprintf(numbers, sizeof numbers, "  %.1f MB  %.1f MB/s", done / kMegabyte,
                      rate / kMegabyte);
    } else {
        const auto total = static_cast<double>(total_);
        const double share = std::min(1.0, done / total);
        std::snprintf(numbers, sizeof numbers, "  %3.0f%%  %.1f MB/s  %s left", share * 100,
                      rate / kMegabyte, timeLeft(std::max(total - done, 0.0) / rate).c_str());
        const size_t others = label_.size() + std::strlen(numbers) + 4;
        if (width >= others + kLeastBarWidth) {
            bar.assign(std::min(width - others, kBarWidth), '.');
            std::fill_n(bar.begin(), static_cast<size_t>(share * static_cast<double>(bar.size())),
                        '#');
            bar = "  [" + bar + "]";
        }
    }
    const size_t behind = bar.size() + std::strlen(numbers);
    const std::string line = cut(label_, width - std::min(width, behind)) + bar + numbers;
    std::fprintf(stderr, "\r\033[K%s", cut(line, width).c_str());
    drawn_ = true;
}

}  // namespace tool
