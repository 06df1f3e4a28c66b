// A consumer of the installed library: builds a string, appends, hashes.
#include <cstdio>

#include "QELStd.h"

int main()
{
    QELString s("consumer");
    s.append(" of ").append("libQELStd");
    if (s != "consumer of libQELStd" || QELString("ab").hashCode() != 3107) {
        std::fprintf(stderr, "unexpected: %s\n", s.chars());
        return 1;
    }
    std::printf("%s\n", s.chars());
    return 0;
}
