// The child of QELChildProcessBench's latency benchmark: N ERROR records on
// QEL_STDERR, a millisecond apart, each with its CLOCK_MONOTONIC send time in
// nanoseconds as the message.
#include <stdlib.h>
#include <time.h>

#include <string>

#include "QELStd.h"

int main(int argc, char** argv)
{
    int count = argc > 1 ? atoi(argv[1]) : 100;
    for (int i = 0; i < count; i++) {
        struct timespec pause = {0, 1000000};
        nanosleep(&pause, NULL);
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        long long ns = static_cast<long long>(now.tv_sec) * 1000000000 + now.tv_nsec;
        QEL_STDERR.log(QELLogEvent(QELString(std::to_string(ns).c_str()), QELString("LAT"), 2, QELString()));
    }
    return 0;
}
