// QELChildProcess: a runner for one child process whose standard streams are
// streamed both ways at once, with live output, live log events, timeouts
// and signals.
//
// Deliberately not done: no PATH search unless searchPath is set; no shell
// (arguments go to the program as they are); no terminal (pty); output is
// never split or buffered by lines; a grandchild that keeps a pipe open keeps
// wait() reading until it closes it (or the timeout ends the group); the
// error stream's text reaches the log deserializer up to a NUL byte in each
// piece read (the callbacks and the collected bytes get every byte).
// Threads: many runners may wait in many threads at once; SIGPIPE is blocked
// in a waiting thread and consumed, never delivered.
#ifndef QELCHILDPROCESS_H
#define QELCHILDPROCESS_H

#include <stdint.h>
#include <sys/types.h>

#include <functional>
#include <vector>

#include "QELBlob.h"
#include "QELExport.h"
#include "QELLog.h"
#include "QELLogDeserializer.h"
#include "QELString.h"

// The class invariant, over any runner pointer expression `c`: a runner that
// has not started has no process; a running one has a process; a finished
// one ended either with an exit code or by a signal; a failed start has a
// cause and its errno.
// clang-format off
#define QEL_CHILD_PROCESS_INVARIANT(c) ( ( ((c)->state==QELChildProcess::NotStarted) && ((c)->pid==-1) ) || ( ((c)->state==QELChildProcess::Running) && ((c)->pid>0) ) || ( ((c)->state==QELChildProcess::Finished) && ( ((c)->code>=0) != ((c)->signal>0) ) ) || ( ((c)->state==QELChildProcess::StartFailed) && ((c)->startCause!=QELChildProcess::NoFailure) && ((c)->startErrno!=0) ) )
// clang-format on

// Runs one program as a child: set it up, start() (or run()), then wait(),
// one poll loop in the calling thread that writes the input while it reads
// both outputs, calling the callbacks and the log from inside. Owns its
// pipes, deserializer and collected bytes, not the log, the input descriptor
// or the callbacks' objects. Destroying it while its child runs kills the
// child (or its group) and reaps it. One thread at a time per runner.
class QEL_API QELChildProcess {
public:
    // What each standard stream of the child is connected to.
    enum Stream { Pipe, Inherit, Null };
    enum State { NotStarted, Running, Finished, StartFailed };
    // Why start() failed.
    enum StartFailure { NoFailure, NotFound, NotExecutable, IsDirectory, DirectoryFailed, SpawnFailed };

    // Receives `count` bytes of output (NUL bytes included) as they arrive.
    typedef std::function<void(const char* bytes, int count)> OutputCallback;
    // Fills at most `capacity` bytes of input; returns how many, 0 at the end
    // of the input.
    typedef std::function<int(char* buffer, int capacity)> InputCallback;

    // Set-up, read by start(). The program is a path unless searchPath.
    QELString program;
    std::vector<QELString> arguments;
    QELString directory;                     // empty: the parent's
    std::vector<QELString> environmentSet;   // "NAME=value" added or replaced
    std::vector<QELString> environmentUnset; // "NAME" removed
    bool searchPath;
    bool ownProcessGroup; // the child leads a new group; signals go to the group
    Stream streams[3];    // standard input, output and error
    QELLog* log;          // error stream's events go here when not null
    // Called with a record of the error stream that carries an attribute the
    // log does not know; the record then reaches the log as plain lines.
    std::function<void(const QELString& record)> refusedRecordCallback;
    int64_t timeoutMs; // -1: none; then SIGTERM, and SIGKILL after graceMs
    int64_t graceMs;   // -1: never SIGKILL

    // Input: whole (inputBytes), from inputCallback, or read from inputFd
    // (not owned) until its end. The first one set wins in that order of
    // the setters below; none gives an empty input.
    QELBlob inputBytes;
    InputCallback inputCallback;
    int inputFd;
    OutputCallback outputCallback; // else the output is collected in output
    OutputCallback errorCallback;  // else the error stream is collected in errorOutput
    QELBlob output;                // bytes, NUL included (a QELString would end at a NUL)
    QELBlob errorOutput;

    // State of the run.
    int32_t state;
    pid_t pid;
    int32_t code;   // exit code, -1 when ended by a signal
    int32_t signal; // ending signal, 0 when it exited
    bool timeoutHit;
    int32_t startCause; // a StartFailure
    int32_t startErrno;

    // Internal: the parent's pipe ends (-1 when closed), the process
    // descriptor (pidfd), the input not yet written (pointing into
    // inputBytes or inputBuffer) and the deadline of the timeout policy.
    int pipes[3];
    int processFd;
    bool reaped;
    int32_t inputSource; // 0 whole, 1 callback, 2 descriptor
    bool inputEnded;
    QELBlob inputBuffer;
    const char* pendingData;
    uint32_t pendingLeft;
    uint64_t inputWritten;
    int64_t deadline;   // monotonic ms; -1 none
    int32_t policyStep; // 0 before the timeout, 1 terminated, 2 killed
    QELLogDeserializer* deserializer;

    QELChildProcess();
    explicit QELChildProcess(const QELString& program);
    // Kills and reaps a child still running; closes every pipe.
    ~QELChildProcess();

    QELChildProcess& addArgument(const QELString& argument);
    QELChildProcess& setEnvironment(const QELString& name, const QELString& value);
    QELChildProcess& unsetEnvironment(const QELString& name);
    QELChildProcess& setInput(const QELString& text);
    QELChildProcess& setInput(const QELGBlob& bytes);
    QELChildProcess& setInput(const InputCallback& callback);
    QELChildProcess& setInputDescriptor(int fd);
    QELChildProcess& setTimeout(int64_t timeoutMs, int64_t graceMs);

    // Starts the child. Returns false, with the cause in startCause and
    // startErrno, when the program cannot be run (not found, not executable,
    // a directory, the working directory refused) or the runner was already
    // started; nothing is left open then.
    bool start();
    // Runs the loop until the child has ended and its pipes are drained, or
    // `limitMs` passed (-1: no limit), or a signal handler interrupted the
    // wait (EINTR, so that the caller can act and wait again). True when the
    // child has ended; false otherwise, the child still running. The timeout
    // policy applies inside wait. False at once when not running.
    bool wait(int64_t limitMs = -1);
    // start(), then wait() until the child has ended, also across
    // interruptions by signal handlers. False when start() is.
    bool run();
    // Closes the child's input now (it then reads end of file).
    void closeInput();

    // Sends `signalNumber` to the child (or its group). False when not
    // running or kill() fails.
    bool sendSignal(int signalNumber);
    bool terminate(); // SIGTERM
    bool kill();      // SIGKILL

    bool running() const { return state == Running; }
    bool finished() const { return state == Finished; }
    bool exited() const { return state == Finished && signal == 0; }
    int exitCode() const { return exited() ? code : -1; }
    bool signaled() const { return state == Finished && signal != 0; }
    int terminationSignal() const { return signaled() ? signal : 0; }
    bool timedOut() const { return timeoutHit; }
    // Why start() failed, as "not found (No such file or directory)": the
    // cause and its errno text ("is a directory" alone); empty otherwise.
    QELString startFailureText() const;

    QELChildProcess(const QELChildProcess&) = delete;
    QELChildProcess& operator=(const QELChildProcess&) = delete;
};

#endif
