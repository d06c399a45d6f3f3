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

void RelocationReader::read_rela(Elf_Data *data, std::size_t count, std::uint64_t relative) {
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Rela entry;
        if (gelf_getrela(data, static_cast<int>(i), &entry) == nullptr) {
            throw MalformedElf("has relocations that cannot be read");
        }
        read_entry({entry.r_offset, GELF_R_TYPE(entry.r_info), GELF_R_SYM(entry.r_info),
                    static_cast<std::uint64_t>(entry.r_addend)},
                   i < relative);
    }
}

void RelocationReader::read_rel(Elf_Data *data, std::size_t count, std::uint64_t relative) {
    for (std::size_t i = 0; i < count; ++i) {
        GElf_Rel entry;
        if (gelf_getrel(data, static_cast<int>(i), &entry) == nullptr) {
            throw MalformedElf("has relocations that cannot be read");
        }
        read_entry({entry.r_offset, GELF_R_TYPE(entry.r_info), GELF_R_SYM(entry.r_info), addend_at(entry.r_offset)},
                   i < relative);
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

void RelocationReader::read_entry(const Entry &entry, bool is_taken_for_relative) {
    if (is_taken_for_relative && machine_ != nullptr && entry.kind != machine_->relative) {
        throw MalformedElf("counts relocations as relative ones that are of another kind");
    }
    if (entry.kind == kNone) {
        return;
    }
    if (machine_ != nullptr && !is_usual(entry)) {
        contents_.other_kinds.push_back(entry.kind);
    }
    add(entry.address, target_of(entry));
}

// A loader looks at the symbol of any kind, also of one that no hash table leads to.
bool RelocationReader::is_usual(const Entry &entry) const {
    return machine_ != nullptr && (entry.symbol == 0 || entry.symbol < symbols_.size()) &&
           (entry.kind == machine_->relative || entry.kind == machine_->absolute || entry.kind == machine_->global);
}

std::optional<std::uint64_t> RelocationReader::target_of(const Entry &entry) const {
    if (!is_usual(entry) || !entry.addend) {
        return std::nullopt;
    }
    if (entry.kind == machine_->relative) {
        return entry.addend;
    }
    const auto symbol = entry.symbol == 0 ? std::nullopt : symbols_[static_cast<std::size_t>(entry.symbol)];
    if (symbol && entry.kind == machine_->absolute) {
        return *symbol + *entry.addend;
    }
    return symbol;
}

std::optional<std::uint64_t> RelocationReader::addend_at(std::uint64_t address) const {
    return contents_.number(address, contents_.pointer_len);
}

} // namespace wbtables
