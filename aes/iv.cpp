#include "quen/aes.h"

const uint8_t IV[16] = {};
