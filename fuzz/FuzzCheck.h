// FuzzCheck: the property check shared by the fuzz targets. A failed
// property prints what was expected and stops, so libFuzzer keeps the input.
#ifndef QEL_FUZZ_CHECK_H
#define QEL_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(cond)                                                              \
    do {                                                                              \
        if (!(cond)) {                                                                \
            fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #cond); \
            abort();                                                                  \
        }                                                                             \
    } while (0)

#endif
