// Manifests of any text: what is read keeps the rules, and what is refused is refused with a message that is harmless.

#include <gtest/gtest.h>

#include "builder/error.h"
#include "builder/keys/rules.h"
#include "builder/manifest/manifest.h"
#include "fuzz/support/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::MemoryFile file("manifest");
    file.fill({data, size});
    for (const bool inline_keys : {false, true}) {
        try {
            const wbtables::KeySet set = wbtables::parse_manifest(file.path(), {inline_keys, true});
            EXPECT_TRUE(wbtables::name_problems(set).empty());
            EXPECT_TRUE(wbtables::secret_problems(set).empty());
        } catch (const wbtables::Error &error) {
            EXPECT_EQ(error.failure(), wbtables::Failure::refused);
            EXPECT_TRUE(fuzz::is_harmless(error.what())) << error.what();
        }
    }
    return 0;
}
