// Which parts of a grammar's network lie on a way from its beginning to its end.
#pragma once

#include "Resource.h"

namespace orvx {

// Takes out all others: states that nothing leads to, or from which nothing leads on, as behind
// what cannot be said. An engine would keep some kilobytes for each.
void DropDeadEnds(GrammarNetwork* network);

}  // namespace orvx
