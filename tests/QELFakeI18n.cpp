// A stand-in for libQELI18n.so that lacks entry points, for the tests of the
// deserializer's reports on a companion library without its parser. Built
// twice: without any entry point, and with createLogEventParser alone.
#include <stddef.h>

#ifdef QEL_FAKE_WITH_CREATE
extern "C" void* createLogEventParser(void*, void*, void*, void*)
{
    return NULL;
}
#endif

extern "C" int qelFakeI18nMarker()
{
    return 1;
}
