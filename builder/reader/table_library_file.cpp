#include "builder/reader/table_library_file.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include <fmt/format.h>

#include "builder/keys/key_set.h"
#include "builder/keys/limits.h"

namespace wbtables {
namespace {

constexpr std::size_t kLongestText = 65536; // of those that have no limit of their own
constexpr std::size_t kXorLen = 256;
constexpr std::size_t kRoundLen = 16384;
constexpr std::size_t kLastRoundLen = 4096;
constexpr std::size_t kSm4Len = 32768;
constexpr std::size_t kNumberLen = sizeof(std::int32_t);

using Bytes = std::span<const std::uint8_t>;

class TableLibraryReader {
  public:
    TableLibraryReader(const ElfFile &elf, std::string_view file_name) : elf_(elf), file_name_(file_name) {}

    TableLibraryFile::Contents read() {
        check_for_code();
        read_names();
        read_texts();
        read_keys();
        read_signing_entries();
        return std::move(out_);
    }

  private:
    // What is named here may be hostile: texts in quotes.
    template <typename... Args>
    void report(fmt::format_string<Args...> format, Args &&...args) {
        out_.problems.push_back(fmt::format(format, std::forward<Args>(args)...));
    }

    // Tables are data: whatever runs beside them came with them for another reason.
    void check_for_code() {
        if (!elf_.initialisers().empty()) {
            report("it runs code when it is loaded or closed: it has {}; tables need none",
                   fmt::join(elf_.initialisers(), ", "));
        }
        if (!elf_.needed().empty()) {
            report("it runs code of other libraries, which are loaded with it: it needs {}; tables need none",
                   in_quotes(fmt::format("{}", fmt::join(elf_.needed(), ", "))));
        }
        if (elf_.executable_segments() != 0) {
            report("it brings code: {} of its segments can be executed; tables need none", elf_.executable_segments());
        }
        if (!elf_.functions().empty()) {
            report("it brings code: it exports {} function{}, {} for one; tables need none", elf_.functions().size(),
                   elf_.functions().size() == 1 ? "" : "s", in_quotes(elf_.functions().front()));
        }
        if (elf_.resolvers() != 0) {
            report("it brings code, which gives {} of its symbols their addresses; tables need none", elf_.resolvers());
        }
        if (!elf_.other_relocations().empty()) {
            const std::size_t count = elf_.other_relocations().size();
            report("it has {} relocation{} that no table needs, of kind {} for one; a loader may run code for {}",
                   count, count == 1 ? "" : "s", elf_.other_relocations().front(), count == 1 ? "it" : "them");
        }
        if (elf_.relocates_itself()) {
            report("it changes, while it is loaded, what the loader reads of it; a loader may run code then");
        }
        if (elf_.has_executable_stack()) {
            report("it makes the process's stack executable: its PT_GNU_STACK header says so or is missing");
        }
    }

    // The names that the file bears, compared with what the library says of itself.
    void read_names() {
        const auto wbid = text_of("wbid", kLongestFileName);
        const auto version = number_of("version");
        auto name = parse_library_name(file_name_);
        if (!name) {
            report("the file's name is not libwb_tables_<wbid>_<version>.so");
            name = parse_library_name(elf_.soname());
        } else if (!elf_.soname().empty() && elf_.soname() != file_name_) {
            report("its SONAME is {}, not the file's name", in_quotes(elf_.soname()));
        }
        if (name && wbid && as_text(*wbid) != name->wbid) {
            report("symbol wbid is {}, but the file is named for {}", in_quotes(as_text(*wbid)), in_quotes(name->wbid));
        }
        if (name && version && *version != name->version) {
            report("symbol version is {}, but the file is named for {}", *version, name->version);
        }
        if (name) {
            out_.wbid = name->wbid;
            out_.version = name->version;
        } else {
            out_.wbid = wbid ? std::optional(std::string(as_text(*wbid))) : std::nullopt;
            out_.version = version;
        }
    }

    // Without sk or appid no caller gets a token; the others may be missing.
    void read_texts() {
        constexpr std::size_t kLongestEncoding = 32;
        out_.appid = as_text(text_of("appid", kLongestAppid).value_or(Bytes()));
        if (has("wbtables_encoding")) {
            out_.encoding = as_text(text_of("wbtables_encoding", kLongestEncoding).value_or(Bytes()));
        }
        if (has("whitelist")) {
            out_.whitelist = as_text(text_of("whitelist", kLongestWhitelist).value_or(Bytes()));
        }
        read_secret("sk", out_.sk);
        if (has("ak")) {
            read_secret("ak", out_.ak);
        }
    }

    void read_secret(const char *symbol, SecretBytes &out) {
        const auto text = text_of(symbol, kLongestAccessText);
        if (text) {
            out.assign(text->begin(), text->end());
        }
        if (text && text->empty()) {
            report("symbol {} is an empty text, which anybody can present", symbol);
        }
    }

    // For symbols that may be missing.
    bool has(const char *symbol) {
        const bool is_there = elf_.find(symbol) != nullptr;
        if (!is_there && !elf_.is_found_alike(symbol)) {
            report("symbol {} is not exported, but a loader may find it", symbol);
        }
        return is_there;
    }

    void read_keys() {
        const auto sm4 = has("sm4_keyids") ? ids_of("sm4_keyids") : std::vector<std::string>();
        auto aes = ids_of("aes_keyids");
        for (const std::string &id : sm4) {
            if (std::erase(aes, id) != 0) {
                report("key {} is in sm4_keyids and in aes_keyids: it is served as an SM4 key", in_quotes(id));
            }
            if (const auto tables = table_of("table_" + id, kSm4Len, 1)) {
                out_.sm4_keys.push_back({id, *tables});
            } else {
                out_.unreadable_keys.push_back(id);
            }
        }
        for (const std::string &id : aes) {
            if (!read_aes_key(id)) {
                out_.unreadable_keys.push_back(id);
            }
        }
    }

    bool read_aes_key(const std::string &id) {
        const auto rounds = number_of("Nr_" + id);
        if (!rounds) {
            return false;
        }
        const AlgorithmRow *const row = aes_of(*rounds);
        if (row == nullptr) {
            report("symbol {} is {}, not 10, 12 or 14", in_quotes("Nr_" + id), *rounds);
            return false;
        }
        const auto rounds_of_tables = static_cast<std::size_t>(*rounds) - 1;
        const auto xor_table = table_of("Xor_" + id, kXorLen, 1);
        const auto round_tables =
            table_of(fmt::format("Tyboxes{}_{}", row->bits, id), rounds_of_tables * kRoundLen, kNumberLen);
        const auto last_round = table_of("TboxesLast_" + id, kLastRoundLen, 1);
        const bool is_complete = xor_table && round_tables && last_round;
        if (is_complete) {
            out_.aes_keys.push_back({id, static_cast<std::uint32_t>(*rounds), *xor_table, *round_tables, *last_round});
        }
        return is_complete;
    }

    void read_signing_entries() {
        if (!has("keys")) {
            return;
        }
        for (const auto &[slot, text] : slots_of("keys", kLongestText)) {
            out_.signing_entries.emplace_back(text);
        }
    }

    std::vector<std::string> ids_of(const char *symbol) {
        std::vector<std::string> ids;
        for (const auto &[slot, id] : slots_of(symbol, kLongestKeyId)) {
            if (id.empty() || id.find(',') != std::string_view::npos) {
                report("slot {} of {} is {}, which is no key id", slot, symbol, in_quotes(id));
            } else if (std::ranges::find(ids, id) != ids.end()) {
                report("slot {} of {} is key {} again", slot, symbol, in_quotes(id));
            } else {
                ids.emplace_back(id);
            }
            list_len_ += id.size() + 1;
        }
        if (list_len_ > kLongestIdList) {
            report("the list of key ids up to {}, a comma after each, has {} characters, at most {} are possible",
                   symbol, list_len_, kLongestIdList);
        }
        return ids;
    }

    struct Slot {
        std::size_t index;
        std::string_view text;
    };
    // The texts of an array of pointers, without the null ones.
    std::vector<Slot> slots_of(const char *symbol, std::size_t longest) {
        std::vector<Slot> slots;
        const std::size_t len = elf_.pointer_len();
        const ElfSymbol *const array = sized_symbol(symbol, kSlots * len, len);
        if (array != nullptr) {
            check_protection(array->address, kSlots * len, fmt::format("symbol {}", symbol));
        }
        for (std::size_t i = 0; array != nullptr && i < kSlots; ++i) {
            const auto pointer = elf_.pointer(array->address + i * len);
            if (!pointer) {
                report("slot {} of {} holds no pointer that this library alone decides", i, symbol);
            } else if (*pointer != 0) {
                if (const auto text = text_at(*pointer, longest, fmt::format("slot {} of {}", i, symbol))) {
                    slots.push_back({i, as_text(*text)});
                }
            }
        }
        return slots;
    }

    // A required symbol, with the size that the format gives it.
    const ElfSymbol *sized_symbol(const std::string &name, std::size_t size, std::size_t alignment) {
        const ElfSymbol *const symbol = known_symbol(name);
        if (symbol == nullptr) {
            return nullptr;
        }
        if (symbol->size != 0 && symbol->size != size) {
            report("symbol {} is said to have {} bytes, not {}", in_quotes(name), symbol->size, size);
        }
        if (symbol->address % alignment != 0) {
            report("symbol {} is not aligned to {} bytes", in_quotes(name), alignment);
        }
        return symbol;
    }

    const ElfSymbol *known_symbol(const std::string &name) {
        const ElfSymbol *const symbol = elf_.find(name);
        if (symbol == nullptr) {
            report("symbol {} is missing", in_quotes(name));
        } else if (const auto *const next = symbol + 1;
                   next != elf_.symbols().data() + elf_.symbols().size() && next->name == name) {
            report("symbol {} is there twice", in_quotes(name));
        }
        if (!elf_.is_found_alike(name)) {
            report("symbol {}: through a hash table a loader does not find it, or finds another", in_quotes(name));
        }
        return symbol;
    }

    std::optional<Bytes> table_of(const std::string &name, std::size_t size, std::size_t alignment) {
        const ElfSymbol *const symbol = sized_symbol(name, size, alignment);
        if (symbol == nullptr) {
            return std::nullopt;
        }
        const auto table = elf_.bytes(symbol->address, size);
        check_protection(symbol->address, size, fmt::format("symbol {}", in_quotes(name)));
        if (!table) {
            report("symbol {}: the file ends before its {} bytes do", in_quotes(name), size);
        } else if (elf_.is_relocated(symbol->address, size)) {
            report("symbol {}: the loader changes its bytes", in_quotes(name));
            return std::nullopt;
        }
        return table;
    }

    std::optional<std::int32_t> number_of(const std::string &name) {
        const auto bytes = table_of(name, kNumberLen, kNumberLen);
        if (!bytes) {
            return std::nullopt;
        }
        std::uint32_t value = 0;
        for (std::size_t i = kNumberLen; i > 0; --i) {
            value = value << 8U | (*bytes)[i - 1];
        }
        return static_cast<std::int32_t>(value);
    }

    std::optional<Bytes> text_of(const char *name, std::size_t longest) {
        const ElfSymbol *const symbol = known_symbol(name);
        if (symbol == nullptr) {
            return std::nullopt;
        }
        const auto text = text_at(symbol->address, longest, fmt::format("symbol {}", name));
        if (text && symbol->size != 0 && symbol->size <= text->size()) {
            report("symbol {} is said to have {} bytes, but its text goes on", name, symbol->size);
        }
        return text;
    }

    std::optional<Bytes> text_at(std::uint64_t address, std::size_t longest, std::string_view where) {
        const Bytes all = elf_.bytes_from(address);
        const Bytes possible = all.first(std::min(all.size(), kLongestText + 1));
        const auto end = std::ranges::find(possible, std::uint8_t{0});
        if (end == possible.end()) {
            report("{}: the text there has no end", where);
            return std::nullopt;
        }
        const auto len = static_cast<std::size_t>(end - possible.begin());
        check_protection(address, len + 1, where);
        if (elf_.is_relocated(address, len + 1)) {
            report("{}: the loader changes the text there", where);
            return std::nullopt;
        }
        if (len > longest) {
            report("{} has a text of {} bytes, at most {} are possible", where, len, longest);
        }
        return possible.first(len);
    }

    void check_protection(std::uint64_t address, std::uint64_t size, std::string_view where) {
        if (elf_.is_writable(address, size)) {
            report("{} stands where it can be written to at run time", where);
        }
    }
    const ElfFile &elf_;
    std::string_view file_name_;
    std::size_t list_len_ = 0;
    TableLibraryFile::Contents out_;
};

} // namespace

std::optional<LibraryName> parse_library_name(std::string_view file_name) {
    constexpr std::string_view kBegin = "libwb_tables_";
    constexpr std::string_view kEnd = ".so";
    if (!file_name.starts_with(kBegin) || !file_name.ends_with(kEnd)) {
        return std::nullopt;
    }
    file_name.remove_prefix(kBegin.size());
    file_name.remove_suffix(kEnd.size());
    const std::size_t line = file_name.rfind('_');
    if (line == std::string_view::npos || line == 0) {
        return std::nullopt;
    }
    const std::string_view number = file_name.substr(line + 1);
    std::int32_t version = 0;
    const auto read = std::from_chars(number.data(), number.data() + number.size(), version);
    // As it would be written again: no leading zeros.
    if (read.ec != std::errc() || fmt::format("{}", version) != number) {
        return std::nullopt;
    }
    return LibraryName{std::string(file_name.substr(0, line)), version};
}

TableLibraryFile::TableLibraryFile(const std::filesystem::path &path)
    : elf_(path), contents_(TableLibraryReader(elf_, path.filename().string()).read()) {}

} // namespace wbtables
