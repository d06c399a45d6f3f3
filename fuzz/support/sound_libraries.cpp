#include "sound_libraries.h"

#include <cstdlib>
#include <stdexcept>

#include "builder/keys/random.h"
#include "builder/object/assembler.h"
#include "builder/object/contents.h"
#include "key_sets.h"
#include "support/temp_dir.h"

namespace fuzz {
namespace {

// With every kind of relocation and hash table that a linker may choose.
constexpr const char *kLinks[] = {
    "--target=aarch64-linux-android21 -Wl,--hash-style=both",
    "--target=armv7a-linux-androideabi21 -Wl,--hash-style=gnu",
    "--target=i686-linux-android21 -Wl,--hash-style=sysv",
    "--target=x86_64-linux-android21 -Wl,--pack-dyn-relocs=relr",
};

} // namespace

const wbtables::KeySet &sound_keys() {
    using wbtables::Algorithm;
    static const wbtables::KeySet set =
        test::key_set_of({test::signing_key_of("a", Algorithm::aes128), test::key_of("s", Algorithm::sm4)});
    return set;
}

std::vector<std::string> sound_libraries() {
    wbtables::seed_random(1);
    const wbtables::Image image = wbtables::table_library_image(sound_keys(), wbtables::EncodingKind::hardened);
    const test::TempDir dir;
    test::write_text(dir.path() / "tables.s", wbtables::assembler_text(image, "tables.bin"));
    test::write_text(dir.path() / "tables.bin", wbtables::as_text(image.bytes()));
    std::vector<std::string> libraries;
    for (const std::string flags : kLinks) {
        const std::string command = "cd '" + dir.string() + "' && clang " + flags + " -shared -nostdlib -fuse-ld=lld " +
                                    "-Wl,-z,max-page-size=16384,-z,common-page-size=16384,-z,relro,-z,noexecstack " +
                                    "-Wl,-soname," + file_name(sound_keys()) + " -o library tables.s";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("cannot run: " + command);
        }
        libraries.push_back(test::read_text(dir.path() / "library"));
    }
    return libraries;
}

} // namespace fuzz
