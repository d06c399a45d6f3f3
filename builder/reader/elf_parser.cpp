#include "builder/reader/elf_parser.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include <fmt/format.h>
#include <gelf.h>
#include <libelf.h>

#include "builder/reader/elf_hash_tables.h"
#include "builder/reader/elf_relocations.h"
#include "builder/reader/elf_segments.h"

namespace wbtables {
namespace {

constexpr std::size_t kMostDynamicEntries = 4096;
constexpr std::size_t kLongestName = 1024;

// What the loader runs, and by which entry an array of that says its size.
struct Initialiser {
    std::int64_t tag;
    std::optional<std::int64_t> size;
    std::string_view name;
};
constexpr Initialiser kInitialisers[] = {
    {DT_PREINIT_ARRAY, DT_PREINIT_ARRAYSZ, "DT_PREINIT_ARRAY"}, {DT_INIT, {}, "DT_INIT"},
    {DT_INIT_ARRAY, DT_INIT_ARRAYSZ, "DT_INIT_ARRAY"},          {DT_FINI, {}, "DT_FINI"},
    {DT_FINI_ARRAY, DT_FINI_ARRAYSZ, "DT_FINI_ARRAY"},
};
// Each makes some loader load another library.
constexpr std::int64_t kNeeded[] = {DT_NEEDED, DT_AUXILIARY, DT_FILTER};

class ElfParser {
  public:
    explicit ElfParser(SecretBytes file) : elf_(nullptr, elf_end) { contents_.file = std::move(file); }

    ElfContents parse() {
        open();
        read_dynamic(read_segments(elf_.get(), contents_));
        read_symbols();
        read_relocations();
        contents_.relocates_itself = std::ranges::any_of(contents_.relocations, [this](const ElfRelocation &each) {
            return std::ranges::any_of(read_, [&](const ElfRange &part) {
                return each.address < part.address + part.size && part.address < each.address + contents_.pointer_len;
            });
        });
        std::ranges::stable_sort(contents_.symbols, {}, &ElfSymbol::name);
        return std::move(contents_);
    }

  private:
    // What the dynamic section says of each tag that is used here; the last one counts, as for a loader.
    struct Dynamic {
        std::int64_t tag;
        std::optional<std::uint64_t> value;
    };

    void open() {
        static_cast<void>(elf_version(EV_CURRENT));
        elf_.reset(elf_memory(reinterpret_cast<char *>(contents_.file.data()), contents_.file.size()));
        GElf_Ehdr header;
        if (elf_ == nullptr || elf_kind(elf_.get()) != ELF_K_ELF || gelf_getehdr(elf_.get(), &header) == nullptr ||
            header.e_type != ET_DYN) {
            throw MalformedElf("is no shared object");
        }
        if (header.e_ident[EI_DATA] != ELFDATA2LSB) {
            throw MalformedElf("is for a big-endian machine");
        }
        class_ = gelf_getclass(elf_.get());
        contents_.pointer_len = class_ == ELFCLASS64 ? sizeof(std::uint64_t) : sizeof(std::uint32_t);
        machine_ = find_machine(header.e_machine, class_);
        contents_.abi = machine_ != nullptr ? machine_->abi : fmt::format("machine {}", header.e_machine);
    }

    // The file's bytes at an address as an array of `type`, in this machine's form.
    Elf_Data *array_at(std::uint64_t address, std::uint64_t size, Elf_Type type) {
        const auto bytes = contents_.bytes(address, size);
        if (!bytes) {
            throw MalformedElf("has a dynamic section that points outside its segments");
        }
        Elf_Data *const data =
            elf_getdata_rawchunk(elf_.get(), bytes->data() - contents_.file.data(), bytes->size(), type);
        if (data == nullptr) {
            throw MalformedElf("has a dynamic section that cannot be read");
        }
        read_.push_back({address, size});
        return data;
    }

    void read_dynamic(const ElfRange &section) {
        const std::uint64_t count = section.size / gelf_fsize(elf_.get(), ELF_T_DYN, 1, EV_CURRENT);
        if (count == 0 || count > kMostDynamicEntries) {
            throw MalformedElf("has a dynamic section that cannot be read");
        }
        Elf_Data *const data = array_at(section.address, section.size, ELF_T_DYN);
        std::vector<std::uint64_t> needed;
        for (std::uint64_t i = 0;; ++i) {
            GElf_Dyn entry;
            // A loader reads on to the last entry, whatever the program header says.
            if (i == count || gelf_getdyn(data, static_cast<int>(i), &entry) == nullptr) {
                throw MalformedElf("has a dynamic section without an end");
            }
            if (entry.d_tag == DT_NULL) {
                break;
            }
            note(entry, needed);
        }
        for (const std::uint64_t name : needed) {
            contents_.needed.push_back(text(name));
        }
        contents_.soname = value(DT_SONAME) ? text(*value(DT_SONAME)) : "";
        contents_.sysv_hash = value(DT_HASH);
        contents_.gnu_hash = value(DT_GNU_HASH);
        // A hash table does not say where it ends, and has no pointers behind it in its segment.
        for (const auto &start : {value(DT_STRTAB), value(DT_HASH), value(DT_GNU_HASH)}) {
            read_.push_back({start.value_or(0), start ? contents_.bytes_from(*start).size() : 0});
        }
        for (const Initialiser &row : kInitialisers) {
            if (value(row.tag) && (!row.size || value(*row.size).value_or(0) != 0)) {
                contents_.initialisers.push_back(row.name);
            }
        }
        contents_.text_relocations = value(DT_TEXTREL).has_value() || (value(DT_FLAGS).value_or(0) & DF_TEXTREL) != 0;
    }

    void note(const GElf_Dyn &entry, std::vector<std::uint64_t> &needed) {
        constexpr std::int64_t kAndroidRel = 0x6000000f;
        constexpr std::int64_t kAndroidRela = 0x60000011;
        if (entry.d_tag == kAndroidRel || entry.d_tag == kAndroidRela) {
            throw MalformedElf("has its relocations in Android's packed form, which is not read");
        }
        const std::uint64_t number = entry.d_un.d_val; // NOLINT(cppcoreguidelines-pro-type-union-access): libelf's
        if (std::ranges::find(kNeeded, entry.d_tag) != std::end(kNeeded)) {
            needed.push_back(number);
        }
        auto *const row = std::ranges::find(tags_, canonical(entry.d_tag), &Dynamic::tag);
        if (row != tags_.end()) {
            row->value = number;
        }
    }

    // Android had numbers of its own for packed relative relocations before they were common.
    static std::int64_t canonical(std::int64_t tag) {
        constexpr std::int64_t kAndroidRelr = 0x6fffe000;
        constexpr std::int64_t kAndroidRelrSize = 0x6fffe001;
        return tag == kAndroidRelr ? DT_RELR : tag == kAndroidRelrSize ? DT_RELRSZ : tag;
    }

    [[nodiscard]] std::optional<std::uint64_t> value(std::int64_t tag) const {
        return std::ranges::find(tags_, tag, &Dynamic::tag)->value;
    }

    // A name from the string table.
    [[nodiscard]] std::string text(std::uint64_t offset) const {
        const auto strings = contents_.bytes(value(DT_STRTAB).value_or(0), value(DT_STRSZ).value_or(0));
        if (strings && offset < strings->size()) {
            const auto rest = strings->subspan(static_cast<std::size_t>(offset));
            const auto longest = rest.first(std::min(rest.size(), kLongestName + 1));
            const auto end = std::ranges::find(longest, std::uint8_t{0});
            if (end != longest.end()) {
                return {longest.begin(), end};
            }
        }
        throw MalformedElf("has a name that is too long or outside its table of names");
    }

    void read_symbols() {
        const std::uint64_t count = symbol_count(contents_);
        if (count == 0) {
            return;
        }
        if (count > kMostSymbols) {
            throw MalformedElf(fmt::format("has {} symbols, at most {} are read", count, kMostSymbols));
        }
        const std::size_t len = gelf_fsize(elf_.get(), ELF_T_SYM, 1, EV_CURRENT);
        Elf_Data *const data = array_at(value(DT_SYMTAB).value_or(0), count * len, ELF_T_SYM);
        for (std::size_t i = 0; i < count; ++i) {
            GElf_Sym symbol;
            if (gelf_getsym(data, static_cast<int>(i), &symbol) == nullptr) {
                throw MalformedElf("has symbols that cannot be read");
            }
            // An absolute one does not move with the library; nothing here has such.
            const bool is_defined = symbol.st_shndx != SHN_UNDEF && symbol.st_shndx != SHN_ABS;
            symbol_addresses_.push_back(is_defined ? std::optional(symbol.st_value) : std::nullopt);
            contents_.resolvers += GELF_ST_TYPE(symbol.st_info) == STT_GNU_IFUNC ? 1 : 0;
            const bool may_be_found = symbol.st_shndx != SHN_UNDEF && GELF_ST_BIND(symbol.st_info) != STB_LOCAL;
            contents_.names.push_back(may_be_found ? text(symbol.st_name) : "");
            if (may_be_found && is_code(symbol)) {
                contents_.functions.push_back(contents_.names[i]);
            }
            if (is_defined && is_exported(symbol)) {
                contents_.symbols.push_back({contents_.names[i], symbol.st_value, symbol.st_size, i});
            }
        }
    }

    static bool is_code(const GElf_Sym &symbol) {
        const auto type = GELF_ST_TYPE(symbol.st_info);
        return type == STT_FUNC || type == STT_GNU_IFUNC;
    }

    static bool is_exported(const GElf_Sym &symbol) {
        const auto binding = GELF_ST_BIND(symbol.st_info);
        const auto type = GELF_ST_TYPE(symbol.st_info);
        const auto visibility = GELF_ST_VISIBILITY(symbol.st_other);
        return (binding == STB_GLOBAL || binding == STB_WEAK || binding == STB_GNU_UNIQUE) &&
               (type == STT_NOTYPE || type == STT_OBJECT || type == STT_FUNC || type == STT_COMMON) &&
               (visibility == STV_DEFAULT || visibility == STV_PROTECTED);
    }

    void read_relocations() {
        RelocationReader reader(contents_, machine_, symbol_addresses_);
        if (value(DT_RELR)) {
            read_.push_back({*value(DT_RELR), value(DT_RELRSZ).value_or(0)});
            reader.read_relr(*value(DT_RELR), value(DT_RELRSZ).value_or(0));
        }
        read_entries(reader, {DT_RELA, DT_RELASZ, ELF_T_RELA}, value(DT_RELACOUNT).value_or(0));
        read_entries(reader, {DT_REL, DT_RELSZ, ELF_T_REL}, value(DT_RELCOUNT).value_or(0));
        read_entries(reader, {DT_JMPREL, DT_PLTRELSZ, value(DT_PLTREL) == DT_RELA ? ELF_T_RELA : ELF_T_REL}, 0);
        reader.finish();
    }

    struct RelocationTable {
        std::int64_t address; // tags of the dynamic section
        std::int64_t size;
        Elf_Type type;
    };

    void read_entries(RelocationReader &reader, const RelocationTable &table, std::uint64_t relative) {
        const std::uint64_t count = value(table.size).value_or(0) / gelf_fsize(elf_.get(), table.type, 1, EV_CURRENT);
        if (!value(table.address) || count == 0) {
            return;
        }
        Elf_Data *const data = array_at(*value(table.address), *value(table.size), table.type);
        if (table.type == ELF_T_RELA) {
            reader.read_rela(data, static_cast<std::size_t>(count), relative);
        } else {
            reader.read_rel(data, static_cast<std::size_t>(count), relative);
        }
    }

    ElfContents contents_;
    std::unique_ptr<Elf, int (*)(Elf *)> elf_; // reads contents_.file, so it goes first
    int class_ = ELFCLASSNONE;
    const ElfMachine *machine_ = nullptr;
    std::array<Dynamic, 27> tags_ = {{{DT_STRTAB, {}},
                                      {DT_STRSZ, {}},
                                      {DT_SYMTAB, {}},
                                      {DT_HASH, {}},
                                      {DT_GNU_HASH, {}},
                                      {DT_SONAME, {}},
                                      {DT_TEXTREL, {}},
                                      {DT_FLAGS, {}},
                                      {DT_RELA, {}},
                                      {DT_RELASZ, {}},
                                      {DT_REL, {}},
                                      {DT_RELSZ, {}},
                                      {DT_JMPREL, {}},
                                      {DT_PLTRELSZ, {}},
                                      {DT_PLTREL, {}},
                                      {DT_RELR, {}},
                                      {DT_RELRSZ, {}},
                                      {DT_INIT, {}},
                                      {DT_INIT_ARRAY, {}},
                                      {DT_INIT_ARRAYSZ, {}},
                                      {DT_FINI, {}},
                                      {DT_FINI_ARRAY, {}},
                                      {DT_FINI_ARRAYSZ, {}},
                                      {DT_PREINIT_ARRAY, {}},
                                      {DT_PREINIT_ARRAYSZ, {}},
                                      {DT_RELACOUNT, {}},
                                      {DT_RELCOUNT, {}}}};
    RelocationReader::SymbolAddresses symbol_addresses_; // by index
    std::vector<ElfRange> read_;                         // what a loader reads, too
};

} // namespace

ElfContents parse_elf(SecretBytes file) {
    return ElfParser(std::move(file)).parse();
}

} // namespace wbtables
