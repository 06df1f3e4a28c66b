// The program's own global `config` and its own functions `exec` and
// `getQELLogLevel`, of the names the library exports: the library must keep
// using its own.
#include "QELProcess.h"

// Deliberately not the library's type: bytes the library must never write.
unsigned char config[4096];
static const unsigned char configPattern = 0x5a;
static struct FillConfig {
    FillConfig() { for (unsigned char& byte : config) byte = configPattern; }
} fillConfig;

bool ownConfigUntouched()
{
    for (unsigned char byte : config)
        if (byte != configPattern)
            return false;
    return true;
}

int ownFunctionCalls = 0;

// The library's launchInSeparateProcess runs children through its own exec;
// this one only counts and fails.
bool exec(QELString, int, QELString*, int*, QELString, QELString*, QELString*, QELLog*, const char*, bool)
{
    ++ownFunctionCalls;
    return false;
}

// Every new log asks the library's getQELLogLevel for its level (1 to 6), from
// another source file of the library than the one that defines it; this one
// gives an invalid level.
int getQELLogLevel()
{
    ++ownFunctionCalls;
    return 0;
}
