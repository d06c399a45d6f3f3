// The linker leads here what the library asks for: memory, the dynamic loader, messages that protobuf-c unpacks.

#include <dlfcn.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <utility>

#include <protobuf-c/protobuf-c.h>

#include "support/faults.h"
#include "support/watched_heap.h"

namespace {

// Blocks one behind the other, which stay as they were when they are freed.
class Blocks {
  public:
    void lie_in(std::span<uint8_t> memory) {
        memory_ = memory;
        used_ = 0;
    }
    [[nodiscard]] bool has(const void *block) const {
        const std::less<const void *> before;
        return !before(block, memory_.data()) && before(block, memory_.data() + memory_.size());
    }
    void *take(size_t size) {
        const size_t start = std::exchange(used_, used_ + (size + 15) / 16 * 16);
        return used_ <= memory_.size() ? memory_.data() + start : nullptr;
    }

  private:
    std::span<uint8_t> memory_;
    size_t used_ = 0;
};

bool watching = false;
Blocks watched;
// Those of the test itself, so that their addresses are the same every time.
Blocks beside;

} // namespace

test::WatchedHeap::WatchedHeap(std::span<uint8_t> memory) {
    alignas(16) static uint8_t room[1 << 18];
    watched.lie_in(memory);
    beside.lie_in(room);
    watching = true;
}

test::WatchedHeap::~WatchedHeap() {
    watching = false;
}

extern "C" {

void *__real_malloc(size_t size);
void __real_free(void *block);
void *__real_dlopen(const char *file, int mode);
void *__real_dlsym(void *handle, const char *symbol);
ProtobufCMessage *__real_protobuf_c_message_unpack(const ProtobufCMessageDescriptor *type,
                                                   ProtobufCAllocator *allocator, size_t len, const uint8_t *data);
void __real_protobuf_c_message_free_unpacked(ProtobufCMessage *message, ProtobufCAllocator *allocator);

static void *counted_malloc(size_t size) {
    void *block = test::must_fail("malloc") ? nullptr : __real_malloc(size);
    test::block_came(block);
    return block;
}

static void counted_free(void *block) {
    test::block_went(block);
    __real_free(block);
}

void *__wrap_malloc(size_t size) {
    return watching ? watched.take(size) : counted_malloc(size);
}

void __wrap_free(void *block) {
    if (!watched.has(block)) {
        counted_free(block);
    }
}

// The loader has a text for every failure: another file's.
void *__wrap_dlopen(const char *file, int mode) {
    return __real_dlopen(test::must_fail(file) ? "no.such.library" : file, mode);
}

void *__wrap_dlsym(void *handle, const char *symbol) {
    return test::must_fail(symbol) ? nullptr : __real_dlsym(handle, symbol);
}

// protobuf-c may be a library of its own, whose memory the linker does not lead here: it takes an allocator instead.
// Its blocks hold what travels openly, so they are not watched.
static ProtobufCAllocator own_memory{[](void *, size_t size) { return counted_malloc(size); },
                                     [](void *, void *block) { counted_free(block); }, nullptr};

ProtobufCMessage *__wrap_protobuf_c_message_unpack(const ProtobufCMessageDescriptor *type,
                                                   ProtobufCAllocator *allocator, size_t len, const uint8_t *data) {
    return __real_protobuf_c_message_unpack(type, allocator == nullptr ? &own_memory : allocator, len, data);
}

void __wrap_protobuf_c_message_free_unpacked(ProtobufCMessage *message, ProtobufCAllocator *allocator) {
    __real_protobuf_c_message_free_unpacked(message, allocator == nullptr ? &own_memory : allocator);
}
}

void *operator new(size_t size) {
    return watching ? beside.take(size) : __real_malloc(size);
}

void operator delete(void *block) noexcept {
    if (!beside.has(block)) {
        __real_free(block);
    }
}

void operator delete(void *block, size_t /*size*/) noexcept {
    operator delete(block);
}
