// All 42 natives as a table: how each is called, what it asks of the virtual machine, the words of its messages, and
// the exported function that computes the same.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/fake_jni.h"
#include "support/table_source.h"

namespace test {

using Words = std::vector<std::string>;
Words words(const std::string &text);

// What a test passes, by the names of the parameters. Nothing is a null array.
struct Arguments {
    std::map<std::string, std::optional<Bytes>> arrays;
    std::map<std::string, jint> numbers;

    [[nodiscard]] const Bytes &operator[](const std::string &name) const { return arrays.at(name).value(); }
};

// What a native gives back: a new array or null, or a number.
using Answer = std::variant<std::optional<Bytes>, jint>;

struct NativeFamily {
    std::string parameters; // in Java's order
    std::string fetches;    // "x" the elements of x, "x#" its length, up to the caller check
    std::string releases;
};

// The arguments as exported functions take them.
struct Given;

struct NativeRow {
    std::function<Answer(FakeJni &, const Arguments &, const Words &names)> call;
    std::function<int64_t(const Given &, uint8_t *out, int64_t &out_len)> function; // the exported one
    NativeFamily family;
    std::string op;
    std::string tag;          // empty: refuses callers silently
    std::string failure = op; // in the line that tells a status

    [[nodiscard]] bool takes(const std::string &parameter) const;
    [[nodiscard]] bool is(const std::string &word) const { return op.find(word) != std::string::npos; }
    [[nodiscard]] bool encrypts() const { return op.starts_with("en_"); }
    [[nodiscard]] bool decrypts() const { return op.starts_with("de_"); }
    // The parameters that are arrays.
    [[nodiscard]] Words arrays() const;
    // The parameter that carries the text or ciphertext.
    [[nodiscard]] const char *input() const { return takes("input") ? "input" : "message"; }

    // Calls the native. The test fails if it keeps an array that it has to release.
    Answer operator()(FakeJni &jni, const Arguments &arguments) const;
    // Runs the exported function; `len` is the room in `out` and what it stores.
    int64_t run(const Arguments &arguments, uint8_t *out, int64_t &len) const;
    // The answer that the exported function stands for.
    [[nodiscard]] Answer run_function(const Arguments &arguments) const;
    // The same; empties the log.
    [[nodiscard]] Answer expected(const Arguments &arguments) const;

    [[nodiscard]] Answer refusal() const { return takes("sig") ? Answer(-1) : Answer(std::nullopt); }
    [[nodiscard]] Lines refused_call() const;
    [[nodiscard]] LogLine refused_parameters() const { return error(op + ", params is not invalid.\n"); }
    [[nodiscard]] LogLine failed(int status) const;
    // The exported function's line for a key that cannot be used.
    [[nodiscard]] LogLine not_loaded() const;

    // The calls to the virtual machine until the caller is authorised, those after it, and those in the end, but for
    // calls that concern the array named `without`.
    [[nodiscard]] Words fetches(const std::string &without = "") const;
    [[nodiscard]] Words late_fetches() const;
    [[nodiscard]] Words releases(const std::string &without = "") const;
};

// In the order of registration; at the end the natives of WbkitCms, whose rows are those of their twins.
const std::vector<NativeRow> &natives();
const NativeRow &native(const std::string &op);

inline const std::string kNativesWbid = "natives";
inline const std::string kNativesAk = "ak: 77a0e35bd214";

// Arguments with which the row succeeds on that library, if it is loaded; `text` is what is encrypted, or comes out of
// a decryption.
Arguments good_arguments(const NativeRow &row, const Bytes &text = sample(40), size_t iv_len = 16,
                         const std::string &wbid = kNativesWbid);

// A table library with the AES key "k" and the SM4 key "s", each with an encrypted key of its own.
TableSource natives_library(const std::string &wbid);
inline const std::string kNativesAppid = "com.example.app";
constexpr jint kNativesVersion = 2;
Bytes natives_token(const std::string &wbid, const std::string &appid = kNativesAppid);

// Tests in a recording environment, with that library loaded as "natives".
class Natives : public testing::Test {
  protected:
    Natives();

    CapturedLog log_;
    FakeJni jni_;
};

template <typename List>
List operator+(List left, const List &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace test
