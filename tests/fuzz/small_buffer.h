// The transport's buffer with a small size: a text that never ends is then soon at the end of the
// buffer. The compiler includes this before every other line of a fuzzing build.
#ifndef FUZZ_SMALL_BUFFER_H
#define FUZZ_SMALL_BUFFER_H

#include "netconf_public.h"

#undef BUF_SIZE_MAX
#define BUF_SIZE_MAX 65536 // bytes

#endif
