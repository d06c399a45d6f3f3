// What is wrong with a manifest, and where.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "builder/error.h"
#include "builder/keys/key_set.h"

namespace wbtables {

// Counted from 1.
struct Position {
    std::size_t line = 1;
    std::size_t column = 1;
};

class Diagnostics {
  public:
    explicit Diagnostics(std::string_view file) : file_(without_controls(file)) {}

    void add(Position position, std::string message) { lines_.push_back({position, std::move(message)}); }

    // Throws one Error with all that was found, a line each, in the order of the file.
    void throw_if_any() {
        if (lines_.empty()) {
            return;
        }
        std::stable_sort(lines_.begin(), lines_.end(), [](const Line &a, const Line &b) {
            return std::tie(a.position.line, a.position.column) < std::tie(b.position.line, b.position.column);
        });
        std::string all;
        for (const Line &line : lines_) {
            all += fmt::format("{}{}:{}:{}: {}", all.empty() ? "" : "\n", file_, line.position.line,
                               line.position.column, line.message);
        }
        throw Error(Failure::refused, all);
    }

  private:
    struct Line {
        Position position;
        std::string message;
    };

    std::string file_;
    std::vector<Line> lines_;
};

} // namespace wbtables
