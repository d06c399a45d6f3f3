// CMS messages through the exported packer.
#pragma once

#include <cstdint>

#include "support/bytes.h"

namespace test {

struct CmsFields {
    int32_t cipheralg = 0;
    uint32_t padding = 0;
    Bytes key = {};
    Bytes aad = {};
    Bytes tag = {};
    Bytes iv = {};
    Bytes content = {};

    bool operator==(const CmsFields &) const = default;
};

struct CmsPacked {
    int32_t status;
    Bytes message;
};

// With a capacity that suffices, unless one is given. A refusal must leave everything untouched.
CmsPacked pack_cms(const CmsFields &fields, int32_t capacity = 1 << 20);

struct CmsUnpacked {
    int32_t status;
    CmsFields fields;
};

CmsUnpacked unpack_cms(const Bytes &message);

} // namespace test
