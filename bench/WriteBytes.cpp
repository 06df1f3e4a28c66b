// Helper of QELProcessBench: writes as many 'a' bytes as its argument says
// to standard output, 1 MiB per write.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

int main(int argc, char** argv)
{
    static char block[1 << 20];
    memset(block, 'a', sizeof block);
    size_t left = argc > 1 ? strtoull(argv[1], nullptr, 10) : 0;
    while (left > 0) {
        size_t n = left < sizeof block ? left : sizeof block;
        ssize_t w = write(1, block, n);
        if (w <= 0)
            return 1;
        left -= static_cast<size_t>(w);
    }
    return 0;
}
