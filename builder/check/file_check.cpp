#include "builder/check/file_check.h"

#include <algorithm>

#include <fmt/format.h>

#include "builder/error.h"
#include "builder/keys/key_set.h"
#include "builder/keys/limits.h"
#include "builder/reader/table_library_file.h"

namespace wbtables {
namespace {

class FileCheck {
  public:
    FileCheck(const std::filesystem::path &library, const Image &image)
        : name_(library.filename().string()), library_(library), elf_(library_.elf()), image_(image) {}

    void run(std::string_view abi) const {
        require(elf_.abi() == abi, fmt::format("it is for {}, not for {}", elf_.abi(), abi));
        check_form();
        std::size_t exported = image_.arrays().size();
        for (const Image::Item &item : image_.items()) {
            if (!item.symbol.empty()) {
                check_item(item);
                ++exported;
            }
        }
        for (const Image::PointerArray &array : image_.arrays()) {
            check_array(array);
        }
        require(elf_.symbols().size() == exported, "it exports more than was made");
        require(library_.problems().empty(), library_.problems().empty() ? "" : library_.problems().front());
    }

  private:
    void check_form() const {
        require(elf_.soname() == name_, "its SONAME is not its file name");
        require(elf_.page_alignment() >= kLargestPage, "its segments are not aligned to 16 KiB");
        require(elf_.needed().empty() && !elf_.has_text_relocations(), "it needs libraries or text relocations");
    }

    void check_item(const Image::Item &item) const {
        const auto address = address_of(item.symbol, item.size);
        require(address && holds(*address, item),
                fmt::format("symbol {} is not what was made", in_quotes(item.symbol)));
    }

    void check_array(const Image::PointerArray &array) const {
        const std::size_t len = elf_.pointer_len();
        const auto address = address_of(array.symbol, array.slots.size() * len);
        require(address.has_value(), fmt::format("symbol {} is not what was made", array.symbol));
        for (std::size_t i = 0; i < array.slots.size(); ++i) {
            const auto pointer = elf_.pointer(*address + i * len);
            const bool is_right =
                pointer && (array.slots[i] ? holds(*pointer, image_.items()[*array.slots[i]]) : *pointer == 0);
            require(is_right, fmt::format("slot {} of {} is not what was made", i, array.symbol));
        }
    }

    [[nodiscard]] std::optional<std::uint64_t> address_of(const std::string &symbol, std::size_t size) const {
        const ElfSymbol *const found = elf_.find(symbol);
        const bool is_right = found != nullptr && found->size == size && found->address % Image::kAlignment == 0;
        return is_right ? std::optional(found->address) : std::nullopt;
    }

    [[nodiscard]] bool holds(std::uint64_t address, const Image::Item &item) const {
        const auto bytes = elf_.bytes(address, item.size);
        return bytes && std::ranges::equal(*bytes, image_.bytes_of(item)) && !elf_.is_relocated(address, item.size);
    }

    void require(bool holds, std::string_view message) const {
        if (!holds) {
            throw Error(Failure::library, fmt::format("{}: check failed: {}: {}", name_, elf_.abi(), message));
        }
    }

    std::string name_;
    TableLibraryFile library_;
    const ElfFile &elf_;
    const Image &image_;
};

} // namespace

void check_library_file(const std::filesystem::path &library, std::string_view abi, const Image &image) {
    FileCheck(library, image).run(abi);
}

} // namespace wbtables
