// Bars on a logarithmic scale: from a literal GHASH to OpenSSL's lie three powers of ten.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>

#include "case.h"
#include "results.h"

namespace bench {
namespace {

constexpr int kLeft = 190;
constexpr int kWidth = 640; // of the bars' field
constexpr int kRight = 90;  // for the last figure
constexpr int kLine = 16;
constexpr int kTop = 64;
constexpr double kLeast = 1; // MB/s
constexpr double kMost = 1e5;

double place(double speed) {
    const double bounded = std::clamp(speed, kLeast, kMost);
    return kLeft + kWidth * std::log10(bounded / kLeast) / std::log10(kMost / kLeast);
}

const char *colour_of(const std::string &row) {
    return row == kLiteral ? "#9a9a9a" : row.starts_with(kOpenssl) ? "#d08a2e" : "#2f7fb8";
}

// A speed in MB/s, as a label.
std::string label(double speed) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", speed < 100 ? 1 : 0, speed);
    return text;
}

void text(std::ostream &out, double x, int y, const char *style, const std::string &words) {
    out << "<text x=\"" << std::lround(x) << "\" y=\"" << y << "\" class=\"" << style << "\">" << words << "</text>\n";
}

void bar(std::ostream &out, int y, const std::string &row, double speed) {
    text(out, kLeft - 8, y + 11, "row", row);
    out << "<rect x=\"" << kLeft << "\" y=\"" << y + 2 << "\" width=\"" << std::lround(place(speed) - kLeft)
        << "\" height=\"" << kLine - 4 << "\" fill=\"" << colour_of(row) << "\"/>\n";
    text(out, place(speed) + 5, y + 11, "value", label(speed));
}

bool charted(const Results &results, const std::string &operation) {
    return results.time(operation, kLiteral, kCompared).has_value();
}

int lines(const Results &results) {
    std::size_t count = 0;
    for (const std::string &operation : results.operations()) {
        count += charted(results, operation) ? results.rows(operation).size() + 2 : 0;
    }
    return static_cast<int>(count);
}

void grid(std::ostream &out, int bottom) {
    for (double speed = kLeast; speed <= kMost; speed *= 10) {
        const auto x = std::lround(place(speed));
        out << "<line x1=\"" << x << "\" y1=\"" << kTop << "\" x2=\"" << x << "\" y2=\"" << bottom
            << "\" stroke=\"#e2e2e2\"/>\n";
        text(out, static_cast<double>(x), kTop - 8, "scale",
             speed < 1000 ? std::to_string(std::lround(speed)) + " MB/s"
                          : std::to_string(std::lround(speed / 1000)) + " GB/s");
    }
}

} // namespace

void write_chart(std::ostream &out, const Results &results) {
    const int width = kLeft + kWidth + kRight;
    const int bottom = kTop + kLine * lines(results);
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << ' ' << bottom + 12 << "\" width=\""
        << width << "\" role=\"img\" aria-label=\"Speed of every operation and kernel\">\n"
        << "<style>text{font:11px sans-serif;fill:#222}.row{text-anchor:end}.scale{text-anchor:middle;fill:#777}"
           ".title{font-weight:bold;font-size:14px}.group{font-weight:bold}</style>\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
    text(out, 12, 24, "title", "Speed at 64 KiB: literal algorithm, our kernels, OpenSSL (logarithmic scale)");
    grid(out, bottom);
    int y = kTop;
    for (const std::string &operation : results.operations()) {
        if (!charted(results, operation)) {
            continue;
        }
        text(out, 12, y + 13, "group", operation);
        y += kLine;
        for (const std::string &row : results.rows(operation)) {
            if (const auto time = results.time(operation, row, kCompared)) {
                bar(out, y, row, kCompared * 1e3 / *time);
            }
            y += kLine;
        }
        y += kLine;
    }
    out << "</svg>\n";
}

} // namespace bench
