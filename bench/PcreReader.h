#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/// An expression compiled by PCRE2 for its JIT, with Unicode classes; null when it is none.
struct pcre_expression;
struct pcre_expression* pcre_open(const char* expression);

/// Replaces all matches in valid UTF-8. The result is written to `out`, which has room for `room`
/// bytes and more; gives its size, or (size_t)-1 when the search took too long.
size_t pcre_replace(const struct pcre_expression* expression, const char* by, const char* text,
                    size_t size, char* out, size_t room);

void pcre_close(struct pcre_expression* expression);

#ifdef __cplusplus
}
#endif
