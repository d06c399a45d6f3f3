// The contents of a table library before a compiler makes it one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "builder/keys/secret_bytes.h"

namespace wbtables {

class Image {
  public:
    static constexpr std::size_t kSlots = 10;
    static constexpr std::size_t kAlignment = 64; // of items in bytes(): tables start on a cache line

    struct Item {
        std::string symbol; // empty: not exported, for pointers alone
        std::size_t offset; // in bytes()
        std::size_t size;
    };
    // Pointers to items, by index; an empty slot is a null pointer.
    struct PointerArray {
        std::string symbol;
        std::array<std::optional<std::size_t>, kSlots> slots;
    };

    // Each returns the item's index. A text gets its terminator.
    std::size_t add(std::string symbol, std::span<const std::uint8_t> bytes);
    std::size_t add_text(std::string symbol, std::string_view text);
    std::size_t add_text(std::string symbol, const SecretBytes &text);

    // One array of up to kSlots items.
    void add_pointers(std::string symbol, std::span<const std::size_t> items);

    [[nodiscard]] const std::vector<Item> &items() const { return items_; }
    [[nodiscard]] const std::vector<PointerArray> &arrays() const { return arrays_; }
    [[nodiscard]] const SecretBytes &bytes() const { return bytes_; }
    [[nodiscard]] std::span<const std::uint8_t> bytes_of(const Item &item) const {
        return std::span(bytes_).subspan(item.offset, item.size);
    }

  private:
    SecretBytes bytes_;
    std::vector<Item> items_;
    std::vector<PointerArray> arrays_;
};

} // namespace wbtables
