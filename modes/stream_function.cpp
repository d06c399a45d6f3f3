#include "modes/stream_function.h"

#include "quen/status.h"

namespace wbkit {

int32_t run_stream(const StreamFunction &function, KeySource &key, const Message &message) {
    if (!function.accepts(message)) {
        return WBKIT_BAD_ARGUMENTS;
    }
    if (!load_key(function.family, key, function.op)) {
        return WBKIT_NO_TABLES;
    }
    return function.direction(cipher_of(function.family, key.fetch()), function.mode, message, function.no_memory);
}

} // namespace wbkit
