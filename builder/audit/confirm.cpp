#include "builder/audit/confirm.h"

#include <algorithm>
#include <array>

#include "builder/keys/clear_cipher.h"
#include "builder/keys/random.h"
#include "builder/reader/table_cipher.h"

namespace wbtables {
namespace {

// The tables encrypt random blocks as the clear cipher does. A wrong key passes one block in 2^128.
template <typename TableCipher>
bool agrees(const TableCipher &tables, Algorithm algorithm, std::span<const std::uint8_t> key) {
    constexpr int kBlocks = 4;
    for (int i = 0; i < kBlocks; ++i) {
        std::array<std::uint8_t, 16> block{};
        fill_random(block);
        if (!std::ranges::equal(clear_encrypt(algorithm, ClearMode::ecb, key, {}, block), tables.encrypt(block))) {
            return false;
        }
    }
    return true;
}

} // namespace

bool confirms(const AesTablesView &tables, std::span<const std::uint8_t> key) {
    const auto cipher = AesTableCipher::over(tables);
    if (!cipher || cipher->key_len() != key.size()) {
        return false;
    }
    const auto *const row = std::ranges::find_if(kAlgorithms, [&](const AlgorithmRow &candidate) {
        return is_aes(candidate.algorithm) && candidate.key_len == key.size();
    });
    return agrees(*cipher, row->algorithm, key);
}

bool confirms(const Sm4TablesView &tables, std::span<const std::uint8_t> key) {
    const auto cipher = Sm4TableCipher::over(tables);
    return cipher && key.size() == row_of(Algorithm::sm4).key_len && agrees(*cipher, Algorithm::sm4, key);
}

} // namespace wbtables
