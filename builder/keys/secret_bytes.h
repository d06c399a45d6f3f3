// Bytes that are wiped before their memory is given back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include <openssl/crypto.h>

namespace wbtables {

template <typename T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <typename U>
    explicit WipingAllocator(const WipingAllocator<U> & /*other*/) {}
    T *allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T *memory, std::size_t count) {
        OPENSSL_cleanse(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    friend bool operator==(const WipingAllocator & /*a*/, const WipingAllocator & /*b*/) { return true; }
};

// A vector keeps its bytes on the heap whatever their number, so none stay behind in a moved-from object either.
using SecretBytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

inline std::string_view as_text(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

} // namespace wbtables
