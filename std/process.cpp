// process: the current process's identity from ps, and child processes run
// through three pipes with their output collected and their log records
// replayed into a log.
#include "QELProcess.h"
#include "QELMemory.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

// Pieces in which pipes are read and written.
static const int PIPE_PIECE = 12288;
// Bytes of a ps line that are read; the last one read is dropped.
static const int PS_READ = 32;

// Where the process name ends in `line` when the character one place beyond
// the one that follows it is a blank (that place is deliberate), or -1. Each
// further search starts at the end of the previous occurrence.
static int findNameEnd(const QELString& line, const QELString& name)
{
    if (name.len <= 0)
        return -1;
    int from = 0;
    while (from < line.len) {
        const char* found = strstr(line.p + from, name.p);
        if (found == NULL)
            return -1;
        int end = static_cast<int>(found - line.p) + name.len;
        int probe = end + 1 < line.len ? end + 1 : line.len;
        if (line.p[probe] == ' ')
            return end;
        from = end;
    }
    return -1;
}

// ---------------------------------------------------------------------------
// System calls: ps through popen, vfork/execv, pipes, threads.
// ---------------------------------------------------------------------------

// The first line of `command`'s output as the ps accessors read it: at most
// 32 bytes into a block of `capacity` characters, the last byte read replaced
// by a terminator, the length taken up to the first terminator.
static QELString readPsLine(const char* command, unsigned int capacity)
{
    QELString line;
    line.resize(capacity);
    char* text = line.lock();
    text[0] = '\0';
    FILE* pipe = popen(command, "re"); // "e": close-on-exec, no other child inherits it
    if (pipe != NULL) {
        size_t n = fread(text, 1, PS_READ, pipe);
        pclose(pipe);
        if (n > 0)
            text[n - 1] = '\0';
    }
    line.unlock();
    return line;
}

int getProcessId()
{
    return static_cast<int>(getpid());
}

int getParentProcessId(int pid)
{
    static_cast<void>(pid);
    return static_cast<int>(getppid());
}

QELString getProcessName(int pid)
{
    char command[64];
    snprintf(command, sizeof command, "ps -o comm -p %d | tail -1", pid);
    return readPsLine(command, PS_READ);
}

QELString getProcessPath(int pid)
{
    char command[64];
    snprintf(command, sizeof command, "ps -o args -p %d | tail -1", pid);
    QELString line = readPsLine(command, 1024);
    QELString name = getProcessName(pid);
    int end = findNameEnd(line, name);
    if (end >= 0) {
        line.p[end] = '\0';
        line.len = end;
    }
    const char* slash = strrchr(line.p, '/');
    if (slash == NULL)
        return getEmptyTString();
    return line.left(static_cast<unsigned int>(slash - line.p) + 1);
}

QELString getCommandLine()
{
    int pid = getProcessId();
    char command[64];
    snprintf(command, sizeof command, "ps -o args -p %d | tail -1", pid);
    QELString line = readPsLine(command, 1024);
    QELString name = getProcessName(pid);
    int end = findNameEnd(line, name);
    if (end >= 0)
        return line.mid(static_cast<unsigned int>(end) + 1);
    return line;
}

void* listenPipe(void* argument)
{
    QELPipeRecord* record = static_cast<QELPipeRecord*>(argument);
    char piece[PIPE_PIECE + 1];
    for (;;) {
        ssize_t n = read(record->fd, piece, PIPE_PIECE);
        if (n == 0)
            return NULL;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return NULL; // a read error ends the reader like end of file
        }
        piece[n] = '\0';
        if (record->text != NULL) {
            // Taken up to the first NUL; the string grows geometrically so
            // that megabytes of output do not reallocate at every piece.
            int length = static_cast<int>(strlen(piece));
            if (length > 0) {
                QELString* text = record->text;
                unsigned int needed = static_cast<unsigned int>(text->len + length);
                if (text->alloc <= needed)
                    text->resize(needed > 2 * text->alloc ? needed : 2 * text->alloc);
                text->append(piece, length);
            }
        }
        if (record->deserializer != NULL) {
            QELString text;
            text.wrap(piece);
            record->deserializer->append(text);
        }
    }
}

// The largest pipe capacity an unprivileged process may ask for, read once.
static int maxPipeSize()
{
    static const int size = [] {
        int value = 0;
        FILE* file = fopen("/proc/sys/fs/pipe-max-size", "re");
        if (file != NULL) {
            if (fscanf(file, "%d", &value) != 1)
                value = 0;
            fclose(file);
        }
        return value;
    }();
    return size;
}

// A pipe whose two ends are close-on-exec (the child's dup2 copies onto 0, 1
// and 2 clear that flag) and numbered 3 or above, so that no dup2 in the
// child can overwrite another pipe end; enlarged to the system maximum.
static void makePipe(int ends[2])
{
    if (pipe2(ends, O_CLOEXEC) != 0) {
        ends[0] = ends[1] = -1;
        return;
    }
    for (int i = 0; i < 2; i++) {
        if (ends[i] < 3) {
            int moved = fcntl(ends[i], F_DUPFD_CLOEXEC, 3);
            close(ends[i]);
            ends[i] = moved;
        }
    }
    int size = maxPipeSize();
    if (size > 0)
        fcntl(ends[1], F_SETPIPE_SZ, size);
}

static void closeEnd(int& fd)
{
    if (fd >= 0)
        close(fd);
    fd = -1;
}

// Writes `input` to `fd` in pieces of at most 12288 bytes. After each write
// the piece asked for is dropped, whatever write reported; a write of 0 ends
// early. SIGPIPE (a child that does not read) is blocked in this thread for
// the writes and a pending one consumed, so the caller is never killed and
// its signal mask is restored as it was.
static void writeInput(int fd, const QELString& input)
{
    if (input.len <= 0)
        return;
    sigset_t pipeSignal, previousMask, pending;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, &previousMask);
    sigpending(&pending);
    bool alreadyPending = sigismember(&pending, SIGPIPE) == 1;

    const char* next = input.p;
    unsigned int left = static_cast<unsigned int>(input.len);
    while (left > 0) {
        unsigned int piece = left < static_cast<unsigned int>(PIPE_PIECE) ? left : PIPE_PIECE;
        ssize_t written = write(fd, next, piece);
        if (written == 0)
            break;
        next += piece;
        left -= piece;
    }

    if (!alreadyPending) {
        sigpending(&pending);
        if (sigismember(&pending, SIGPIPE) == 1) {
            struct timespec zero = { 0, 0 };
            sigtimedwait(&pipeSignal, NULL, &zero);
        }
    }
    pthread_sigmask(SIG_SETMASK, &previousMask, NULL);
}

// argv for execv: the command, the arguments (none when argc < 0 or argv is
// null) and a null pointer.
static char** argumentVector(const QELString& command, int argc, const QELString* argv)
{
    if (argc < 0 || argv == NULL)
        argc = 0;
    char** vector = static_cast<char**>(qelAllocate((argc + 2) * sizeof(char*)));
    vector[0] = command.p;
    for (int i = 0; i < argc; i++)
        vector[i + 1] = argv[i].p;
    vector[argc + 1] = NULL;
    return vector;
}

namespace {

// The three pipes of a child: its standard input, output and error.
struct ChildPipes {
    int in[2], out[2], err[2];

    ChildPipes()
    {
        makePipe(in);
        makePipe(out);
        makePipe(err);
    }

    void closeAll()
    {
        for (int* ends : { in, out, err }) {
            closeEnd(ends[0]);
            closeEnd(ends[1]);
        }
    }
};

} // namespace

// The child's side of the vfork: only system calls (chdir, close, dup2,
// execv, _exit), since it shares the parent's memory and the parent may have
// other threads. Output goes to the error pipe as well when `joined`.
[[noreturn]] static void runChild(const char* program, char** vector, const ChildPipes& pipes, bool joined,
                                  const char* directory)
{
    if (directory != NULL && chdir(directory) != 0) {
        // Ignored: the program then runs in the parent's directory.
    }
    close(pipes.in[1]);
    dup2(pipes.in[0], 0);
    close(pipes.out[0]);
    dup2(joined ? pipes.err[1] : pipes.out[1], 1);
    close(pipes.err[0]);
    dup2(pipes.err[1], 2);
    execv(program, vector);
    // _exit, not exit: the child shares the parent's memory, stdio buffers
    // and static objects; exit would flush and destroy them in the parent.
    // -1 is seen by the parent as exit code 255.
    _exit(-1);
}

// Sets every handler the caller installed back to the default; ignored
// signals stay ignored. execv does the same to the program; before it, in a
// child that borrows the parent's memory, no handler of the parent may run.
static void resetSignalHandlers()
{
    struct sigaction byDefault;
    memset(&byDefault, 0, sizeof byDefault);
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; number++) {
        struct sigaction current;
        if (sigaction(number, NULL, &current) == 0 && current.sa_handler != SIG_DFL && current.sa_handler != SIG_IGN)
            sigaction(number, &byDefault, NULL);
    }
}

// Starts the child with vfork: it borrows the parent's memory, and the
// calling thread waits until the child has called execv or _exit, so a start
// costs no copy of the parent's page tables (fork pays that in proportion to
// the parent's size). Deliberate: the child makes only system calls and
// writes nothing but its own stack frames; every signal is blocked from
// before the vfork until the child has reset the caller's handlers, then the
// child takes the caller's mask back, which execv hands on to the program as
// it would after fork. The child's calls go below this function's frame and
// it never returns into it, so the parent finds its stack as it left it (the
// static analyser's vfork rules allow no call but execve and _exit at all).
static pid_t startChild(const char* program, char** vector, const ChildPipes& pipes, bool joined, const char* directory)
{
    sigset_t everySignal, callerMask;
    sigfillset(&everySignal);
    pthread_sigmask(SIG_SETMASK, &everySignal, &callerMask);
    // NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)
    pid_t child = vfork();
    if (child == 0) {
        resetSignalHandlers();
        sigprocmask(SIG_SETMASK, &callerMask, NULL);
        runChild(program, vector, pipes, joined, directory);
    }
    // NOLINTEND(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)
    pthread_sigmask(SIG_SETMASK, &callerMask, NULL);
    return child;
}

// Waits for the child through interruptions; stores its raw wait status in
// `status` (when not null) once the child is reaped.
static void waitForChild(pid_t child, int* status)
{
    int childStatus = 0;
    pid_t waited;
    do {
        waited = waitpid(child, &childStatus, 0);
    } while (waited < 0 && errno == EINTR);
    if (status != NULL && waited == child)
        *status = childStatus;
}

// Collects the child's output and error (into out and err, each may be
// null) on two reader threads, the error text also fed to a deserializer
// that hands the child's log records to `log`; waits for the child, then for
// both pipes' end. The deserializer is dropped without flushing it.
static void collectOutput(ChildPipes& pipes, pid_t child, int* status, QELString* out, QELString* err, QELLog* log)
{
    QELLogDeserializer* deserializer = qelNew<QELLogDeserializer>(log);
    QELPipeRecord outRecord = { pipes.out[0], out, NULL };
    QELPipeRecord errRecord = { pipes.err[0], err, deserializer };
    pthread_t outReader, errReader;
    bool outStarted = pthread_create(&outReader, NULL, listenPipe, &outRecord) == 0;
    bool errStarted = pthread_create(&errReader, NULL, listenPipe, &errRecord) == 0;
    // Without a thread, a pipe is read here; that can only block if the
    // child fills the other pipe meanwhile.
    if (!outStarted)
        listenPipe(&outRecord);
    if (!errStarted)
        listenPipe(&errRecord);

    waitForChild(child, status);

    if (outStarted)
        pthread_join(outReader, NULL);
    closeEnd(pipes.out[0]);
    if (errStarted)
        pthread_join(errReader, NULL);
    closeEnd(pipes.err[0]);
    delete deserializer;
}

bool exec(QELString command, int argc, QELString* argv, int* status, QELString input, QELString* out, QELString* err,
          QELLog* log, const char* directory, bool detached)
{
    // Everything the child needs is made before the vfork: after it the
    // child may only make system calls.
    char** vector = argumentVector(command, argc, argv);
    const bool joined = out == err;
    ChildPipes pipes;

    pid_t child = startChild(command.p, vector, pipes, joined, directory);
    if (child < 0) {
        pipes.closeAll();
        free(vector);
        return false;
    }

    closeEnd(pipes.in[0]);
    closeEnd(pipes.out[1]);
    closeEnd(pipes.err[1]);
    writeInput(pipes.in[1], input);
    closeEnd(pipes.in[1]);
    if (!detached)
        collectOutput(pipes, child, status, out, err, log);
    free(vector);
    return true;
}

bool launchInSeparateProcess(QELString command, int argc, QELString* argv, int* status, QELString input, QELString* out,
                             QELString* err, QELLog* log, const char* directory)
{
    return exec(command, argc, argv, status, input, out, err, log, directory, false);
}

bool execInSeparateProcess(QELString command, int argc, QELString* argv, const char* directory)
{
    return exec(command, argc, argv, NULL, QELString(), NULL, NULL, NULL, directory, true);
}
