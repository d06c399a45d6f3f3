// A table library that the loader finds by its bare name, as natives look for it.
#pragma once

#include "support/table_source.h"
#include "support/temp_dir.h"

namespace test {

class LoadedLibrary {
  public:
    LoadedLibrary(const TableSource &source, const std::string &wbid, int32_t version);

  private:
    TempDir dir_;
};

} // namespace test
