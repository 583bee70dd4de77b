// Speed against ratio: a point per chain and direction, speed on a logarithmic axis.
#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "measurement.hpp"

namespace tool {
namespace {

constexpr double kWidth = 900, kHeight = 560;
constexpr double kLeft = 70, kRight = 190, kTop = 50, kBottom = 60;

struct Axis {
    double low, high;      // of the values
    double start, length;  // on the page
    bool logarithmic;

    double at(double value) const {
        const double share = logarithmic ? std::log(value / low) / std::log(high / low)
                                         : (value - low) / (high - low);
        return start + share * length;
    }
};

[[gnu::format(printf, 2, 3)]] void add(std::string& svg, const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    svg += text;
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '<') {
            result += "&lt;";
        } else if (c == '&') {
            result += "&amp;";
        } else {
            result += static_cast<unsigned char>(c) < ' ' ? '?' : c;
        }
    }
    return result;
}

void addAxes(std::string& svg, const Axis& speed, const Axis& ratio) {
    for (int exponent = -1; std::pow(10.0, exponent) <= speed.high; ++exponent) {
        const double decade = std::pow(10.0, exponent);
        if (decade < speed.low) continue;
        add(svg, "<path d='M%.1f %.1fV%.1f' stroke='#ddd'/>", speed.at(decade), kTop,
            kHeight - kBottom);
        add(svg, "<text x='%.1f' y='%.1f' text-anchor='middle'>%g</text>\n", speed.at(decade),
            kHeight - kBottom + 18, decade);
    }
    const double step = ratio.high > 20 ? 10 : ratio.high > 8 ? 2 : 1;
    for (int line = 0; line * step <= ratio.high; ++line) {
        const double value = line * step;
        add(svg, "<path d='M%.1f %.1fH%.1f' stroke='#ddd'/>", kLeft, ratio.at(value),
            kWidth - kRight);
        add(svg, "<text x='%.1f' y='%.1f' text-anchor='end'>%g</text>\n", kLeft - 8,
            ratio.at(value) + 4, value);
    }
    add(svg, "<text x='%.1f' y='%.1f'>MB/s (filled: compression, open: restoration)</text>\n",
        kLeft, kHeight - 18);
    add(svg, "<text x='%.1f' y='%.1f'>ratio</text>\n", 12.0, kTop - 12);
}

}  // namespace

std::string drawPlot(const Report& report) {
    double low = 1e9, high = 0, best = 1;
    for (const Measurement& chain : report.chains) {
        if (!chain.verified) continue;
        low = std::min({low, chain.packRate, chain.unpackRate});
        high = std::max({high, chain.packRate, chain.unpackRate});
        best = std::max(best, report.ratio(chain));
    }
    const Axis speed{std::min(low, high) * 0.8, std::max(high, 1e-3) * 1.3, kLeft,
                     kWidth - kLeft - kRight, true};
    const Axis ratio{0, best * 1.1, kHeight - kBottom, -(kHeight - kTop - kBottom), false};

    std::string svg;
    add(svg,
        "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %g %g' font-family='sans-serif' "
        "font-size='12'>\n<rect width='100%%' height='100%%' fill='white'/>\n",
        kWidth, kHeight);
    svg += "<text x='70' y='24' font-size='16'>" + escaped(report.file) + "</text>\n";
    addAxes(svg, speed, ratio);
    double legend = kTop;
    int hue = 0;
    for (const Measurement& chain : report.chains) {
        if (!chain.verified) continue;
        const double y = ratio.at(report.ratio(chain));
        add(svg, "<g fill='hsl(%d,70%%,42%%)' stroke='hsl(%d,70%%,42%%)'>", hue, hue);
        add(svg, "<path d='M%.1f %.1fH%.1f' stroke-opacity='.4'/>", speed.at(chain.packRate), y,
            speed.at(chain.unpackRate));
        add(svg, "<circle cx='%.1f' cy='%.1f' r='5'/>", speed.at(chain.packRate), y);
        add(svg, "<circle cx='%.1f' cy='%.1f' r='5' fill='white'/>", speed.at(chain.unpackRate), y);
        add(svg, "<circle cx='%.1f' cy='%.1f' r='5'/></g>", kWidth - kRight + 20, legend);
        add(svg, "<text x='%.1f' y='%.1f'>", kWidth - kRight + 32, legend + 4);
        svg += escaped(chain.chain) + "</text>\n";
        legend += 22;
        hue = (hue + 137) % 360;  // the golden angle keeps neighbours apart
    }
    return svg + "</svg>\n";
}

}  // namespace tool
