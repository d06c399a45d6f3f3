// Puts finished files in their places: all of them, or none.
#pragma once

#include <filesystem>
#include <utility>
#include <vector>

namespace wbtables {

class Publication {
  public:
    // `work` is where earlier files wait until everything has gone well; it is in the file system of the places.
    explicit Publication(std::filesystem::path work) : work_(std::move(work)) {}
    // Undoes what was not finished.
    ~Publication();
    Publication(const Publication &) = delete;
    Publication &operator=(const Publication &) = delete;
    Publication(Publication &&) = delete;
    Publication &operator=(Publication &&) = delete;

    // Puts `from` in the place of `to` at one stroke, on the disk before the name changes; the last folder on the way
    // is made if it is not there. Whoever has an earlier file open keeps it. Throws an Error that names the place.
    void put(const std::filesystem::path &from, const std::filesystem::path &to);
    void finish() { done_.clear(); }

  private:
    struct Step {
        std::filesystem::path place;
        std::filesystem::path earlier; // empty: there was none
        bool made_folder;
    };
    static void restore(const Step &step);

    std::filesystem::path work_;
    std::vector<Step> done_;
};

} // namespace wbtables
