// The version of the library as built; see QELVersion.h.
#include "QELVersion.h"

const char* qelStdVersion()
{
    return QEL_STD_VERSION;
}
