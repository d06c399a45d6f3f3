// How the functions of a kernel are compiled.
//
// A file whose functions need an instruction set defines WBKIT_TARGET before it includes this: what the attribute
// `target` takes. Such functions must not be shared with other files, which may be compiled for less.
#pragma once

#ifdef WBKIT_TARGET
#define WBKIT_FOR_TARGET __attribute__((target(WBKIT_TARGET)))
#else
#define WBKIT_FOR_TARGET
#endif
#define WBKIT_INLINE WBKIT_FOR_TARGET __attribute__((always_inline)) inline
#define WBKIT_OUTLINE WBKIT_FOR_TARGET __attribute__((noinline))
