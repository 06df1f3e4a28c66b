// QELAssert: the library's one assertion mechanism, internal to its sources.
//
// A failed check calls the C library's reporter (__assert_fail) with explicit
// values: the bare source file name given once per file by QEL_SOURCE_FILE,
// the line, the operation's signature given once per function body by
// QEL_OPERATION, and the expression text after macro expansion (for example
// "((this)->len==0)" and "__null"). The report is therefore the same
// whichever compiler built the library. QEL_ASSERT_AT names a fixed line
// where the report's line must not move with the source.
// Use QEL_ASSERT only in a body that states its QEL_OPERATION, never in a
// lambda or a helper, so that the report names the operation.
// NDEBUG (the build option QEL_ASSERTIONS=OFF) makes all four expand to
// nothing.
#ifndef QELASSERT_H
#define QELASSERT_H

#include <assert.h>

#ifdef NDEBUG

#define QEL_SOURCE_FILE(name) static_assert(true, "")
#define QEL_OPERATION(signature) static_assert(true, "")
#define QEL_ASSERT_AT(e, line)                                                                                         \
    do {                                                                                                               \
    } while (0)

#else

#define QEL_SOURCE_FILE(name) static constexpr const char qelSourceFile[] = name
#define QEL_OPERATION(signature) static constexpr const char qelOperation[] = signature
// The argument goes through one more macro before it is stringized, so that
// the report shows it expanded. Some invariants compare a signed with an
// unsigned field on purpose (QEL_STRING_INVARIANT's alloc and len); the
// warning is silenced for the check alone.
#define QEL_ASSERT_AT(e, line) QEL_ASSERT_EXPANDED(e, line)
#define QEL_ASSERT_EXPANDED(e, line)                                                                                   \
    do {                                                                                                               \
        _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wsign-compare\"") if (!(e))                  \
            __assert_fail(#e, qelSourceFile, line, qelOperation);                                                      \
        _Pragma("GCC diagnostic pop")                                                                                  \
    } while (0)

#endif

#define QEL_ASSERT(e) QEL_ASSERT_AT(e, __LINE__)

#endif
