#include "builder/object/image.h"

#include <utility>

namespace wbtables {

std::size_t Image::add(std::string symbol, std::span<const std::uint8_t> bytes) {
    bytes_.resize((bytes_.size() + kAlignment - 1) / kAlignment * kAlignment);
    items_.push_back({std::move(symbol), bytes_.size(), bytes.size()});
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return items_.size() - 1;
}

std::size_t Image::add_text(std::string symbol, std::string_view text) {
    const std::size_t index =
        add(std::move(symbol), {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()});
    bytes_.push_back(0);
    ++items_.back().size;
    return index;
}

std::size_t Image::add_text(std::string symbol, const SecretBytes &text) {
    return add_text(std::move(symbol), as_text(text));
}

void Image::add_pointers(std::string symbol, std::span<const std::size_t> items) {
    PointerArray array{std::move(symbol), {}};
    for (std::size_t i = 0; i < items.size(); ++i) {
        array.slots.at(i) = items[i];
    }
    arrays_.push_back(std::move(array));
}

} // namespace wbtables
