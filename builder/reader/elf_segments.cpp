#include "builder/reader/elf_segments.h"

#include <algorithm>
#include <bit>

#include <fmt/format.h>

#include "builder/keys/limits.h"

namespace wbtables {
namespace {

constexpr std::size_t kMostSegments = 1024;
// Of the machines that load libraries of these ABIs.
constexpr std::uint64_t kPages[] = {std::uint64_t{4} << 10U, std::uint64_t{16} << 10U, std::uint64_t{64} << 10U};

// Where memory is to hold the file from: what is added to a place in the file.
std::uint64_t shift_of(const ElfSegment &segment) {
    return segment.address - segment.offset;
}

bool share_page(const ElfSegment &first, const ElfSegment &second, std::uint64_t page) {
    const std::uint64_t last_byte = first.address + std::max<std::uint64_t>(first.memory_size, 1) - 1;
    return last_byte / page >= second.address / page;
}

class SegmentReader {
  public:
    SegmentReader(Elf *elf, ElfContents &contents) : elf_(elf), contents_(contents) {}

    ElfRange read() {
        read_headers();
        for (const GElf_Phdr &header : headers_) {
            if (header.p_type == PT_LOAD) {
                add_segment(header);
            }
        }
        const GElf_Phdr *const dynamic = only(PT_DYNAMIC, "PT_DYNAMIC");
        if (contents_.segments.empty() || dynamic == nullptr) {
            throw MalformedElf("has nothing that can be loaded");
        }
        check_pages();
        check_place(*dynamic, "PT_DYNAMIC");
        check_header_table();
        check_sections(*dynamic);
        read_protection();
        // Without the header a loader takes an executable stack for granted.
        const GElf_Phdr *const stack = only(PT_GNU_STACK, "PT_GNU_STACK");
        contents_.executable_stack = stack == nullptr || (stack->p_flags & PF_X) != 0;
        return {dynamic->p_vaddr, dynamic->p_filesz};
    }

  private:
    void read_headers() {
        std::size_t count = 0;
        GElf_Ehdr header;
        // A loader knows no more headers than the ELF header can count.
        bool is_sound = gelf_getehdr(elf_, &header) != nullptr && elf_getphdrnum(elf_, &count) == 0 &&
                        count <= kMostSegments && count == header.e_phnum;
        headers_.resize(is_sound ? count : 0);
        for (std::size_t i = 0; i < headers_.size(); ++i) {
            is_sound = is_sound && gelf_getphdr(elf_, static_cast<int>(i), &headers_[i]) != nullptr;
        }
        if (!is_sound) {
            throw MalformedElf("has a table of segments that cannot be read");
        }
        table_offset_ = header.e_phoff;
    }

    // Null: none of the type.
    const GElf_Phdr *only(std::uint32_t type, const char *name) const {
        const auto count = std::ranges::count(headers_, type, &GElf_Phdr::p_type);
        if (count > 1) {
            throw MalformedElf(fmt::format("has {} {} headers, and loaders differ in which one counts", count, name));
        }
        return count == 0 ? nullptr : &*std::ranges::find(headers_, type, &GElf_Phdr::p_type);
    }

    void add_segment(const GElf_Phdr &header) {
        const std::uint64_t size = contents_.file.size();
        if (header.p_filesz > header.p_memsz || header.p_offset > size || header.p_filesz > size - header.p_offset ||
            header.p_vaddr + header.p_memsz < header.p_vaddr ||
            (header.p_align > 1 &&
             (!std::has_single_bit(header.p_align) || (header.p_vaddr - header.p_offset) % header.p_align != 0))) {
            throw MalformedElf("has a segment that does not fit the file");
        }
        auto &segments = contents_.segments;
        if (!segments.empty() && header.p_vaddr < segments.back().address + segments.back().memory_size) {
            throw MalformedElf("has segments that overlap or are out of order");
        }
        contents_.page_alignment =
            segments.empty() ? header.p_align : std::min(contents_.page_alignment, header.p_align);
        segments.push_back({header.p_vaddr, header.p_memsz, static_cast<std::size_t>(header.p_offset),
                            static_cast<std::size_t>(header.p_filesz), (header.p_flags & PF_W) != 0,
                            (header.p_flags & PF_X) != 0});
    }

    // The largest of Android's pages that the library is said to be for.
    [[nodiscard]] std::uint64_t page() const {
        return std::clamp<std::uint64_t>(contents_.page_alignment, kPages[0], kLargestPage);
    }

    // A loader maps whole pages: where two segments share one, the later one's bytes and permissions stand for both.
    // Larger pages than the library is said to be for matter only if they can be mapped, and then as other bytes.
    void check_pages() const {
        const auto &segments = contents_.segments;
        for (std::size_t i = 0; i < segments.size(); ++i) {
            if (shift_of(segments[i]) % page() != 0) {
                throw MalformedElf("has a segment that stands elsewhere in a page than in the file");
            }
            for (const std::uint64_t size : kPages) {
                const std::uint64_t apart = i == 0 ? 0 : shift_of(segments[i]) - shift_of(segments[i - 1]);
                const bool may_differ = size <= page() || (apart != 0 && apart % size == 0);
                if (i != 0 && may_differ && share_page(segments[i - 1], segments[i], size)) {
                    throw MalformedElf(fmt::format("has segments that share a page of {} bytes", size));
                }
            }
        }
    }

    // One reads at a header's address, another at its place in the file.
    void check_place(const GElf_Phdr &header, const char *name) const {
        const auto bytes = contents_.bytes(header.p_vaddr, std::max<std::uint64_t>(header.p_filesz, 1));
        if (!bytes || static_cast<std::uint64_t>(bytes->data() - contents_.file.data()) != header.p_offset) {
            throw MalformedElf(
                fmt::format("has a {} header whose place in the file is not mapped to its address", name));
        }
    }

    // Android's loader takes this one's word for where the program headers are.
    void check_header_table() const {
        const GElf_Phdr *const header = only(PT_PHDR, "PT_PHDR");
        if (header == nullptr) {
            return;
        }
        check_place(*header, "PT_PHDR");
        if (header->p_offset != table_offset_) {
            throw MalformedElf("has a PT_PHDR header that leads to other program headers than its own");
        }
    }

    // Android's loader looks here for the names of libraries to load first; other loaders need no section headers.
    void check_sections(const GElf_Phdr &dynamic) const {
        std::size_t count = 0;
        bool is_sound = elf_getshdrnum(elf_, &count) == 0;
        for (std::size_t i = 0; is_sound && i < count; ++i) {
            GElf_Shdr header;
            is_sound = gelf_getshdr(elf_getscn(elf_, i), &header) != nullptr &&
                       (header.sh_type != SHT_DYNAMIC || header.sh_offset == dynamic.p_offset);
        }
        if (!is_sound) {
            throw MalformedElf("has section headers that do not lead to the same dynamic section");
        }
    }

    // A page that is protected in part is not, for some loaders. Not every linker thinks of larger pages than 4 KiB.
    void read_protection() {
        const GElf_Phdr *const header = only(PT_GNU_RELRO, "PT_GNU_RELRO");
        if (header == nullptr) {
            return;
        }
        const std::uint64_t end = header->p_vaddr + header->p_memsz;
        if (end < header->p_vaddr) {
            throw MalformedElf("has a segment that does not fit the file");
        }
        const std::uint64_t last = end - end % kPages[0];
        contents_.protection = {header->p_vaddr, last - std::min(last, header->p_vaddr)};
        contents_.protects_whole_pages = end % page() == 0;
    }

    Elf *elf_;
    ElfContents &contents_;
    std::vector<GElf_Phdr> headers_;
    std::uint64_t table_offset_ = 0;
};

} // namespace

ElfRange read_segments(Elf *elf, ElfContents &contents) {
    return SegmentReader(elf, contents).read();
}

} // namespace wbtables
