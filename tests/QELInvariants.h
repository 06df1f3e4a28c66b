// The string and file invariants as functions, for the tests' own checks.
// QEL_STRING_INVARIANT compares the unsigned alloc with the signed len on
// purpose (a locked string's negative len then fails it); the warning that
// comparison draws wherever the macro is expanded is silenced here, once.
#ifndef QELINVARIANTS_H
#define QELINVARIANTS_H

#include "QELFile.h"
#include "QELString.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-compare"

inline bool stringInvariantHolds(const QELString* s)
{
    return QEL_STRING_INVARIANT(s);
}

inline bool fileInvariantHolds(const QELFile* f)
{
    return QEL_FILE_INVARIANT(f);
}

#pragma GCC diagnostic pop

#endif
