#include "builder/object/assembler.h"

#include <iterator>

#include <fmt/format.h>

#include "builder/keys/limits.h"

namespace wbtables {
namespace {

class AssemblerText {
  public:
    // `%object` and not `@object`: for ARM an '@' begins a comment. Quotes: an id may hold '-'.
    void declare_symbol(std::string_view name) { append("    .globl \"{0}\"\n    .type \"{0}\", %object\n", name); }

    template <typename... Args>
    void append(fmt::format_string<Args...> format, Args &&...args) {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Args>(args)...);
    }
    std::string take() { return std::move(text_); }

  private:
    std::string text_;
};

// The data is included as a whole: an assembler may read the file anew for each part of it.
void append_items(AssemblerText &text, const Image &image, std::string_view data_file) {
    text.append("    .balign {}\n.Ldata:\n    .incbin \"{}\"\n", Image::kAlignment, data_file);
    for (const Image::Item &item : image.items()) {
        if (!item.symbol.empty()) {
            text.declare_symbol(item.symbol);
            text.append("    .set \"{0}\", .Ldata + {1}\n    .size \"{0}\", {2}\n", item.symbol, item.offset,
                        item.size);
        }
    }
}

// `.dc.a` is a number as long as an address.
void append_array(AssemblerText &text, const Image &image, const Image::PointerArray &array) {
    text.declare_symbol(array.symbol);
    text.append("    .balign {}\n\"{}\":\n", Image::kAlignment, array.symbol);
    for (const auto &slot : array.slots) {
        text.append("    .dc.a {}\n", slot ? fmt::format(".Ldata + {}", image.items()[*slot].offset) : "0");
    }
    text.append("    .size \"{0}\", . - \"{0}\"\n", array.symbol);
}

} // namespace

std::string assembler_text(const Image &image, std::string_view data_file) {
    AssemblerText text;
    text.append("    .section .rodata,\"a\",%progbits\n");
    append_items(text, image, data_file);
    // Read-only once the loader has put the addresses in.
    text.append("    .section .data.rel.ro,\"aw\",%progbits\n");
    for (const Image::PointerArray &array : image.arrays()) {
        append_array(text, image, array);
    }
    // What the loader protects ends on a page of the largest size, and is mapped up to there: a loader refuses a
    // library whose protected part reaches beyond its memory, and not every linker fills it up. It takes no room in the
    // file.
    text.append("    .section .bss.rel.ro,\"aw\",%nobits\n    .balign {0}\n    .skip {0}\n", kLargestPage);
    text.append("    .section .note.GNU-stack,\"\",%progbits\n");
    return text.take();
}

} // namespace wbtables
