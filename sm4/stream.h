// The six SM4 mode functions as rows.
#pragma once

#include "modes/stream_function.h"

namespace wbkit {

extern const StreamFunction kSm4EncryptCfb;
extern const StreamFunction kSm4DecryptCfb;
extern const StreamFunction kSm4EncryptOfb;
extern const StreamFunction kSm4DecryptOfb;
extern const StreamFunction kSm4EncryptCtr;
extern const StreamFunction kSm4DecryptCtr;

} // namespace wbkit
