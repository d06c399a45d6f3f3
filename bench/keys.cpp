#include "keys.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>
#include <string_view>

#include "builder/files/work_folder.h"
#include "builder/library.h"

namespace bench {
namespace {

wbtables::SecretBytes secret(std::string_view text) {
    return {text.begin(), text.end()};
}

wbtables::KeySet key_set() {
    const wbtables::SecretBytes value(std::begin(Keys::kKey), std::end(Keys::kKey));
    wbtables::KeySet set;
    set.wbid = Keys::kWbid;
    set.version = Keys::kVersion;
    set.appid = Keys::kCaller;
    set.whitelist = std::string("com.example.other,") + Keys::kCaller;
    set.sk = secret(Keys::kSk);
    set.ak = secret("open");
    set.keys = {{Keys::kAesId, wbtables::Algorithm::aes128, value, secret("a signing key that has 32 bytes.")},
                {Keys::kSm4Id, wbtables::Algorithm::sm4, value, {}}};
    return set;
}

tb_entry loaded(const char *keyid) {
    const tb_entry entry = get_tb_entry(nullptr, Keys::kWbid, keyid, Keys::kVersion);
    if (entry.status != 0) {
        throw std::runtime_error("the table library's keys cannot be used");
    }
    return entry;
}

} // namespace

Keys::Keys() : aes_{}, sm4_{} {
    const wbtables::WorkFolder folder(std::filesystem::temp_directory_path());
    const auto library = wbtables::build_library(key_set(), folder.path(), {});
    if (dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
        throw std::runtime_error(dlerror());
    }
    aes_ = loaded(kAesId);
    sm4_ = loaded(kSm4Id);
}

} // namespace bench
