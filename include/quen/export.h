/* Marks of the C surface: linkage and visibility. */
#ifndef QUEN_EXPORT_H
#define QUEN_EXPORT_H

/* So that a file which includes this header alone is not empty, which C forbids. */
#include <stdint.h>

/* The library is built with hidden visibility; what carries this mark is exported. */
#define WBKIT_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define WBKIT_BEGIN_DECLS extern "C" {
#define WBKIT_END_DECLS }
#else
#define WBKIT_BEGIN_DECLS
#define WBKIT_END_DECLS
#endif

#endif
