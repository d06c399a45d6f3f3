// Implementation notes. A prediction depends on one plaintext byte x alone, so the traces are added up by the value of
// that byte. With f(x) = -1 to the power of the mask of S(x), the covariance of a sample with the prediction for guess
// k is then the sum over x of s(x) f(x ^ k), for all guesses at once the XOR convolution of s and f: three
// Walsh-Hadamard transforms, of which that of f is made once and that of s once for all masks. They run over many
// samples in step.

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>

#include "builder/audit/attack.h"
#include "builder/keys/random.h"
#include "builder/reader/table_cipher.h"
#include "builder/tables/aes_steps.h"
#include "builder/tables/gf2.h"
#include "builder/tables/predicted_masks.h"

namespace wbtables {
namespace {

constexpr std::size_t kBytes = 256;
constexpr std::size_t kMasks = kPredictedMasks.size();

constexpr std::size_t kWordBits = 32;
constexpr std::size_t kSamples = (16 + 8 + 4) * kWordBits;

using Trace = std::array<std::uint8_t, kSamples>; // bits

// What the block function does in the first round, step by step.
Trace trace_first_round(const AesTableCipher &cipher, const AesState &plaintext) {
    std::array<std::uint32_t, kSamples / kWordBits> words{};
    for (std::size_t position = 0; position < kAesBlock; ++position) {
        words[position] = cipher.word(0, position, plaintext[shifted_from(position)]);
    }
    // Pairs of words, then pairs of these results.
    for (std::size_t pair = 0; pair < 8 + 4; ++pair) {
        words[kAesBlock + pair] = cipher.add(words[2 * pair], words[2 * pair + 1]);
    }
    Trace bits{};
    for (std::size_t i = 0; i < kSamples; ++i) {
        bits[i] = words[i / kWordBits] >> i % kWordBits & 1U;
    }
    return bits;
}

constexpr std::size_t kLanes = 16;
constexpr std::size_t kGroups = kSamples / kLanes;
using Group = std::array<float, kBytes * kLanes>; // [x or guess][sample of the group]

// Two steps at a time, which halves the traffic with memory. That `step` is a constant tells the compiler that the
// four do not overlap, so the loop becomes one of vectors.
template <std::size_t step, std::size_t size>
void butterflies(std::array<float, size> &values) {
    for (std::size_t first = 0; first < size; first += 4 * step) {
        float *const at = &values[first];
        for (std::size_t i = 0; i < step; ++i) {
            const float sums[] = {at[i] + at[i + step], at[i] - at[i + step], at[i + 2 * step] + at[i + 3 * step],
                                  at[i + 2 * step] - at[i + 3 * step]};
            at[i] = sums[0] + sums[2];
            at[i + step] = sums[1] + sums[3];
            at[i + 2 * step] = sums[0] - sums[2];
            at[i + 3 * step] = sums[1] - sums[3];
        }
    }
}

// Of as many interleaved sequences of 256 as there are lanes.
template <std::size_t lanes>
void walsh_hadamard(std::array<float, kBytes * lanes> &values) {
    butterflies<lanes>(values);
    butterflies<4 * lanes>(values);
    butterflies<16 * lanes>(values);
    butterflies<64 * lanes>(values);
}

// The transforms of f, by mask.
using Predictions = std::array<std::array<float, kBytes>, kMasks>;

Predictions transformed_predictions() {
    Predictions predictions{};
    for (std::size_t mask = 0; mask < kMasks; ++mask) {
        std::ranges::transform(kAesSbox, predictions[mask].begin(),
                               [mask](std::uint8_t u) { return parity(kPredictedMasks[mask] & u) ? -1.0F : 1.0F; });
        walsh_hadamard<1>(predictions[mask]);
    }
    return predictions;
}

float inverse_root(double variance) {
    return variance > 0 ? static_cast<float>(1 / std::sqrt(variance))
                        : 0.0F; // what is constant correlates with nothing
}

// The traces added up by the value of one plaintext byte.
class ByteStatistics {
  public:
    void add(std::uint8_t x, const Trace &trace) {
        ++counts_[x];
        std::transform(trace.begin(), trace.end(), sums_[x].begin(), sums_[x].begin(), std::plus<>());
    }

    // `own_group` is the first one of the byte's own word.
    [[nodiscard]] CorrelatedByte correlate(const Predictions &predictions, std::size_t own_group) const {
        const auto scales = prediction_scales(predictions);
        const auto peaks = std::make_unique<Group>();
        CorrelatedByte result;
        for (std::size_t i = 0; i < kGroups; ++i) {
            raise_peaks(*peaks, spectrum((own_group + i) % kGroups), predictions, scales);
            if (i + 1 == kWordBits / kLanes) { // the own word is done, and nothing else
                const auto own_peaks = highest_lanes(*peaks);
                result.lowest_guess = static_cast<std::size_t>(std::ranges::min_element(own_peaks) - own_peaks.begin());
            }
        }
        result.peak = highest_lanes(*peaks);
        result.highest_guess = static_cast<std::size_t>(std::ranges::max_element(result.peak) - result.peak.begin());
        return result;
    }

  private:
    using Scales = std::array<std::array<float, kBytes>, kMasks>; // by mask and guess

    [[nodiscard]] double traces() const { return std::accumulate(counts_.begin(), counts_.end(), 0.0); }

    // What makes a covariance with centred samples of variance 1 a correlation.
    [[nodiscard]] Scales prediction_scales(const Predictions &predictions) const {
        std::array<float, kBytes> spectrum{};
        std::ranges::copy(counts_, spectrum.begin());
        walsh_hadamard<1>(spectrum);
        Scales scales{};
        for (std::size_t mask = 0; mask < kMasks; ++mask) {
            std::ranges::transform(spectrum, predictions[mask], scales[mask].begin(), std::multiplies<>());
            walsh_hadamard<1>(scales[mask]);
            for (float &value : scales[mask]) {
                const double sum = value / kBytes;
                value = inverse_root(traces() - sum * sum / traces()) / kBytes;
            }
        }
        return scales;
    }

    // The transform of a group of samples, centred and of variance 1.
    [[nodiscard]] Group spectrum(std::size_t group) const {
        Group values{};
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            const std::size_t sample = group * kLanes + lane;
            const double sum = std::accumulate(sums_.begin(), sums_.end(), 0.0,
                                               [sample](double all, const auto &sums) { return all + sums[sample]; });
            const double mean = sum / traces();
            const float scale = inverse_root(sum - sum * mean);
            for (std::size_t x = 0; x < kBytes; ++x) {
                values[x * kLanes + lane] = static_cast<float>(sums_[x][sample] - counts_[x] * mean) * scale;
            }
        }
        walsh_hadamard<kLanes>(values);
        return values;
    }

    static void raise_peaks(Group &peaks, const Group &spectrum, const Predictions &predictions, const Scales &scales) {
        Group values;
        for (std::size_t mask = 0; mask < kMasks; ++mask) {
            for (std::size_t w = 0; w < kBytes; ++w) {
                for (std::size_t i = w * kLanes; i < (w + 1) * kLanes; ++i) {
                    values[i] = spectrum[i] * predictions[mask][w];
                }
            }
            walsh_hadamard<kLanes>(values);
            for (std::size_t guess = 0; guess < kBytes; ++guess) {
                for (std::size_t i = guess * kLanes; i < (guess + 1) * kLanes; ++i) {
                    peaks[i] = std::max(peaks[i], std::abs(values[i]) * scales[mask][guess]);
                }
            }
        }
    }

    static std::array<double, kBytes> highest_lanes(const Group &peaks) {
        std::array<double, kBytes> highest{};
        for (std::size_t guess = 0; guess < kBytes; ++guess) {
            const auto *const lanes = &peaks[guess * kLanes];
            highest[guess] = std::min(1.0, double{*std::max_element(lanes, lanes + kLanes)}); // rounding may exceed 1
        }
        return highest;
    }

    std::array<std::uint32_t, kBytes> counts_{};
    std::array<std::array<std::uint32_t, kSamples>, kBytes> sums_{};
};

} // namespace

std::vector<Correlation> correlate(const AesTablesView &tables, const std::vector<std::size_t> &trace_counts) {
    const AesTableCipher cipher = AesTableCipher::over(tables).value();
    const Predictions predictions = transformed_predictions();
    std::vector<ByteStatistics> statistics(kAesBlock);
    std::vector<Correlation> results;
    std::size_t traces = 0;
    for (const std::size_t count : trace_counts) {
        for (; traces < count; ++traces) {
            AesState plaintext{};
            fill_random(plaintext);
            const Trace trace = trace_first_round(cipher, plaintext);
            for (std::size_t at = 0; at < kAesBlock; ++at) {
                statistics[at].add(plaintext[at], trace);
            }
        }
        Correlation &result = results.emplace_back(Correlation{traces, {}});
        for (std::size_t at = 0; at < kAesBlock; ++at) {
            result.bytes[at] = statistics[at].correlate(predictions, shifted_to(at) * (kWordBits / kLanes));
        }
    }
    return results;
}

} // namespace wbtables
