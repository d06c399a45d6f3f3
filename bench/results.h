// What was measured, and how it is told.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace bench {

// The shortest CPU time of a call, in nanoseconds, by operation, row and size.
class Results {
  public:
    // Rows are told in the order in which they are first named.
    void name(const std::string &operation, const std::string &row);
    void add(const std::string &operation, const std::string &row, std::size_t size, double nanoseconds);

    // Those of which anything was measured.
    [[nodiscard]] std::vector<std::string> operations() const;
    [[nodiscard]] const std::vector<std::string> &rows(const std::string &operation) const;
    [[nodiscard]] std::optional<double> time(const std::string &operation, const std::string &row,
                                             std::size_t size) const;

  private:
    struct Operation {
        std::vector<std::string> rows;
        std::map<std::pair<std::string, std::size_t>, double> times;
    };
    std::vector<std::string> operations_; // as they were named
    std::map<std::string, Operation> by_name_;
};

// The size that speeds are compared at.
constexpr std::size_t kCompared = 65536;

// "AMD EPYC, family 25, model 17; ...": CPU, compiler and OpenSSL; nothing that names the machine itself.
std::string describe_machine();

// Markdown: the machine, all speeds, and how they compare with what is asked of them.
void write_tables(std::ostream &out, const Results &results);

// SVG: the speeds at kCompared.
void write_chart(std::ostream &out, const Results &results);

} // namespace bench
