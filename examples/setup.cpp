// Reading and changing a setup file, and asking the library where things are.
#include <cstdio>

#include "QELStd.h"

int main(int argc, char** argv)
{
    std::printf("installation:  %s\n", getQELInstallationPath().chars());
    std::printf("configuration: %s\n", getQELConfigurationPath().chars());
    std::printf("log level:     %d\n", getQELLogLevel());
    std::printf("temp files:    %s\n", getQELTempPath().chars());
    if (argc < 2) {
        std::printf("give a setup file to read and change a value in it\n");
        return 0;
    }
    QELSetup setup{ QELString(argv[1]) };
    if (!setup.read()) {
        std::fprintf(stderr, "%s cannot be read\n", argv[1]);
        return 1;
    }
    QELString key("Log/LogLevel");
    std::printf("%s = [%s]\n", key.chars(), setup.getValue(key).chars());
    if (setup.setValue(key, QELString("4")) && setup.write())
        std::printf("%s is now 4\n", key.chars());
    else
        std::printf("%s has no element %s (elements are never created)\n", argv[1], key.chars());
    return 0;
}
