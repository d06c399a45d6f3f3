// What can fail does so on demand, one thing after the other: memory, the dynamic loader, the virtual machine.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/captured_log.h"

namespace test {

// Asked by whoever stands in for one of these. `what` names the request.
bool must_fail(const std::string &what);
// What has failed so far in the call that fail_each makes.
const std::string &what_failed();

// Told about every block of memory.
void block_came(const void *block);
void block_went(const void *block);

// How a call ended of which one request had failed.
struct Outcome {
    std::string failed;
    int64_t status;
    std::string lines; // of the log, with bars between them; addresses are "0x"

    bool operator==(const Outcome &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Outcome &outcome);
using Outcomes = std::vector<Outcome>;

// Calls `call`, which returns a status, again and again: its first request fails, then its second, until it makes
// fewer. Outcomes that are equal and follow one another count once. In the end nothing fails, and the status is `good`.
// The test fails if any call keeps a block of memory.
Outcomes fail_each(int64_t good, const std::function<int64_t()> &call);

} // namespace test
