/* The header compiles first and alone as C99, whose compile-time assertion is an array size. */
#include <stddef.h>

#include "Lexo.h"

#define ABI_NAME_AT(line) abi_check_at_line_##line
#define ABI_NAME(line) ABI_NAME_AT(line)
#define ABI_CHECK(condition) extern char ABI_NAME(__LINE__)[(condition) ? 1 : -1]
#include "LexoAbi.inc"
