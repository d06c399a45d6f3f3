// The keys of all measurements: in clear for OpenSSL, and as the tables that wbtables ships.
#pragma once

#include <cstdint>
#include <string>

#include "quen/tables.h"

namespace bench {

class Keys {
  public:
    // Builds the table library, with encodings, and loads it: natives find it by its name from then on.
    Keys();

    [[nodiscard]] const tb_entry &aes() const { return aes_; }
    [[nodiscard]] const tb_entry &sm4() const { return sm4_; }

    static constexpr std::uint8_t kKey[16] = {0x2b, 0x7e, 0x15, 0x16, 0x28, 0xae, 0xd2, 0xa6,
                                              0xab, 0xf7, 0x15, 0x88, 0x09, 0xcf, 0x4f, 0x3c};
    // Also the first counter block; its first 12 bytes are the IV of GCM.
    static constexpr std::uint8_t kIv[16] = {0xf0, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7,
                                             0xf8, 0xf9, 0xfa, 0xfb, 0xfc, 0xfd, 0xfe, 0xff};
    static constexpr std::size_t kGcmIvLen = 12;

    static constexpr char kWbid[] = "bench";
    static constexpr std::int32_t kVersion = 1;
    static constexpr char kAesId[] = "aes128";
    static constexpr char kSm4Id[] = "sm4";
    static constexpr char kCaller[] = "com.example.bench";
    static constexpr char kSk[] = "the key of the callers' tokens";

  private:
    tb_entry aes_;
    tb_entry sm4_;
};

} // namespace bench
