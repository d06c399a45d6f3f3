#include "key_sets.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>

#include <sys/stat.h>

#include "support/captured_log.h"

namespace test {

using wbtables::Algorithm;

wbtables::SecretBytes secret(std::string_view text) {
    return {text.begin(), text.end()};
}

wbtables::KeySpec key_of(const std::string &id, Algorithm algorithm) {
    const Bytes value = sample(row_of(algorithm).key_len, static_cast<uint32_t>(std::hash<std::string>()(id)));
    keep_secret(value);
    return {id, algorithm, {value.begin(), value.end()}, {}};
}

wbtables::KeySpec signing_key_of(const std::string &id, Algorithm algorithm) {
    wbtables::KeySpec key = key_of(id, algorithm);
    const Bytes signing_key = sample(32, static_cast<uint32_t>(std::hash<std::string>()(id + "signing")));
    keep_secret(signing_key);
    key.signing_key.emplace(signing_key.begin(), signing_key.end());
    return key;
}

wbtables::KeySet key_set_of(std::vector<wbtables::KeySpec> keys) {
    return {"demo", 1, "com.example.demo", "com.example.demo", secret("the sk"), secret("the ak"), std::move(keys)};
}

void write_text(const std::filesystem::path &path, std::string_view text, mode_t mode) {
    std::filesystem::remove(path); // it may be one that cannot be written
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file || chmod(path.c_str(), mode) != 0) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

std::string read_text(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> names_in(const std::filesystem::path &folder) {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

} // namespace test
