// The entries of a table library's `keys`, whatever they hold: get_ekey, and signatures with what it finds.

#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz/support/table_library.h"
#include "quen/hash.h"
#include "quen/tables.h"
#include "support/bytes.h"
#include "support/captured_log.h"

namespace {

using test::Bytes;

// The first line is the wanted key id, the others are the slots: "null", "hex" and bytes of any kind that are made hex
// text, or the text itself.
struct Input {
    std::string key_id;
    std::vector<std::string> texts;

    explicit Input(const std::string &bytes) {
        std::istringstream in(bytes);
        std::getline(in, key_id);
        for (std::string line; texts.size() < 10 && std::getline(in, line, '\0');) {
            texts.push_back(line.starts_with("hex") ? test::to_hex(test::bytes_of(line.substr(3))) : line);
        }
        for (size_t i = 0; i < 10; ++i) {
            fuzz::keys[i] = i < texts.size() && texts[i] != "null" ? texts[i].c_str() : nullptr;
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const Input input(std::string(reinterpret_cast<const char *>(data), size));
    const char *const key_id = input.key_id.c_str();
    Bytes content(1024, 0xee);
    Bytes iv(16, 0xee);
    uint8_t len = 0xee;
    const int32_t status = get_ekey(nullptr, fuzz::kWbid, key_id, fuzz::kVersion, content.data(), &len, iv.data());
    EXPECT_TRUE(status == 0 || status == -4 || status == -92) << status;
    if (status != 0) {
        EXPECT_EQ(content, Bytes(1024, 0xee));
        EXPECT_EQ(len, 0xee);
    }
    uint8_t mac[32];
    uint32_t mac_len = 0;
    const int32_t signed_ = signature(nullptr, data, size, fuzz::kWbid, key_id, fuzz::kVersion, mac, &mac_len);
    EXPECT_TRUE(signed_ == 0 || signed_ == -1 || (signed_ == -90 && status == 0)) << signed_;
    if (signed_ == 0) {
        EXPECT_EQ(status, 0);
        EXPECT_EQ(verify(nullptr, mac, 32, data, size, fuzz::kWbid, key_id, fuzz::kVersion), 0);
    }
    test::CapturedLog().take();
    return 0;
}
