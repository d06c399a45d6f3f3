#include "support/faults.h"

#include <iostream>
#include <regex>
#include <set>

#include <gtest/gtest.h>

namespace test {
namespace {

bool watching = false;
int until_failure = 0; // requests to let through
std::string failed;
std::set<const void *> blocks;
int injected = 0;

// Told behind the last test; not all programs that can have failures do.
class InjectedFailures : public testing::Environment {
  public:
    void TearDown() override {
        if (injected > 0) {
            std::cout << injected << " failures were injected\n";
        }
    }
};
[[maybe_unused]] const testing::Environment *const injected_failures =
    testing::AddGlobalTestEnvironment(new InjectedFailures);

std::string joined(const Lines &lines) {
    static const std::regex address("0x[0-9a-f]+");
    std::string all;
    for (const LogLine &line : lines) {
        EXPECT_EQ(line, error(line.text));
        all += (all.empty() ? "" : " | ") + line.text.substr(0, line.text.find_last_not_of('\n') + 1);
    }
    return std::regex_replace(all, address, "0x");
}

} // namespace

bool must_fail(const std::string &what) {
    if (!watching || until_failure-- != 0) {
        return false;
    }
    failed = what;
    return true;
}

const std::string &what_failed() {
    return failed;
}

void block_came(const void *block) {
    if (watching && block != nullptr) {
        blocks.insert(block);
    }
}

void block_went(const void *block) {
    if (watching) {
        blocks.erase(block);
    }
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    return out << "\n  without " << outcome.failed << ": " << outcome.status << ", \"" << outcome.lines << '"';
}

Outcomes fail_each(int64_t good, const std::function<int64_t()> &call) {
    CapturedLog log;
    Outcomes outcomes;
    for (int n = 0;; ++n) {
        failed.clear();
        blocks.clear();
        until_failure = n;
        watching = true;
        const int64_t status = call();
        watching = false;
        EXPECT_EQ(blocks.size(), 0U) << "kept without " << failed;
        Outcome outcome{failed, status, joined(log.take())};
        if (failed.empty()) {
            EXPECT_EQ(outcome, (Outcome{"", good, ""}));
            return outcomes;
        }
        ++injected;
        if (outcomes.empty() || outcomes.back() != outcome) {
            outcomes.push_back(std::move(outcome));
        }
    }
}

} // namespace test
