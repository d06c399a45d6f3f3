// Ciphertexts that travel in a CMSEncryptedData with what their decryption takes. "Envelope" is our word for it: the
// CMSEnvelopedData of the schema, which has recipients, is another message.
#pragma once

#include <stdint.h>

#include "aes/gcm.h"
#include "cms/pack.h"
#include "modes/stream_function.h"

namespace wbkit {

// A stream mode in both directions, and the number by which a message names it.
struct Envelope {
    const StreamFunction &encrypt;
    const StreamFunction &decrypt;
    int32_t (*cipheralg)(KeySource &key);
};

extern const Envelope kAesCfbEnvelope;
extern const Envelope kAesOfbEnvelope;
extern const Envelope kAesCtrEnvelope;
extern const Envelope kSm4CfbEnvelope;
extern const Envelope kSm4OfbEnvelope;
extern const Envelope kSm4CtrEnvelope;

// A message to write: `*len` is the capacity of `data` beforehand and the packed size afterwards.
struct PackedOutput {
    uint8_t *data;
    int32_t *len;
};

// A message to read.
struct PackedInput {
    const uint8_t *data;
    int32_t len;
};

// A text to encrypt, as quen/cms.h states its arguments. `carried` goes into the message's `key` field.
struct EnvelopeText {
    const uint8_t *iv;
    const uint8_t *in;
    uint64_t in_len;
    int32_t padding;
    FieldBytes carried;
};

struct GcmEnvelopeText {
    const uint8_t *in;
    uint64_t in_len;
    GcmContext context;
    uint8_t *tag;
    uint64_t tag_len;
    FieldBytes carried;
};

// These return the status that quen/cms.h states.
int32_t encrypt_envelope(const Envelope &envelope, KeySource &key, const EnvelopeText &text, const PackedOutput &out);
int32_t encrypt_gcm_envelope(KeySource &key, const GcmEnvelopeText &text, const PackedOutput &out);
// `out` may be the message: it is not read any more when the text is written.
int32_t decrypt_envelope(const Envelope &envelope, KeySource &key, const PackedInput &packed, uint8_t *out,
                         int64_t *out_len);
int32_t decrypt_gcm_envelope(KeySource &key, const PackedInput &packed, uint8_t *out, int64_t *out_len);

} // namespace wbkit
