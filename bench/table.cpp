#include <algorithm>
#include <cstdio>
#include <iterator>
#include <ostream>

#include "case.h"
#include "results.h"

namespace bench {

void Results::name(const std::string &operation, const std::string &row) {
    const auto [found, is_new] = by_name_.try_emplace(operation);
    if (is_new) {
        operations_.push_back(operation);
    }
    auto &rows = found->second.rows;
    if (std::ranges::find(rows, row) == rows.end()) {
        rows.push_back(row);
    }
}

void Results::add(const std::string &operation, const std::string &row, std::size_t size, double nanoseconds) {
    name(operation, row);
    const auto [time, first] = by_name_.at(operation).times.try_emplace({row, size}, nanoseconds);
    if (!first) {
        time->second = std::min(time->second, nanoseconds);
    }
}

std::vector<std::string> Results::operations() const {
    std::vector<std::string> measured;
    std::ranges::copy_if(operations_, std::back_inserter(measured),
                         [this](const std::string &operation) { return !by_name_.at(operation).times.empty(); });
    return measured;
}

const std::vector<std::string> &Results::rows(const std::string &operation) const {
    return by_name_.at(operation).rows;
}

std::optional<double> Results::time(const std::string &operation, const std::string &row, std::size_t size) const {
    const auto found = by_name_.find(operation);
    if (found == by_name_.end()) {
        return std::nullopt;
    }
    const auto time = found->second.times.find({row, size});
    return time == found->second.times.end() ? std::nullopt : std::optional(time->second);
}

namespace {

// Three digits that mean something.
std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", value < 0.1 ? 3 : value < 10 ? 2 : value < 100 ? 1 : 0, value);
    return text;
}

std::string size_name(std::size_t size) {
    return size < 1024      ? std::to_string(size) + " B"
           : size < 1 << 20 ? std::to_string(size >> 10) + " KiB"
                            : std::to_string(size >> 20) + " MiB";
}

// How many times faster than another row; "-" if one of them was not measured.
std::optional<double> ratio(std::optional<double> time, std::optional<double> other) {
    return time && other ? std::optional(*other / *time) : std::nullopt;
}
std::string shown(std::optional<double> value) {
    return value ? number(*value) : "-";
}

void write_speeds(std::ostream &out, const Results &results) {
    out << "| | MB/s at 16 B | 1 KiB | 64 KiB | 1 MiB | × literal | × OpenSSL | × its table AES |\n"
           "|---|--:|--:|--:|--:|--:|--:|--:|\n";
    for (const std::string &operation : results.operations()) {
        if (operation == kNative) {
            continue;
        }
        out << "| **" << operation << "** | | | | | | | |\n";
        for (const std::string &row : results.rows(operation)) {
            out << "| " << row;
            for (const std::size_t size : kSizes) {
                const auto time = results.time(operation, row, size);
                out << " | " << shown(time ? std::optional(static_cast<double>(size) * 1e3 / *time) : std::nullopt);
            }
            for (const char *other : {kLiteral, kOpenssl, kOpensslTables}) {
                const auto time = results.time(operation, row, kCompared);
                out << " | " << (row == other ? "1" : shown(ratio(time, results.time(operation, other, kCompared))));
            }
            out << " |\n";
        }
    }
}

void write_natives(std::ostream &out, const Results &results) {
    out << "| " << kNative << ", " << size_name(kSizes[0]) << " | ns a call | share of the literal's time |\n"
        << "|---|--:|--:|\n";
    for (const std::string &row : results.rows(kNative)) {
        const auto time = results.time(kNative, row, kSizes[0]);
        out << "| " << row << " | " << shown(time) << " | "
            << shown(ratio(results.time(kNative, kLiteral, kSizes[0]), time)) << " |\n";
    }
}

// What is asked: a row's speed as a multiple of another one's, at least.
struct Target {
    const char *operation;
    std::size_t size;
    const char *other_operation;
    const char *other_row; // null: the row itself
    struct {
        const char *row; // null: nothing more is asked
        double factor;
    } rows[3];
};

constexpr Target kTargets[] = {
    {kCtr, kCompared, kCtr, kLiteral, {{"portable", 2}, {"avx2", 4.5}, {"vbmi", 20}}},
    {kCtr, kCompared, kCtr, kOpensslTables, {{"portable", 0.4}, {"avx2", 0.88}, {"vbmi", 4}}},
    {kCfbDecrypt, kCompared, kCfbDecrypt, kLiteral, {{"portable", 2}, {"avx2", 4.5}, {"vbmi", 20}}},
    {kCfbDecrypt, kCompared, kCfbDecrypt, kOpensslTables, {{"portable", 0.4}, {"avx2", 0.88}, {"vbmi", 4}}},
    {kCfbEncrypt, kCompared, kCfbEncrypt, kLiteral, {{"portable", 1.7}, {"avx2", 1.8}, {"vbmi", 2.2}}},
    {kOfb, kCompared, kOfb, kLiteral, {{"portable", 1.7}, {"avx2", 1.8}, {"vbmi", 2.2}}},
    {kGcm, kCompared, kCtr, nullptr, {{"portable", 0.85}, {"avx2", 0.95}, {"vbmi", 0.95}}},
    {kSm4Ctr, kCompared, kSm4Ctr, kOpenssl, {{"portable", 1.2}, {"avx2", 5.8}, {"gfni", 23}}},
    {kSm4Ctr, 1024, kSm4Ctr, kOpenssl, {{"portable", 1.2}, {"avx2", 5.5}, {"gfni", 18}}},
    {kGhash, kCompared, kGhash, kOpenssl, {{"portable", 0.04}, {"pclmul", 0.75}, {"vpclmul", 1.5}}},
    {kSha256, kCompared, kSha256, kOpenssl, {{"portable", 0.2}, {"sha-ni", 1}, {}}},
    {kNative, 16, kNative, kLiteral, {{"portable", 1 / 0.35}, {"best kernels", 1 / 0.35}, {}}},
};

void write_targets(std::ostream &out, const Results &results) {
    out << "| | × | row: measured (asked) | | |\n|---|---|---|---|---|\n";
    for (const Target &target : kTargets) {
        if (!results.time(target.operation, target.rows[0].row, target.size)) {
            continue;
        }
        out << "| " << target.operation << ", " << size_name(target.size) << " | "
            << (target.other_row == nullptr ? std::string("own ") + target.other_operation : target.other_row);
        for (const auto &[row, factor] : target.rows) {
            out << " | ";
            if (row == nullptr) {
                continue;
            }
            const auto *other_row = target.other_row == nullptr ? row : target.other_row;
            const auto reached = ratio(results.time(target.operation, row, target.size),
                                       results.time(target.other_operation, other_row, target.size));
            const bool missed = reached && *reached < factor;
            out << row << ": " << (missed ? "**" : "") << shown(reached) << (missed ? "**" : "") << " ("
                << number(factor) << ')';
        }
        out << " |\n";
    }
}

} // namespace

void write_tables(std::ostream &out, const Results &results) {
    out << "Machine: " << describe_machine() << ".\n\n";
    write_speeds(out, results);
    out << '\n';
    if (results.time(kNative, kLiteral, kSizes[0])) {
        write_natives(out, results);
        out << '\n';
    }
    write_targets(out, results);
}

} // namespace bench
