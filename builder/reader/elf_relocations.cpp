#include "builder/reader/elf_relocations.h"

#include <algorithm>
#include <limits>

namespace wbtables {
namespace {

// A table library has some thirty. A packed table names up to 63 in eight bytes, so its size is no bound.
constexpr std::size_t kMostRelocations = std::size_t{1} << 20U;
constexpr std::uint32_t kNone = 0; // on every machine

constexpr ElfMachine kMachines[] = {
    {EM_AARCH64, ELFCLASS64, "arm64-v8a", R_AARCH64_RELATIVE, R_AARCH64_ABS64, R_AARCH64_GLOB_DAT},
    {EM_ARM, ELFCLASS32, "armeabi-v7a", R_ARM_RELATIVE, R_ARM_ABS32, R_ARM_GLOB_DAT},
    {EM_X86_64, ELFCLASS64, "x86_64", R_X86_64_RELATIVE, R_X86_64_64, R_X86_64_GLOB_DAT},
    {EM_386, ELFCLASS32, "x86", R_386_RELATIVE, R_386_32, R_386_GLOB_DAT},
};

} // namespace

const ElfMachine *find_machine(unsigned machine, int elf_class) {
    const auto *const found = std::ranges::find_if(
        kMachines, [&](const ElfMachine &row) { return row.machine == machine && row.elf_class == elf_class; });
    return found == std::end(kMachines) ? nullptr : found;
}

void RelocationReader::read_rela(Elf_Data *data, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Rela entry;
        if (gelf_getrela(data, static_cast<int>(i), &entry) == nullptr) {
            throw MalformedElf("has relocations that cannot be read");
        }
        if (GELF_R_TYPE(entry.r_info) != kNone) {
            add(entry.r_offset, target_of(entry.r_info, static_cast<std::uint64_t>(entry.r_addend)));
        }
    }
}

void RelocationReader::read_rel(Elf_Data *data, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Rel entry;
        if (gelf_getrel(data, static_cast<int>(i), &entry) == nullptr) {
            throw MalformedElf("has relocations that cannot be read");
        }
        if (GELF_R_TYPE(entry.r_info) != kNone) {
            add(entry.r_offset, target_of(entry.r_info, addend_at(entry.r_offset)));
        }
    }
}

// An even word is the address of a pointer; an odd one has a bit for each of the pointers that come next.
void RelocationReader::read_relr(std::uint64_t address, std::uint64_t size) {
    const std::size_t len = contents_.pointer_len;
    const std::uint64_t bits = 8 * len - 1;
    std::uint64_t next = 0;
    for (std::uint64_t at = 0; at + len <= size; at += len) {
        const std::optional<std::uint64_t> word = contents_.number(address + at, len);
        if (!word) {
            throw MalformedElf("has relocations outside its segments");
        }
        if ((*word & 1U) == 0) {
            add(*word, addend_at(*word));
            next = *word + len;
            continue;
        }
        for (std::uint64_t bit = 0; bit < bits; ++bit) {
            if ((*word >> (bit + 1) & 1U) != 0) {
                add(next + bit * len, addend_at(next + bit * len));
            }
        }
        next += bits * len;
    }
}

void RelocationReader::finish() {
    std::ranges::stable_sort(contents_.relocations, {}, &ElfRelocation::address);
}

void RelocationReader::add(std::uint64_t address, std::optional<std::uint64_t> target) {
    if (contents_.relocations.size() == kMostRelocations) {
        throw MalformedElf("has too many relocations");
    }
    if (target && contents_.pointer_len == sizeof(std::uint32_t)) {
        *target &= std::numeric_limits<std::uint32_t>::max();
    }
    contents_.relocations.push_back({address, machine_ == nullptr ? std::nullopt : target});
}

std::optional<std::uint64_t> RelocationReader::target_of(std::uint64_t info,
                                                         std::optional<std::uint64_t> addend) const {
    const std::uint64_t type = GELF_R_TYPE(info);
    if (machine_ == nullptr || !addend) {
        return std::nullopt;
    }
    if (type == machine_->relative) {
        return addend;
    }
    const std::optional<std::uint64_t> symbol = symbol_address_(GELF_R_SYM(info));
    if (symbol && type == machine_->absolute) {
        return *symbol + *addend;
    }
    if (symbol && type == machine_->global) {
        return symbol;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> RelocationReader::addend_at(std::uint64_t address) const {
    return contents_.number(address, contents_.pointer_len);
}

} // namespace wbtables
