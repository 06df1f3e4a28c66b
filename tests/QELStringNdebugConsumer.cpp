// A consumer's translation unit built with NDEBUG (tests/CMakeLists.txt sets
// it for this file alone): it destroys a string left locked. The destructor's
// check is compiled into the library, so this NDEBUG cannot drop it.
#ifndef NDEBUG
#error "QELStringNdebugConsumer.cpp must be compiled with NDEBUG"
#endif

#include "QELString.h"

void destroyLockedStringInNdebugCode()
{
    QELString s("abc");
    s.lock();
}
