/* The header compiles first and alone as C11. */
#include <stddef.h>

#include "Lexo.h"

#define ABI_CHECK(condition) _Static_assert(condition, #condition)
#include "LexoAbi.inc"
