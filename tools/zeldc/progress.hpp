// A progress line on the terminal for work that takes more than a second. Debian packages no C++
// library for it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

class Progress {
  public:
    // total is the size of the input, 0 if unknown. Without `wanted`, and unless standard error is
    // a terminal, nothing is ever shown.
    Progress(std::string label, uint64_t total, bool wanted);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(uint64_t bytes) {
        done_ += bytes;
        if (wanted_) update();
    }
    // Takes the line off the terminal, for a message that is to stand there.
    void clear();

  private:
    using Clock = std::chrono::steady_clock;

    void update();
    void draw(double seconds);

    std::string label_;
    uint64_t total_;
    uint64_t done_ = 0;
    bool wanted_;
    bool drawn_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point next_ = start_ + std::chrono::seconds(1);
};

}  // namespace tool
