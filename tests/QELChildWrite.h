// For the test suites' child programs: writing everything or ending.
#ifndef QELCHILDWRITE_H
#define QELCHILDWRITE_H

#include <stddef.h>
#include <unistd.h>

// Writes the n bytes at p to fd, however the writes are cut; a failed write
// ends the child with code 90, which the tests report.
inline void writeAll(int fd, const char* p, size_t n)
{
    while (n > 0) {
        ssize_t w = write(fd, p, n);
        if (w <= 0)
            _exit(90);
        p += w;
        n -= static_cast<size_t>(w);
    }
}

#endif
