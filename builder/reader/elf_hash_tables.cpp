#include "builder/reader/elf_hash_tables.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace wbtables {
namespace {

using Index = std::optional<std::size_t>;

constexpr std::uint64_t kWord = sizeof(std::uint32_t);

// Numbers of a hash table. Where the file holds none, the search finds nothing.
class HashTable {
  public:
    HashTable(const ElfContents &contents, std::uint64_t address) : contents_(contents), address_(address) {}

    [[nodiscard]] std::uint64_t word(std::uint64_t index) const { return number(kWord * index, kWord).value_or(0); }
    [[nodiscard]] std::optional<std::uint64_t> number(std::uint64_t offset, std::size_t size) const {
        return contents_.number(address_ + offset, size);
    }
    [[nodiscard]] bool holds_words(std::uint64_t count) const {
        return contents_.bytes(address_, kWord * count).has_value();
    }
    [[nodiscard]] std::size_t pointer_len() const { return contents_.pointer_len; }
    [[nodiscard]] bool is_named(std::uint64_t index, std::string_view name) const {
        return index < contents_.names.size() && contents_.names[static_cast<std::size_t>(index)] == name;
    }

  private:
    const ElfContents &contents_;
    std::uint64_t address_;
};

// System V ABI: the numbers of buckets and of symbols; a bucket holds the first symbol of a chain, and a symbol's entry
// the next one.
class SysvTable {
  public:
    explicit SysvTable(const HashTable &table) : table_(table), buckets_(table.word(0)), symbols_(table.word(1)) {}

    [[nodiscard]] bool is_whole() const { return table_.holds_words(2 + buckets_ + symbols_); }
    [[nodiscard]] std::uint64_t symbol_count() const { return symbols_; }

    [[nodiscard]] Index find(std::string_view name) const {
        if (buckets_ == 0 || !is_whole()) {
            return std::nullopt;
        }
        std::uint64_t index = table_.word(2 + hash(name) % buckets_);
        // A chain may be a ring.
        for (std::uint64_t steps = 0; index != 0 && index < symbols_ && steps < symbols_; ++steps) {
            if (table_.is_named(index, name)) {
                return index;
            }
            index = table_.word(2 + buckets_ + index);
        }
        return std::nullopt;
    }

  private:
    static std::uint32_t hash(std::string_view name) {
        std::uint32_t value = 0;
        for (const char c : name) {
            value = (value << 4U) + static_cast<unsigned char>(c);
            const std::uint32_t top = value & 0xf0000000U;
            value = (value ^ top >> 24U) & ~top;
        }
        return value;
    }

    HashTable table_;
    std::uint64_t buckets_;
    std::uint64_t symbols_;
};

// The GNU form: numbers of buckets, of symbols that it leaves out, and of the words of a bloom filter, and a shift for
// that; the filter; the buckets; the hashes of the symbols, which stand bucket by bucket. The last one of a bucket has
// its lowest bit set.
class GnuTable {
  public:
    explicit GnuTable(const HashTable &table)
        : table_(table), buckets_(table.word(0)), first_(table.word(1)), filter_(table.word(2)), shift_(table.word(3)),
          first_bucket_(4 + filter_ * (table.pointer_len() / kWord)) {}

    [[nodiscard]] bool is_whole() const { return table_.holds_words(first_bucket_ + buckets_); }

    // At most one more than `most`.
    [[nodiscard]] std::uint64_t symbol_count(std::uint64_t most) const {
        std::uint64_t last = 0;
        for (std::uint64_t i = 0; i < buckets_; ++i) {
            last = std::max(last, table_.word(first_bucket_ + i));
        }
        if (last < first_) {
            return first_;
        }
        while (last < most && !is_last(last)) {
            ++last;
        }
        return last + 1;
    }

    [[nodiscard]] Index find(std::string_view name) const {
        const std::uint32_t wanted = hash(name);
        if (!is_whole() || buckets_ == 0 || !passes_filter(wanted)) {
            return std::nullopt;
        }
        std::uint64_t index = table_.word(first_bucket_ + wanted % buckets_);
        for (; index != 0 && index >= first_ && has_hash(index); ++index) {
            if ((hash_of(index) | 1U) == (wanted | 1U) && table_.is_named(index, name)) {
                return index;
            }
            if (is_last(index)) {
                break;
            }
        }
        return std::nullopt;
    }

  private:
    static std::uint32_t hash(std::string_view name) {
        std::uint32_t value = 5381;
        for (const char c : name) {
            value = value * 33 + static_cast<unsigned char>(c);
        }
        return value;
    }

    [[nodiscard]] bool passes_filter(std::uint32_t wanted) const {
        const std::uint32_t bits = 8 * static_cast<std::uint32_t>(table_.pointer_len());
        if (!std::has_single_bit(filter_) || shift_ >= 32) {
            return false;
        }
        const std::uint64_t at = 4 * kWord + (wanted / bits & (filter_ - 1)) * table_.pointer_len();
        const std::uint64_t word = table_.number(at, table_.pointer_len()).value_or(0);
        return (word >> wanted % bits & word >> (wanted >> shift_) % bits & 1U) != 0;
    }

    [[nodiscard]] std::uint64_t place_of(std::uint64_t index) const {
        return first_bucket_ + buckets_ + index - first_;
    }
    [[nodiscard]] std::uint64_t hash_of(std::uint64_t index) const { return table_.word(place_of(index)); }
    [[nodiscard]] bool is_last(std::uint64_t index) const { return (hash_of(index) & 1U) != 0; }
    [[nodiscard]] bool has_hash(std::uint64_t index) const {
        return table_.number(kWord * place_of(index), kWord).has_value();
    }

    HashTable table_;
    std::uint64_t buckets_;
    std::uint64_t first_;
    std::uint64_t filter_;
    std::uint64_t shift_;
    std::uint64_t first_bucket_;
};

} // namespace

std::uint64_t symbol_count(const ElfContents &contents) {
    std::uint64_t count = 0;
    if (contents.sysv_hash) {
        const SysvTable table(HashTable(contents, *contents.sysv_hash));
        if (!table.is_whole()) {
            throw MalformedElf("has a hash table outside its segments");
        }
        count = table.symbol_count();
    }
    if (contents.gnu_hash) {
        const GnuTable table(HashTable(contents, *contents.gnu_hash));
        if (!table.is_whole()) {
            throw MalformedElf("has a hash table outside its segments");
        }
        count = std::max(count, table.symbol_count(kMostSymbols));
    }
    return count;
}

std::vector<Index> look_up(const ElfContents &contents, std::string_view name) {
    std::vector<Index> found;
    if (contents.sysv_hash) {
        found.push_back(SysvTable(HashTable(contents, *contents.sysv_hash)).find(name));
    }
    if (contents.gnu_hash) {
        found.push_back(GnuTable(HashTable(contents, *contents.gnu_hash)).find(name));
    }
    return found;
}

} // namespace wbtables
