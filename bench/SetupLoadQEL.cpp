// Helper of QELSetupBench: a program linked to the library that asks one
// configuration accessor (the setup file was read when the library loaded)
// and reports the answer's arrival with one byte on standard output.
#include <unistd.h>

#include "QELStd.h"

int main()
{
    QELString logPath = getQELLogPath();
    char done = logPath.isEmpty() ? '0' : '1';
    return write(1, &done, 1) == 1 ? 0 : 1;
}
