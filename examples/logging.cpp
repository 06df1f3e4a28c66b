// Logging to the terminal, and replaying a child's log in the parent: the
// child logs framed XML records through QEL_STDERR; the parent runs it and
// receives its events in its own log, filtered by the parent's level.
#include <cstring>
#include <iostream>
#include <sys/wait.h>

#include "QELStd.h"

namespace {

int child()
{
    QEL_STDERR.setLogLevel(6);
    QEL_STDERR.log(QELLogEvent(QELString("child starting"), QELString(), 5, QELString()));
    QEL_STDERR.log(QELLogEvent(QELString("disk almost full"), QELString("DISK-90"), 3, QELString()));
    QEL_STDERR.log(QELLogEvent(QELString("cannot open <data> & give up"), QELString("E42"), 2, QELString("main()\nchild()")));
    QEL_STDERR.log(QELLogEvent(QELString("details nobody asked for"), QELString(), 6, QELString()));
    std::cerr << "a plain line on standard error" << std::endl;
    std::cout << "the child's standard output" << std::endl;
    return 3;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--child") == 0)
        return child();

    QELTextLog terminal(std::cout);
    terminal.setLogLevel(4);
    terminal.log(QELLogEvent(QELString("parent logs at STATUS and above"), QELString(), 4, QELString()));
    terminal.log(QELLogEvent(QELString("this DEBUG event is filtered out"), QELString(), 6, QELString()));

    QELString out;
    QELString err;
    QELString argument("--child");
    int status = 0;
    terminal.setLogLevel(3);
    std::cout << "-- events of the child at WARNING and above:" << std::endl;
    launchInSeparateProcess(QELString("/proc/self/exe"), 1, &argument, &status, QELString(), &out, &err, &terminal,
                            nullptr);
    std::cout << "-- the child wrote on standard output: " << out.chars();
    std::cout << "-- it exited with code " << WEXITSTATUS(status) << " and wrote " << err.length()
              << " bytes of framed records on standard error" << std::endl;
    return 0;
}
