#include "builder/reader/elf_contents.h"

#include <algorithm>

namespace wbtables {

std::span<const std::uint8_t> ElfContents::bytes_from(std::uint64_t address) const {
    const auto after = std::ranges::upper_bound(segments, address, {}, &ElfSegment::address);
    if (after == segments.begin()) {
        return {};
    }
    const ElfSegment &segment = *std::prev(after);
    if (address - segment.address >= segment.file_size) {
        return {};
    }
    const auto skipped = static_cast<std::size_t>(address - segment.address);
    return std::span(file).subspan(segment.offset + skipped, segment.file_size - skipped);
}

std::optional<std::span<const std::uint8_t>> ElfContents::bytes(std::uint64_t address, std::uint64_t size) const {
    const auto all = bytes_from(address);
    if (all.size() < size) {
        return std::nullopt;
    }
    return all.first(static_cast<std::size_t>(size));
}

bool ElfContents::is_writable(std::uint64_t address, std::uint64_t size) const {
    const bool may_be = std::ranges::any_of(segments, [&](const ElfSegment &segment) {
        return segment.writable && address < segment.address + segment.memory_size &&
               (address >= segment.address || segment.address - address < size);
    });
    const bool is_protected = protection && address >= protection->address && size <= protection->size &&
                              address - protection->address <= protection->size - size;
    return may_be && !is_protected;
}

std::optional<std::uint64_t> ElfContents::number(std::uint64_t address, std::size_t size) const {
    const auto field = bytes(address, size);
    if (!field) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i) {
        value = value << 8U | (*field)[i - 1];
    }
    return value;
}

} // namespace wbtables
