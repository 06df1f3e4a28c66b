// A consumer of the library as another product's program would be: built
// against the build tree, an installed home, the .deb or as a subproject.
// It checks that the library works, that its version is the headers' one,
// and that the program's own `config`, `exec` and `getQELLogLevel`
// (ownSymbols.cpp) change nothing inside the library. `consumer --child` is the child it runs.
#include <cstdio>
#include <cstring>

#include "QELStd.h"

// From ownSymbols.cpp: the program's own global and functions of the names
// the library also exports.
bool ownConfigUntouched();
extern int ownFunctionCalls;
// From macros.cpp: the program's own FAR, BOOL, CALLBACK and MULTIPLY.
bool ownMacrosStand();

static int fail(const char* what)
{
    std::fprintf(stderr, "consumer: %s\n", what);
    return 1;
}

// The child: one framed log record on standard error through the library's
// standard-error sink, then a plain line on standard output.
static int runChild()
{
    QEL_STDERR.log(QELLogEvent(QELString("record from the child"), QELString("C1"), 3, QELString()));
    std::printf("child done\n");
    return 0;
}

// Runs this program as a child: its record must arrive in `log` parsed by
// libQELI18n.so, which therefore has to be built beside libQELStd.so.
static bool childRecordArrives(const char* self)
{
    QELString argv[1] = {QELString("--child")};
    QELString out, err;
    QELBufferedTextLog log;
    int status = -1;
    bool started = launchInSeparateProcess(QELString(self), 1, argv, &status, QELString(), &out, &err, &log, NULL);
    return started && status == 0 && std::strstr(out.chars(), "child done") != NULL
        && std::strstr(log.getBuffer().chars(), "record from the child") != NULL;
}

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--child") == 0)
            return runChild();
    QELString s("consumer");
    s.append(" of ").append("libQELStd");
    if (s != "consumer of libQELStd" || QELString("ab").hashCode() != 3107)
        return fail("string operations");
    if (std::strcmp(qelStdVersion(), QEL_STD_VERSION) != 0)
        return fail("the loaded library's version is not the headers' version");
    if (emptyString.length() != 0 || QEL_STDERR.logLevel < 1 || getQELConfigurationPath().isEmpty())
        return fail("the library's globals are not the ones it initialised");
    if (!ownMacrosStand())
        return fail("the program's own macros were redefined");
    if (!ownConfigUntouched())
        return fail("the library wrote into the program's own `config`");
    if (!childRecordArrives(argv[0]))
        return fail("the child's log record did not arrive");
    QELBufferedTextLog log;
    if (log.logLevel < 1 || log.logLevel > 6)
        return fail("a new log did not take its level from the library");
    if (ownFunctionCalls != 0)
        return fail("the library called the program's own `exec` or `getQELLogLevel`");
    std::printf("%s %s\n", s.chars(), qelStdVersion());
    return 0;
}
