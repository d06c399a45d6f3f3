#include "builder/reader/elf_file.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include "builder/error.h"
#include "builder/files/file_descriptor.h"
#include "builder/files/read_all.h"
#include "builder/keys/key_set.h"
#include "builder/reader/elf_hash_tables.h"
#include "builder/reader/elf_parser.h"

namespace wbtables {
namespace {

// The largest table library has under 3 MB.
constexpr std::size_t kLargestFile = std::size_t{256} << 20U;

SecretBytes read_file(const std::filesystem::path &path) {
    // Opening a pipe would wait for a writer.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.is_open() || ::fstat(file.get(), &status) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    if (!S_ISREG(status.st_mode)) {
        throw MalformedElf("is no file");
    }
    if (static_cast<std::uint64_t>(status.st_size) > kLargestFile) {
        throw MalformedElf(fmt::format("has {} bytes, at most {} are read", status.st_size, kLargestFile));
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    auto bytes = read_all(file.get(), size);
    if (!bytes || bytes->size() != size) {
        throw MalformedElf("was changed while it was read");
    }
    return *std::move(bytes);
}

ElfContents read_contents(const std::filesystem::path &path) {
    const std::string name = without_controls(path.string());
    try {
        return parse_elf(read_file(path));
    } catch (const MalformedElf &error) {
        throw Error(Failure::library, fmt::format("{}: {}", name, error.what()));
    } catch (const std::system_error &error) {
        throw Error(Failure::library, fmt::format("{}: cannot be read: {}", name, error.code().message()));
    }
}

} // namespace

ElfFile::ElfFile(const std::filesystem::path &path) : contents_(read_contents(path)) {}

const ElfFile::Symbol *ElfFile::find(std::string_view name) const {
    const auto found = std::ranges::lower_bound(contents_.symbols, name, {}, &Symbol::name);
    return found != contents_.symbols.end() && found->name == name ? &*found : nullptr;
}

std::optional<std::uint64_t> ElfFile::pointer(std::uint64_t address) const {
    const std::vector<ElfRelocation> &all = contents_.relocations;
    const std::size_t len = pointer_len();
    const auto plain = contents_.number(address, len);
    const auto here = std::ranges::lower_bound(all, address, {}, &ElfRelocation::address);
    if (here == all.end() || here->address != address) {
        // A number that nobody relocates points nowhere, unless it is null.
        return plain == 0 && !is_relocated(address, len) ? plain : std::nullopt;
    }
    const auto next = std::next(here);
    const bool is_alone = (here == all.begin() || address - std::prev(here)->address >= len) &&
                          (next == all.end() || next->address - address >= len);
    return plain && is_alone ? here->target : std::nullopt;
}

bool ElfFile::is_relocated(std::uint64_t address, std::uint64_t size) const {
    // A relocation may begin before and reach in.
    const std::uint64_t first = address - std::min<std::uint64_t>(address, pointer_len() - 1);
    const auto found = std::ranges::lower_bound(contents_.relocations, first, {}, &ElfRelocation::address);
    return found != contents_.relocations.end() && (found->address < address || found->address - address < size);
}

bool ElfFile::is_found_alike(std::string_view name) const {
    const Symbol *const symbol = find(name);
    return std::ranges::all_of(look_up(contents_, name), [symbol](const auto &found) {
        return symbol == nullptr ? !found : found && *found == symbol->index;
    });
}

std::size_t ElfFile::executable_segments() const {
    return static_cast<std::size_t>(std::ranges::count(contents_.segments, true, &ElfSegment::executable));
}

std::string_view host_abi() {
#if defined(__aarch64__)
    return "arm64-v8a";
#elif defined(__arm__)
    return "armeabi-v7a";
#elif defined(__x86_64__)
    return "x86_64";
#elif defined(__i386__)
    return "x86";
#else
    return "";
#endif
}

} // namespace wbtables
