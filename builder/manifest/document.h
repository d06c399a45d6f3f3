// A manifest as a TOML document.
#pragma once

#include <filesystem>
#include <string_view>

#include <toml++/toml.h>

#include "builder/manifest/diagnostics.h"

namespace wbtables {

// Its texts may be keys written in the manifest, so they are wiped when the document goes.
class Document {
  public:
    // Throws an Error if the file cannot be read or is not TOML.
    explicit Document(const std::filesystem::path &path);
    ~Document();
    Document(const Document &) = delete;
    Document &operator=(const Document &) = delete;
    Document(Document &&) = delete;
    Document &operator=(Document &&) = delete;

    [[nodiscard]] const toml::table &root() const { return root_; }

    // Why no secret may stand in its file; empty if one may.
    [[nodiscard]] std::string_view exposure() const { return exposure_; }

  private:
    std::string_view exposure_;
    toml::table root_; // read after what is said of its file
};

inline Position position_of(const toml::source_region &region) {
    return {region.begin.line, region.begin.column};
}

} // namespace wbtables
