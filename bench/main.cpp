// Measures everything in one process, repetitions interleaved, and tells the best of each.
//
//   wbkit_bench [--tables=FILE] [--chart=FILE] [options of Google Benchmark]

#include <benchmark/benchmark.h>

#include <fstream>
#include <iostream>
#include <stdexcept>

#include "case.h"
#include "keys.h"
#include "results.h"
#include "support/kernel.h"

namespace bench {
namespace {

using Buffer = std::vector<std::uint8_t>;

constexpr double kSeconds = 0.003; // at least, of one repetition

Buffer sample(std::size_t len) {
    Buffer bytes(len);
    std::uint32_t word = 1;
    for (std::uint8_t &byte : bytes) {
        word = word * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(word >> 24);
    }
    return bytes;
}

const char *forced_names = nullptr;

// Kernels by name, for what chooses its own.
class Forced {
  public:
    explicit Forced(const std::string &names) { forced_names = names.empty() ? nullptr : names.c_str(); }
    ~Forced() { forced_names = nullptr; }
    Forced(const Forced &) = delete;
    Forced &operator=(const Forced &) = delete;
};

Buffer output_of(const Case &one, const Buffer &in, std::size_t len) {
    const Forced forced(one.forced);
    Buffer out(len + kGrowth);
    one.run(in.data(), out.data(), len);
    return out;
}

// A speed means something only beside the right result.
void check_outputs(const std::vector<Case> &cases, const Buffer &in) {
    for (const Case &one : cases) {
        const auto literal = std::ranges::find_if(
            cases, [&](const Case &other) { return other.operation == one.operation && other.row == kLiteral; });
        for (const std::size_t size : one.sizes) {
            if (output_of(one, in, size) != output_of(*literal, in, size)) {
                throw std::runtime_error(one.operation + ", " + one.row + ": wrong result");
            }
        }
    }
}

void measure(benchmark::State &state, const Case &one, const Buffer &in, Buffer &out, std::size_t size) {
    const Forced forced(one.forced);
    for (auto _ : state) {
        one.run(in.data(), out.data(), size);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(size));
}

// Takes the shortest repetition, in time of the CPU: whatever disturbs a repetition makes it longer.
class Collector : public benchmark::BenchmarkReporter {
  public:
    explicit Collector(Results &results) : results_(results) {}

    bool ReportContext(const Context & /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            const std::string &name = run.run_name.function_name; // operation/row/size
            const auto row = name.find('/') + 1;
            const auto size = name.rfind('/') + 1;
            if (run.run_type == Run::RT_Iteration) {
                results_.add(name.substr(0, row - 1), name.substr(row, size - row - 1), std::stoul(name.substr(size)),
                             run.GetAdjustedCPUTime());
            }
        }
    }

  private:
    Results &results_;
};

// Takes the value of an option of ours out of the command line. Empty without one.
std::string take_option(int &argc, char **argv, const std::string &name) {
    for (int i = 1; i < argc; ++i) {
        if (const std::string argument = argv[i]; argument.starts_with(name + '=')) {
            std::copy(argv + i + 1, argv + argc + 1, argv + i);
            --argc;
            return argument.substr(name.size() + 1);
        }
    }
    return {};
}

void write_file(const std::string &path, void (*write)(std::ostream &, const Results &), const Results &results) {
    if (!path.empty()) {
        std::ofstream file(path);
        write(file, results);
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + path);
        }
    }
}

int run(int argc, char **argv) {
    const std::string tables = take_option(argc, argv, "--tables");
    const std::string chart = take_option(argc, argv, "--chart");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    const Keys keys;
    // So that to ask for a forced kernel costs nothing.
    clearenv();
    const std::vector<Case> cases = all_cases(keys);
    const Buffer in = sample(kLongest);
    Buffer out(kLongest + kGrowth);
    check_outputs(cases, in);
    Results results;
    for (const Case &one : cases) {
        results.name(one.operation, one.row);
        for (const std::size_t size : one.sizes) {
            const std::string name = one.operation + '/' + one.row + '/' + std::to_string(size);
            benchmark::RegisterBenchmark(name.c_str(), [&, size](benchmark::State &state) {
                measure(state, one, in, out, size);
            })->MinTime(kSeconds);
        }
    }
    Collector collector(results);
    benchmark::RunSpecifiedBenchmarks(&collector);
    write_tables(std::cout, results);
    write_file(tables, write_tables, results);
    write_file(chart, write_chart, results);
    return 0;
}

} // namespace
} // namespace bench

const char *wbkit::forced_kernels() {
    return bench::forced_names;
}

int main(int argc, char **argv) {
    try {
        return bench::run(argc, argv);
    } catch (const std::exception &error) {
        std::cerr << "wbkit_bench: " << error.what() << '\n';
        return 1;
    }
}
