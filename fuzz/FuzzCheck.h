// FuzzCheck: what the fuzz targets share. A failed property prints what was
// expected and stops, so libFuzzer keeps the input.
#ifndef QEL_FUZZ_CHECK_H
#define QEL_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#define FUZZ_CHECK(cond)                                                              \
    do {                                                                              \
        if (!(cond)) {                                                                \
            fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #cond); \
            abort();                                                                  \
        }                                                                             \
    } while (0)

// The text up to its first NUL, for the APIs that take C strings.
inline std::string nulFree(std::string s)
{
    s.resize(strlen(s.c_str()));
    return s;
}

#endif
