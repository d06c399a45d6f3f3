// Every native in a recording environment: arrays of any bytes, null, empty and long ones, and a virtual machine that
// has no more memory. The environment sees whether each array is released; what succeeds is what the exported function
// computes, and what an admitted caller is refused is what that function refuses.

#include <algorithm>
#include <cstdlib>
#include <set>

#include <fuzzer/FuzzedDataProvider.h>

#include "natives_table.h"
#include "support/faults.h"
#include "support/loaded_library.h"

namespace {

// What the virtual machine refuses: "elements input", or "new" for any new array.
std::set<std::string> refused;

} // namespace

bool test::must_fail(const std::string &what) {
    return refused.contains(what) || (what.starts_with("new ") && refused.contains("new"));
}

namespace {

using test::Arguments;
using test::Bytes;

struct Case {
    const test::NativeRow &row;
    Arguments good;
};

std::vector<Case> cases() {
    static const test::LoadedLibrary loaded(test::natives_library("natives"), "natives", test::kNativesVersion);
    std::vector<Case> all;
    for (const test::NativeRow &row : test::natives()) {
        all.push_back({row, good_arguments(row)});
    }
    return all;
}

constexpr size_t kLong = 10000; // several fit the room of what is expected

// Whether nobody but the exported function has a reason to refuse the call.
bool is_admitted(const Case &tried, const Arguments &arguments) {
    const test::NativeRow &row = tried.row;
    const auto is_good = [&](const char *name) {
        return !row.takes(name) || arguments.arrays.at(name) == tried.good.arrays.at(name);
    };
    const jint padding = arguments.numbers.at("padding");
    // Where the exported function is called, the tag is the end of the input.
    const bool has_tag = !(row.op == "de_aes_gcm" && arguments[row.input()].size() < 16);
    return refused.empty() && is_good("hash") && is_good("caller") && is_good("wbid") &&
           arguments.numbers.at("version") == test::kNativesVersion && has_tag &&
           (!row.takes("padding") || (padding >= 0 && padding <= 2));
}

// What the exported function computes, unless it is a message for which the native has no room.
test::Answer expected(const test::NativeRow &row, const Arguments &arguments) {
    std::srand(1);
    test::Answer answer = row.expected(arguments);
    if (!row.is("en_cms_") || answer == row.refusal()) {
        return answer;
    }
    const size_t room = arguments["input"].size() + arguments["key"].size() + (row.is("gcm") ? 208 : 160);
    return std::get<0>(answer)->size() <= room ? answer : row.refusal();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::vector<Case> all = cases();
    FuzzedDataProvider in(data, size);
    const Case &tried = all[in.ConsumeIntegralInRange<size_t>(0, all.size() - 1)];
    const test::NativeRow &row = tried.row;
    Arguments arguments = tried.good;
    test::FakeJni jni;
    refused.clear();
    for (const std::string &name : row.arrays()) {
        auto &array = arguments.arrays.at(name);
        const auto kind = in.ConsumeIntegralInRange(0, 7);
        if (kind == 1) {
            array.reset();
        } else if (kind == 2) {
            array.emplace();
        } else if (kind == 3) {
            array = test::sample(kLong);
        } else if (kind == 4) {
            refused.insert("elements " + name);
        } else if (kind == 5) {
            array->resize(in.ConsumeIntegralInRange<size_t>(0, array->size() + 20));
        } else if (kind > 5) {
            const std::string bytes = in.ConsumeRandomLengthString();
            array = Bytes(bytes.begin(), bytes.end());
        }
    }
    if (in.ConsumeBool()) {
        arguments.numbers["padding"] = in.ConsumeBool() ? in.ConsumeIntegralInRange(0, 3) : in.ConsumeIntegral<jint>();
        arguments.numbers["version"] = in.ConsumeBool() ? test::kNativesVersion : in.ConsumeIntegral<jint>();
        if (in.ConsumeBool()) {
            refused.insert("new");
        }
    }
    std::srand(1); // the filler of ISO 10126
    const test::Answer answer = row(jni, arguments);
    if (row.takes("iv") && row.takes("padding") && arguments.arrays.at("iv")) {
        arguments.arrays.at("iv")->resize(16); // as the native does it
    }
    const bool comparable = std::ranges::all_of(row.arrays(), [&](const std::string &name) {
        const auto &array = arguments.arrays.at(name);
        // Without bytes its pointer is null where the exported function is called, which minds it of an iv.
        return array && !refused.contains("elements " + name) && (name != "iv" || !array->empty());
    });
    if (comparable && (answer != row.refusal() || is_admitted(tried, arguments))) {
        EXPECT_EQ(answer, expected(row, arguments)) << row.op;
    }
    test::CapturedLog().take();
    return 0;
}
