// The six AES mode functions as rows.
#pragma once

#include "modes/stream_function.h"

namespace wbkit {

extern const StreamFunction kAesEncryptCfb;
extern const StreamFunction kAesDecryptCfb;
extern const StreamFunction kAesEncryptOfb;
extern const StreamFunction kAesDecryptOfb;
extern const StreamFunction kAesEncryptCtr;
extern const StreamFunction kAesDecryptCtr;

} // namespace wbkit
