// QELAssert: the one assertion wrapper through which every invariant is checked.
#ifndef QELASSERT_H
#define QELASSERT_H

#include <cassert>

// Forwards to the standard assert without stringizing, so that the argument
// is macro-expanded first: a failed check reports the expanded expression
// (for example "((this)->len==0)" and "__null"), the source file, the line
// and the enclosing operation's full signature as g++ prints it.
// Use it directly inside each operation, never in a helper or a lambda, or
// the report would name the helper instead of the operation.
#define QEL_ASSERT(e) assert(e)

#endif
