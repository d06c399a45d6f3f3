// Test vectors: one case a line, fields as the file's second line names them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace test {

struct VectorCase {
    std::string where; // file, line and the case's name
    std::map<std::string, std::string> fields;

    // A hex field's bytes; "-" is none. Throws if the case has no such field.
    Bytes bytes(const std::string &field) const;
    const std::string &word(const std::string &field) const;
};

// All cases of all files of a kind. Throws if there are none, or a line does not have the fields that its file names.
std::vector<VectorCase> read_vectors(const std::string &kind);

} // namespace test
