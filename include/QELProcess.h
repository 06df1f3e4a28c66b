// QELProcess: identity of the current process and the running of child
// processes whose output is collected and whose log records reach a log.
#ifndef QELPROCESS_H
#define QELPROCESS_H

#include "QELExport.h"
#include "QELLog.h"
#include "QELLogDeserializer.h"
#include "QELString.h"

// The current process's id (getpid).
QEL_API int getProcessId();
// The current process's parent (getppid). The argument is ignored; this is
// deliberate.
QEL_API int getParentProcessId(int pid);
// The command name of process `pid`, from the first 32 bytes of
// "ps -o comm -p PID | tail -1" with its last byte dropped (at most 31
// characters). Empty when ps gives nothing.
QEL_API QELString getProcessName(int pid);
// The directory from which `pid` was started, with its trailing "/": the
// first 32 bytes of its "ps -o args" line, cut after the process name where
// the character one place beyond the one after the name is a blank
// (deliberately that place), then up to its last "/". Empty without a "/".
QEL_API QELString getProcessPath(int pid);
// The current process's arguments: its "ps -o args" line (32 bytes read,
// last one dropped) after the process name, found as in getProcessPath; the
// whole line when the name is not found so.
QEL_API QELString getCommandLine();

// Runs `command` (a path, not searched along PATH; also argv[0]) with the
// `argc` strings of `argv`, its standard input fed from `input`, its standard
// output and error appended to `out` and `err` (either may be null; when
// out == err, null included, standard output is joined to standard error),
// and the log records found in its standard error replayed into `log` (may
// be null) through a QELLogDeserializer, which filters them by log's level.
// The child changes to `directory` first when it is not null. When not
// `detached`, waits for the child and both pipes' end, stores the raw wait
// status in `status` (when not null) and drops an unterminated last piece of
// the error stream. When `detached`, returns at once: the child is not waited
// for, and the parent keeps the read ends of its output pipes open
// (deliberate: a detached child then never meets a closed pipe when it
// writes). Returns false only when the fork failed. A child
// that cannot start its program exits with code 255.
// Limits: all input is written before any output is read, so a child that
// writes more output than the pipes hold before it has read all its input
// blocks both sides; the three pipes are enlarged to the system maximum
// (/proc/sys/fs/pipe-max-size, 1 MiB by default) to push that limit from
// 64 KiB to that size. SIGPIPE from a child that does not read its input is
// blocked and consumed in the calling thread, never delivered. A record
// attribute other than "type", "code", "timestamp" and "stackTrace" in the
// child's standard error stops this process (see QELLogDeserializer).
// Threads: two readers per call, both joined before returning; the caller's
// strings and log must not be touched by other threads meanwhile.
QEL_API bool exec(QELString command, int argc, QELString* argv, int* status, QELString input, QELString* out,
                  QELString* err, QELLog* log, const char* directory, bool detached);
// exec, waiting for the child (detached false).
QEL_API bool launchInSeparateProcess(QELString command, int argc, QELString* argv, int* status, QELString input,
                                     QELString* out, QELString* err, QELLog* log, const char* directory);
// exec without status, input, output strings or log, returning at once
// (detached true). The waiting one is launchInSeparateProcess; deliberate.
QEL_API bool execInSeparateProcess(QELString command, int argc, QELString* argv, const char* directory);

// What one pipe reader of exec works on: the descriptor to read to its end,
// the string to append to (may be null) and the deserializer to feed (may
// be null).
struct QEL_API QELPipeRecord {
    int fd;
    QELString* text;
    QELLogDeserializer* deserializer;
};

// Thread body of a pipe reader (`record` is a QELPipeRecord*): reads pieces
// of at most 12288 bytes until end of file (a read error counts as end) and
// passes each, up to its first NUL byte (deliberate), to the string and the
// deserializer. Returns null.
QEL_API void* listenPipe(void* record);

#endif
