// QELExport: the marks of what libQELStd.so and libQELI18n.so export:
// QEL_API on classes and functions, QEL_DATA on global data.
#ifndef QELEXPORT_H
#define QELEXPORT_H

// Both libraries are built with hidden visibility, so that only what carries
// these marks is seen by other programs. The library binds its calls to its
// own functions at link time, so a program's function of the same name (its
// own `exec`) changes nothing inside the library.
//
// Global data (the `extern` globals and static data members of these
// headers) is protected inside libQELStd.so: the library always uses its
// own objects, whatever a program defines under the same name (its own
// `config`). A program reaches them through the GOT, never through a copy
// made at load time: the weak declaration below makes g++ and clang do so in
// a PIE (the Debian default); a non-PIE program that touches them fails to
// link ("copy relocation against non-copyable protected symbol") instead of
// silently reading a copy the library never updates.
#if defined(__GNUC__) || defined(__clang__)
#define QEL_API __attribute__((visibility("default")))
#if defined(QEL_STD_BUILDING)
#define QEL_DATA __attribute__((visibility("protected")))
#else
#define QEL_DATA __attribute__((visibility("default"), weak))
#endif
#else
#define QEL_API
#define QEL_DATA
#endif

#endif
