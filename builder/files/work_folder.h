// A private folder for the files of one build.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>

namespace wbtables {

// A folder that is made if it is not there, and that goes with the object if it was made and is empty.
class ParentFolder {
  public:
    explicit ParentFolder(const std::filesystem::path &path);
    ~ParentFolder();
    ParentFolder(const ParentFolder &) = delete;
    ParentFolder &operator=(const ParentFolder &) = delete;
    ParentFolder(ParentFolder &&) = delete;
    ParentFolder &operator=(ParentFolder &&) = delete;

  private:
    std::filesystem::path made_; // empty: nothing
};

// Made inside `parent`, so that a finished file can be renamed into `parent` at one stroke; removed with all its
// contents when the object goes. If `parent` is not there it is made too, and kept if something was published there.
class WorkFolder {
  public:
    explicit WorkFolder(const std::filesystem::path &parent);
    ~WorkFolder();
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;
    WorkFolder(WorkFolder &&) = delete;
    WorkFolder &operator=(WorkFolder &&) = delete;

    [[nodiscard]] const std::filesystem::path &path() const { return path_; }

    // Makes the folder itself the result: `to`, beside it, is not there yet or is an empty folder.
    void publish(const std::filesystem::path &to) const;

  private:
    ParentFolder parent_;
    std::filesystem::path path_;
};

// Writes a new file that its owner alone can read.
void write_file(const std::filesystem::path &path, std::span<const std::byte> bytes);

} // namespace wbtables
