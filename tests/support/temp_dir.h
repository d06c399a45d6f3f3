// A folder that is gone when its scope ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace test {

class TempDir {
  public:
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "wbkit-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = name;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::filesystem::path &path() const { return path_; }
    std::string string() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

} // namespace test
