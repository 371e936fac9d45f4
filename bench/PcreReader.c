#define PCRE2_CODE_UNIT_WIDTH 8
#include "bench/PcreReader.h"

#include <pcre2.h>
#include <stdlib.h>

struct pcre_expression {
  pcre2_code* code;
  pcre2_match_data* match;
  pcre2_match_context* context;
  pcre2_jit_stack* stack;
};

struct pcre_expression* pcre_open(const char* expression) {
  int error;
  PCRE2_SIZE place;
  pcre2_code* code = pcre2_compile((PCRE2_SPTR)expression, PCRE2_ZERO_TERMINATED,
                                   PCRE2_UTF | PCRE2_UCP, &error, &place, NULL);
  if (code == NULL) return NULL;
  if (pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) != 0) {
    pcre2_code_free(code);
    return NULL;
  }
  struct pcre_expression* opened = malloc(sizeof *opened);
  opened->code = code;
  opened->match = pcre2_match_data_create_from_pattern(code, NULL);
  opened->context = pcre2_match_context_create(NULL);
  opened->stack = pcre2_jit_stack_create(32 * 1024, 16 * 1024 * 1024, NULL);
  pcre2_jit_stack_assign(opened->context, NULL, opened->stack);
  pcre2_set_match_limit(opened->context, 50 * 1000 * 1000);
  return opened;
}

size_t pcre_replace(const struct pcre_expression* expression, const char* by, const char* text,
                    size_t size, char* out, size_t room) {
  PCRE2_SIZE written = room;
  const int matches = pcre2_substitute(expression->code, (PCRE2_SPTR)text, size, 0,
                                       PCRE2_SUBSTITUTE_GLOBAL | PCRE2_NO_UTF_CHECK,
                                       expression->match, expression->context, (PCRE2_SPTR)by,
                                       PCRE2_ZERO_TERMINATED, (PCRE2_UCHAR*)out, &written);
  return matches < 0 ? (size_t)-1 : written;
}

void pcre_close(struct pcre_expression* expression) {
  pcre2_jit_stack_free(expression->stack);
  pcre2_match_context_free(expression->context);
  pcre2_match_data_free(expression->match);
  pcre2_code_free(expression->code);
  free(expression);
}
