#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* To be called once, before everything else. */
void reference_start(void);

/* The size of the text of a message as GMime finds it: its first text/plain part, else its first
   text/html part read by libxml2. */
size_t reference_read(const char* bytes, size_t size);

#ifdef __cplusplus
}
#endif
