/* quen-wbkit: white-box AES and SM4. The C surface of libquen-wbkit.so.
 *
 * These conventions hold for every function of every header; a function's own comment states its exceptions.
 *
 * Lengths and counts are bytes. A block is 16 bytes for both ciphers.
 *
 * Pointers are not null unless said. `dir` is always nullable: null leaves the search for a table library to the
 * dynamic loader. Texts (`dir`, `wbid`, `keyid`, `ak`, `hex`) are NUL-terminated.
 *
 * Key coordinates: a key is named by (`dir`, `wbid`, `keyid`, `version`): the table library
 * libwb_tables_<wbid>_<version>.so, in `dir` if one is given, and the key id inside it. `version` is signed.
 *
 * Ownership: nobody takes any. Inputs and outputs belong to the caller; scratch memory is freed before a function
 * returns; pointers into a table library stay valid for the life of the process, because table libraries are never
 * closed.
 *
 * Results: functions that can fail return a status of `enum wbkit_status`, 0 for success, as a plain int32_t. Most
 * failures also leave their reason in the Android log (priority ERROR, tag "VORLIX-WB"; on a machine without Android on
 * standard error); bad arguments are often refused without a line. Callers test the status, never the text. Unless
 * said, a failing function leaves its outputs untouched.
 *
 * Threads: no function keeps state, but for the C library's rand(), which ISO 10126 padding draws from and nobody seeds
 * here. Any thread may call any function at any time, each with its own buffers.
 *
 * quen/cms.h needs protobuf-c's header. The Java boundary stands in quen/natives.h, which needs jni.h and is not
 * included here. */
#ifndef QUEN_WBKIT_H
#define QUEN_WBKIT_H

#include "quen/status.h"

#include "quen/tables.h"

#include "quen/aes.h"

#include "quen/sm4.h"

#include "quen/padding.h"

#include "quen/cms.h"

#include "quen/hash.h"

#include "quen/diagnostics.h"

#endif
