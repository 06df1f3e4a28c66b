// QELCompanionLibrary: opening the companion library "libQELI18n.so", which
// holds the log record parser and the translation loader. Internal to the
// library.
#ifndef QELCOMPANIONLIBRARY_H
#define QELCOMPANIONLIBRARY_H

#include <dlfcn.h>
#include <string.h>

#include "QELI18nEntryPoints.h"
#include "QELString.h"

// The companion library's handle, or null when it cannot be opened. It is
// looked up by its name first (LD_LIBRARY_PATH, then this library's RUNPATH
// $ORIGIN, then the system), then by the path beside this library's own
// file: a dlopen interceptor (a sanitizer runtime) hides this library as
// the caller, so its RUNPATH is not searched. Once opened it stays loaded,
// and later calls return the same handle.
inline void* qelOpenCompanionLibrary()
{
    static void* library = NULL;
    if (library != NULL)
        return library;
    library = dlopen("libQELI18n.so", RTLD_LAZY | RTLD_GLOBAL);
    if (library != NULL)
        return library;
    Dl_info self;
    if (dladdr(reinterpret_cast<void*>(&qelOpenCompanionLibrary), &self) == 0 || self.dli_fname == NULL)
        return NULL;
    const char* slash = strrchr(self.dli_fname, '/');
    if (slash == NULL)
        return NULL;
    QELString beside(self.dli_fname, static_cast<int>(slash - self.dli_fname) + 1);
    beside.append("libQELI18n.so");
    library = dlopen(beside.p, RTLD_LAZY | RTLD_GLOBAL);
    return library;
}

#endif
