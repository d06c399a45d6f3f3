#include "builder/object/assembler.h"

#include <iterator>

#include <fmt/format.h>

namespace wbtables {
namespace {

// Tables start on a cache line.
constexpr std::size_t kAlignment = 64;

class AssemblerText {
  public:
    // `%object` and not `@object`: for ARM an '@' begins a comment. Quotes: an id may hold '-'.
    void open_symbol(std::string_view name) {
        append("    .globl \"{0}\"\n    .type \"{0}\", %object\n\"{0}\":\n", name);
    }
    void close_symbol(std::string_view name, std::size_t size) { append("    .size \"{}\", {}\n", name, size); }

    template <typename... Args>
    void append(fmt::format_string<Args...> format, Args &&...args) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Args>(args)...);
    }
    std::string take() { return std::move(text_); }

  private:
    std::string text_;
};

void append_item(AssemblerText &text, const Image::Item &item, std::size_t index, std::string_view data_file) {
    text.append("    .balign {}\n.Litem{}:\n", kAlignment, index);
    if (!item.symbol.empty()) {
        text.open_symbol(item.symbol);
    }
    text.append("    .incbin \"{}\", {}, {}\n", data_file, item.offset, item.size);
    if (!item.symbol.empty()) {
        text.close_symbol(item.symbol, item.size);
    }
}

void append_array(AssemblerText &text, const Image::PointerArray &array, std::size_t pointer_len) {
    text.append("    .balign {}\n", kAlignment);
    text.open_symbol(array.symbol);
    for (const auto &slot : array.slots) {
        text.append("    .{}byte ", pointer_len);
        if (slot) {
            text.append(".Litem{}\n", *slot);
        } else {
            text.append("0\n");
        }
    }
    text.close_symbol(array.symbol, array.slots.size() * pointer_len);
}

} // namespace

std::string assembler_text(const Image &image, std::string_view data_file, std::size_t pointer_len) {
    AssemblerText text;
    text.append("    .section .rodata,\"a\",%progbits\n");
    for (std::size_t i = 0; i < image.items().size(); ++i) {
        append_item(text, image.items()[i], i, data_file);
    }
    // Read-only once the loader has put the addresses in.
    text.append("    .section .data.rel.ro,\"aw\",%progbits\n");
    for (const Image::PointerArray &array : image.arrays()) {
        append_array(text, array, pointer_len);
    }
    text.append("    .section .note.GNU-stack,\"\",%progbits\n");
    return text.take();
}

} // namespace wbtables
