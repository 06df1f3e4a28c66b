// QELToolTexts: the messages of the command-line tools, translated from
// QELTools_<locale>.xml in the translations directory (QEL_I18N_LANG).
#ifndef QELTOOLTEXTS_H
#define QELTOOLTEXTS_H

#include "QELStd.h"
#include "QELToolSupport.h"

// Every message once: identifier, English text, level.
#define QEL_TOOL_TEXTS(X)                                                                                              \
    X(seeHelp, "Try '{0} --help' for more information.", "INFO")                                                       \
    X(unknownOption, "unknown option '{0}'", "ERROR")                                                                  \
    X(missingArgument, "option '{0}' needs a value", "ERROR")                                                          \
    X(unknownCommand, "unknown command '{0}'", "ERROR")                                                                \
    X(fileMissing, "cannot open '{0}': no such file", "ERROR")                                                         \
    X(cannotRead, "cannot read '{0}'", "ERROR")                                                                        \
    X(cannotWrite, "cannot write '{0}'", "ERROR")                                                                      \
    X(setupFileUnreadable, "'{0}' is not a readable setup file (XML whose root element is Setup)", "ERROR")            \
    X(setupFileUnreadableDefaults,                                                                                     \
      "the setup file '{0}' cannot be read ({1}): values come from the environment and the defaults", "WARNING")       \
    X(noSuchElement, "no element '{0}' in '{1}' (elements are never created)", "ERROR")                                \
    X(badLevel, "'{0}' is not a log level (0 to 6, or NONE, FATAL, ERROR, WARNING, STATUS, INFO, DEBUG)", "ERROR")     \
    X(noSuchDirectory, "'{0}' is not a directory", "ERROR")                                                            \
    X(cannotRun, "cannot run '{0}'", "ERROR")                                                                          \
    X(badDuration, "'{0}' is not a duration (seconds, or a number with the suffix s, m, h or d)", "ERROR")             \
    X(cannotStart, "cannot run '{0}': {1}", "ERROR")                                                                   \
    X(causeNotFound, "not found", "ERROR")                                                                             \
    X(causeNotExecutable, "not executable", "ERROR")                                                                   \
    X(causeIsDirectory, "is a directory", "ERROR")                                                                     \
    X(causeNoProcess, "no process can be started", "ERROR")                                                            \
    X(cannotEnterDirectory, "cannot change to the directory '{0}': {1}", "ERROR")                                      \
    X(childTimedOut, "'{0}' timed out after {1}", "ERROR")                                                             \
    X(childSignaled, "'{0}' was ended by signal {1} ({2})", "ERROR")                                                   \
    X(childRecordRefused, "a log record of '{0}' has an attribute that is not read; it follows as plain lines",        \
      "WARNING")                                                                                                       \
    X(qelconfigUsage, "usage: qelconfig [--file FILE] [--json] [list | get PATH | set PATH VALUE | merge FROM]",       \
      "ERROR")                                                                                                         \
    X(qellogUsage, "usage: qellog [OPTION...] [FILE...]  or  qellog emit --level LEVEL [--code CODE] [--] MESSAGE",    \
      "ERROR")                                                                                                         \
    X(qelrunUsage,                                                                                                     \
      "usage: qelrun [--level LEVEL] [--dir DIRECTORY] [--timeout DURATION [--kill-after DURATION]] [--] PROGRAM "     \
      "[ARGUMENT...]",                                                                                                 \
      "ERROR")                                                                                                         \
    X(qelconfigHelp, QEL_TOOL_QELCONFIG_HELP, "INFO")                                                                  \
    X(qellogHelp, QEL_TOOL_QELLOG_HELP, "INFO")                                                                        \
    X(qelrunHelp, QEL_TOOL_QELRUN_HELP, "INFO")                                                                        \
    X(writeError, "write error: {0}", "ERROR")                                                                         \
    X(cannotOpenCause, "cannot open '{0}': {1}", "ERROR")                                                              \
    X(cannotWriteCause, "cannot write '{0}': {1}", "ERROR")                                                            \
    X(cannotLock, "cannot lock '{0}': {1}", "ERROR")                                                                   \
    X(notSetupXml, "not XML whose root element is Setup", "ERROR")                                                     \
    X(notALeaf, "'{0}' has child elements: only an element without child elements holds a value", "ERROR")             \
    X(notReadBack, "the new content of '{0}' does not read back as set: the file is unchanged", "ERROR")               \
    X(recordRefused,                                                                                                   \
      "a record with an attribute other than type, code, timestamp and stackTrace is printed as its plain lines (so "  \
      "is any further one)",                                                                                           \
      "WARNING")                                                                                                       \
    X(badChoice, "'{0}' is not a valid value for {1} (valid: {2})", "ERROR")                                           \
    X(badTime, "'{0}' is not a time (YYYY-MM-DD [HH:MM[:SS]], today, yesterday, or -N followed by s, m, h or d)",      \
      "ERROR")                                                                                                         \
    X(badPattern, "'{0}' is not a valid regular expression: {1}", "ERROR")                                             \
    X(followOneFile, "--follow reads exactly one file", "ERROR")

#define QEL_TOOL_QELCONFIG_HELP                                                                                        \
    "Usage: qelconfig [--file FILE] [--json]\n"                                                                        \
    "       qelconfig [--file FILE] [--json] list\n"                                                                   \
    "       qelconfig [--file FILE] get PATH\n"                                                                        \
    "       qelconfig [--file FILE] set PATH VALUE\n"                                                                  \
    "       qelconfig [--file FILE] merge FROM\n"                                                                      \
    "Without a command, prints every installation path and setting as the library\n"                                   \
    "resolves it, with where it came from: environment, setup file or default.\n"                                      \
    "list prints every value of the setup file as PATH=VALUE; get prints the value\n"                                  \
    "of the element PATH (such as Directory/Home); set changes the value of an\n"                                      \
    "element without child elements, and nothing else of the file (an element\n"                                       \
    "that does not exist is never created); merge copies the values of the setup\n"                                    \
    "file FROM into every such element both files have. Options come before the\n"                                     \
    "command: every word after it is an operand, so VALUE may start with '-'.\n"                                       \
    "Changes hold a lock (FILE.lock) and replace the file in one step.\n"                                              \
    "  --file FILE  the setup file to use (default: the one the library reads)\n"                                      \
    "  --json       print the listing or list as JSON\n"                                                               \
    "  --version    the library's version\n"                                                                           \
    "  --help       this text\n"                                                                                       \
    "Exit status: 0 success, 1 a file or element problem, 2 bad usage."

#define QEL_TOOL_QELLOG_HELP                                                                                           \
    "Usage: qellog [OPTION...] [FILE...]\n"                                                                            \
    "       qellog emit --level LEVEL [--code CODE] [--] MESSAGE\n"                                                    \
    "Reads streams of framed XML log records and plain lines (the FILEs, or\n"                                         \
    "standard input for none or -) and prints their events, keeping those at\n"                                        \
    "LEVEL or more severe. Plain lines are events of level 0 (NONE), printed as\n"                                     \
    "they are; a plain line longer than 65536 bytes is printed in pieces of at\n"                                      \
    "most that size. A record that is not an event is printed as plain lines.\n"                                       \
    "emit writes one framed record to standard error, as a child process of the\n"                                     \
    "product logs to its parent; it is kept when QEL_LOG_LEVEL allows it.\n"                                           \
    "  --level LEVEL    0 to 6, or NONE, FATAL, ERROR, WARNING, STATUS, INFO, DEBUG\n"                                 \
    "  --output FORMAT  short (time, level, [code] and message; the default),\n"                                       \
    "                   full (short with the stack trace), xml (framed records)\n"                                     \
    "                   or json (one object per line)\n"                                                               \
    "  --xml            the same as --output xml\n"                                                                    \
    "  --grep PATTERN   only events whose message matches the extended regular\n"                                      \
    "                   expression PATTERN\n"                                                                          \
    "  --since TIME     only events logged at TIME or later; --until TIME: at\n"                                       \
    "                   TIME or earlier (YYYY-MM-DD [HH:MM[:SS]], today,\n"                                            \
    "                   yesterday, or -N followed by s, m, h or d: that long ago);\n"                                  \
    "                   a plain line counts at the time of the record before it\n"                                     \
    "  --no-plain       leave plain lines out\n"                                                                       \
    "  --follow         at the end of FILE, wait for more, as tail -f does\n"                                          \
    "  --color WHEN     colour by level: auto (on a terminal, unless NO_COLOR is\n"                                    \
    "                   set), always or never\n"                                                                       \
    "  --code CODE      the event's code (emit)\n"                                                                     \
    "  --version        the library's version\n"                                                                       \
    "  --help           this text\n"                                                                                   \
    "Exit status: 0 success, 1 a file or write problem, 2 bad usage."

#define QEL_TOOL_QELRUN_HELP                                                                                           \
    "Usage: qelrun [OPTION...] [--] PROGRAM [ARGUMENT...]\n"                                                           \
    "Runs PROGRAM (looked up along PATH when it has no slash) in its own process\n"                                    \
    "group, streams this standard input to it as it comes (none from a terminal),\n"                                   \
    "lets it write to this standard output, and replays the log events of its\n"                                       \
    "standard error on standard error as a text log kept at LEVEL (default: the\n"                                     \
    "configured log level) while it runs. SIGINT, SIGTERM and SIGHUP are passed on.\n"                                 \
    "  --level LEVEL          0 to 6, or NONE, FATAL, ERROR, WARNING, STATUS, INFO, DEBUG\n"                           \
    "  --dir DIRECTORY        the child's working directory\n"                                                         \
    "  --timeout DURATION     send SIGTERM after DURATION (seconds, or with s, m, h, d)\n"                             \
    "  --kill-after DURATION  with --timeout: send SIGKILL if it still runs DURATION later\n"                          \
    "  --version              the library's version\n"                                                                 \
    "  --help                 this text\n"                                                                             \
    "Options may be written --option=VALUE.\n"                                                                         \
    "Exit status: the program's exit code; 124 when it timed out (137 when it had\n"                                   \
    "to be killed); 126 when it cannot be executed; 127 when it is not found;\n"                                       \
    "128 + the signal that ended it; 1 when the directory cannot be entered or no\n"                                   \
    "process can be started; 2 bad usage."

// The collection "QELTools". Lives for the whole program (texts()).
class QELToolTexts : public QELTextLiteralsCollection {
public:
#define QEL_TOOL_TEXT_MEMBER(name, text, level) QELMessageLiteral name;
    QEL_TOOL_TEXTS(QEL_TOOL_TEXT_MEMBER)
#undef QEL_TOOL_TEXT_MEMBER

    // The process's one collection, made and translated on first use.
    static QELToolTexts& texts();

    QELString getCollectionName() override;
    QELTextLiteral** getTextLiterals() override;

private:
    QELToolTexts();
    QELTextLiteral* literals[48];
};

#endif
