#include "support/vector_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/captured_log.h"

namespace test {
namespace {

std::vector<std::string> words_of(const std::string &line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

// "# fields: name key msg ct (remark)"
std::vector<std::string> field_names(const std::string &line) {
    const std::string intro = "# fields: ";
    if (line.rfind(intro, 0) != 0) {
        throw std::runtime_error("no line of field names");
    }
    return words_of(line.substr(intro.size(), line.find('(') - intro.size()));
}

void read_file(const std::filesystem::path &path, std::vector<VectorCase> &cases) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line); // the source
    std::getline(file, line);
    const std::vector<std::string> names = field_names(line);
    for (int number = 3; std::getline(file, line); ++number) {
        const std::vector<std::string> values = words_of(line);
        VectorCase vector{path.filename().string() + ":" + std::to_string(number), {}};
        if (values.size() != names.size()) {
            throw std::runtime_error(vector.where + ": wrong number of fields");
        }
        for (size_t i = 0; i < names.size(); ++i) {
            vector.fields[names[i]] = values[i];
        }
        vector.where += " " + vector.word("name");
        cases.push_back(std::move(vector));
    }
}

} // namespace

const std::string &VectorCase::word(const std::string &field) const {
    const auto found = fields.find(field);
    if (found == fields.end()) {
        throw std::runtime_error(where + ": no field " + field);
    }
    return found->second;
}

Bytes VectorCase::bytes(const std::string &field) const {
    const std::string &value = word(field);
    Bytes bytes = value == "-" ? Bytes{} : from_hex(value);
    if (field == "key") {
        keep_secret(bytes);
    }
    return bytes;
}

std::vector<VectorCase> read_vectors(const std::string &kind) {
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(WBKIT_TEST_VECTORS)) {
        if (entry.path().filename().string().rfind(kind + "_", 0) == 0) {
            files.push_back(entry.path());
        }
    }
    std::ranges::sort(files);
    std::vector<VectorCase> cases;
    for (const auto &file : files) {
        read_file(file, cases);
    }
    if (cases.empty()) {
        throw std::runtime_error("no vectors of kind " + kind);
    }
    return cases;
}

} // namespace test
