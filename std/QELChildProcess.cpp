// QELChildProcess: the streaming child process runner (posix_spawn, one
// poll loop over the pipes and the process descriptor, timeouts, signals).
#include "QELChildProcess.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "QELAssert.h"
#include "QELMemory.h"

QEL_SOURCE_FILE("QELChildProcess.cpp");

// Bytes read from a pipe or produced by an input callback at a time.
static const int PIECE = 65536;
// How often a child is polled for its end when no process descriptor exists.
static const int REAP_POLL_MS = 10;

enum InputSource { WholeInput, CallbackInput, DescriptorInput };

// "NAME" of an environment entry "NAME=value" equals `name`.
static bool sameVariable(const char* entry, const QELString& name)
{
    return strncmp(entry, name.p, name.len) == 0 && (entry[name.len] == '=' || entry[name.len] == '\0');
}

static bool listedVariable(const char* entry, const std::vector<QELString>& names)
{
    for (const QELString& name : names)
        if (sameVariable(entry, name))
            return true;
    return false;
}

// The child's environment: the parent's without the removed and replaced
// names, then the additions. Points into `environ` and the runner's strings.
static std::vector<char*> childEnvironment(const QELChildProcess& c, std::vector<QELString>& names)
{
    for (const QELString& entry : c.environmentSet) {
        const char* equals = strchr(entry.p, '=');
        names.push_back(QELString(entry.p, equals ? static_cast<int>(equals - entry.p) : entry.len));
    }
    names.insert(names.end(), c.environmentUnset.begin(), c.environmentUnset.end());
    std::vector<char*> result;
    for (char** entry = environ; *entry != NULL; entry++)
        if (!listedVariable(*entry, names))
            result.push_back(*entry);
    for (const QELString& entry : c.environmentSet)
        result.push_back(entry.p);
    result.push_back(NULL);
    return result;
}

static std::vector<char*> childArguments(const QELChildProcess& c)
{
    std::vector<char*> result;
    result.push_back(c.program.p);
    for (const QELString& argument : c.arguments)
        result.push_back(argument.p);
    result.push_back(NULL);
    return result;
}

static const char* causeText(int32_t cause)
{
    switch (cause) {
    case QELChildProcess::NotFound:
        return "not found";
    case QELChildProcess::NotExecutable:
        return "not executable";
    case QELChildProcess::IsDirectory:
        return "is a directory";
    case QELChildProcess::DirectoryFailed:
        return "cannot change to the working directory";
    case QELChildProcess::SpawnFailed:
        return "cannot start a process";
    default:
        return "";
    }
}

// The runner's deserializer: a record it refuses goes to the runner's
// callback before its plain lines reach the log.
class QELRunnerLogDeserializer : public QELTolerantLogDeserializer {
public:
    std::function<void(const QELString&)> refused;

    QELRunnerLogDeserializer(QELLog* log, std::function<void(const QELString&)> callback)
        : QELTolerantLogDeserializer(log), refused(std::move(callback))
    {
    }
    void recordRefused(const QELString& record) override
    {
        if (refused)
            refused(record);
    }
};

// ---------------------------------------------------------------------------
// System calls: pipes, posix_spawn, poll, waitpid, signals.
// ---------------------------------------------------------------------------

static int64_t nowMs()
{
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

static void closeFd(int& fd)
{
    if (fd >= 0)
        close(fd);
    fd = -1;
}

// A close-on-exec descriptor numbered 3 or above, so that the child's dup2
// onto 0, 1 or 2 never overwrites another end and always clears the flag.
static int aboveStandard(int fd)
{
    if (fd < 0 || fd >= 3)
        return fd;
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, 3);
    close(fd);
    return moved;
}

// The child's end of standard stream `index` (-1 for an inherited one) and,
// for a pipe, the parent's non-blocking end in c.pipes. False on failure.
static bool openStream(QELChildProcess& c, int index, int& childEnd)
{
    childEnd = -1;
    if (c.streams[index] == QELChildProcess::Inherit)
        return true;
    if (c.streams[index] == QELChildProcess::Null) {
        childEnd = aboveStandard(open("/dev/null", O_RDWR | O_CLOEXEC));
        return childEnd >= 0;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    int parentSide = index == 0 ? 1 : 0;
    c.pipes[index] = aboveStandard(ends[parentSide]);
    childEnd = aboveStandard(ends[1 - parentSide]);
    if (c.pipes[index] >= 0)
        fcntl(c.pipes[index], F_SETFL, O_NONBLOCK);
    return c.pipes[index] >= 0 && childEnd >= 0;
}

// The program's path as the child sees it after changing directory.
static QELString programPath(const QELChildProcess& c)
{
    if (c.directory.isEmpty() || c.program.p[0] == '/')
        return c.program;
    return c.directory + QELString("/") + c.program;
}

// Why the spawn failed with `error`: the working directory is checked first,
// since a failed chdir and a missing program share ENOENT.
static void classifyFailure(QELChildProcess& c, int error)
{
    c.startErrno = error;
    if (!c.directory.isEmpty()) {
        struct stat st;
        int directoryError = 0;
        if (stat(c.directory.p, &st) != 0)
            directoryError = errno;
        else if (!S_ISDIR(st.st_mode))
            directoryError = ENOTDIR;
        else if (access(c.directory.p, X_OK) != 0)
            directoryError = errno;
        if (directoryError != 0) {
            c.startErrno = directoryError;
            c.startCause = QELChildProcess::DirectoryFailed;
            return;
        }
    }
    QELString path = programPath(c);
    struct stat st;
    if (error == ENOENT || error == ENOTDIR)
        c.startCause = QELChildProcess::NotFound;
    else if (error == EACCES && stat(path.p, &st) == 0 && S_ISDIR(st.st_mode))
        c.startCause = QELChildProcess::IsDirectory;
    else if (error == EACCES || error == ENOEXEC || error == EPERM)
        c.startCause = QELChildProcess::NotExecutable;
    else
        c.startCause = QELChildProcess::SpawnFailed;
}

// The errno that starting the program would fail with, checked before the
// spawn (0 when it looks runnable): glibc reports the child's exec error
// itself, but not where vfork is emulated by fork (valgrind), and a check
// costs a stat. A program searched along PATH is left to posix_spawnp.
static int runnableError(const QELChildProcess& c)
{
    if (c.searchPath && strchr(c.program.p, '/') == NULL)
        return 0;
    struct stat st;
    if (!c.directory.isEmpty()) {
        if (stat(c.directory.p, &st) != 0)
            return errno;
        if (!S_ISDIR(st.st_mode))
            return ENOTDIR;
    }
    QELString path = programPath(c);
    if (stat(path.p, &st) != 0)
        return errno;
    if (S_ISDIR(st.st_mode))
        return EACCES;
    return access(path.p, X_OK) != 0 ? errno : 0;
}

// posix_spawn with the child's ends on 0, 1 and 2, every other descriptor
// closed, the working directory changed, signals reset to their defaults and
// unblocked, and optionally a new process group. Returns 0 or the errno of
// the failed step (glibc reports the child's exec and chdir errors).
static int spawnChild(QELChildProcess& c, const int childEnds[3])
{
    std::vector<char*> argv = childArguments(c);
    std::vector<QELString> names;
    std::vector<char*> envp;
    bool ownEnvironment = !c.environmentSet.empty() || !c.environmentUnset.empty();
    if (ownEnvironment)
        envp = childEnvironment(c, names);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int i = 0; i < 3; i++)
        if (childEnds[i] >= 0)
            posix_spawn_file_actions_adddup2(&actions, childEnds[i], i);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    if (!c.directory.isEmpty())
        posix_spawn_file_actions_addchdir_np(&actions, c.directory.p);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    if (c.ownProcessGroup) {
        flags |= POSIX_SPAWN_SETPGROUP;
        posix_spawnattr_setpgroup(&attributes, 0);
    }
    posix_spawnattr_setflags(&attributes, flags);

    pid_t child = -1;
    char** environment = ownEnvironment ? envp.data() : environ;
    int error = c.searchPath ? posix_spawnp(&child, c.program.p, &actions, &attributes, argv.data(), environment)
                             : posix_spawn(&child, c.program.p, &actions, &attributes, argv.data(), environment);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0)
        c.pid = child;
    return error;
}

// Reaps the child when it has ended; records its code or signal.
static void reapIfEnded(QELChildProcess& c, bool& reaped)
{
    if (reaped)
        return;
    int status = 0;
    pid_t waited = waitpid(c.pid, &status, WNOHANG);
    if (waited != c.pid)
        return;
    reaped = true;
    if (WIFSIGNALED(status)) {
        c.code = -1;
        c.signal = WTERMSIG(status);
    } else {
        c.code = WEXITSTATUS(status);
        c.signal = 0;
    }
    closeFd(c.processFd);
}

// Writes the pending input while the pipe takes it; a reader that is gone
// (EPIPE, its SIGPIPE blocked in this thread and consumed) ends the input.
static void writePending(QELChildProcess& c, bool pipeSignalWasPending)
{
    while (c.pendingLeft > 0) {
        ssize_t n = write(c.pipes[0], c.pendingData, c.pendingLeft);
        if (n > 0) {
            c.pendingData += n;
            c.pendingLeft -= static_cast<uint32_t>(n);
            c.inputWritten += static_cast<uint64_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN)
            return;
        if (n < 0 && errno == EPIPE && !pipeSignalWasPending) {
            sigset_t pipeSignal;
            sigemptyset(&pipeSignal);
            sigaddset(&pipeSignal, SIGPIPE);
            struct timespec zero = { 0, 0 };
            sigtimedwait(&pipeSignal, NULL, &zero);
        }
        c.pendingLeft = 0;
        c.inputEnded = true;
        closeFd(c.pipes[0]);
        return;
    }
}

// Refills the pending input from the callback or the input descriptor; at
// the end of the input, closes the child's input.
static void refillInput(QELChildProcess& c)
{
    if (c.pendingLeft > 0 || c.inputEnded)
        return;
    int n = 0;
    if (c.inputSource == CallbackInput) {
        n = c.inputCallback(c.inputBuffer.p, PIECE);
    } else if (c.inputSource == DescriptorInput) {
        ssize_t got;
        do {
            got = read(c.inputFd, c.inputBuffer.p, PIECE);
        } while (got < 0 && errno == EINTR);
        if (got < 0 && errno == EAGAIN)
            return;
        n = static_cast<int>(got);
    }
    if (n <= 0) {
        c.inputEnded = true;
        closeFd(c.pipes[0]);
        return;
    }
    c.pendingData = c.inputBuffer.p;
    c.pendingLeft = static_cast<uint32_t>(n);
}

// Reads what pipe `index` (1 output, 2 error) holds now and hands it on;
// closes the pipe at its end or on a read error.
static void readStream(QELChildProcess& c, int index)
{
    char piece[PIECE + 1];
    for (int round = 0; round < 4; round++) {
        ssize_t n = read(c.pipes[index], piece, PIECE);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN)
            return;
        if (n <= 0) {
            closeFd(c.pipes[index]);
            return;
        }
        const QELChildProcess::OutputCallback& callback = index == 1 ? c.outputCallback : c.errorCallback;
        if (callback)
            callback(piece, static_cast<int>(n));
        else
            (index == 1 ? c.output : c.errorOutput).add(piece, static_cast<int>(n));
        if (index == 2 && c.deserializer != NULL) {
            // The deserializer takes text: a NUL byte ends its piece there.
            piece[n] = '\0';
            QELString text;
            text.wrap(piece);
            c.deserializer->append(text);
        }
        if (n < PIECE)
            return;
    }
}

// Advances the timeout policy: SIGTERM at the deadline, SIGKILL after the
// grace period (never when graceMs is -1).
static void applyTimeoutPolicy(QELChildProcess& c, int64_t now)
{
    if (c.deadline < 0 || now < c.deadline)
        return;
    if (c.policyStep == 0) {
        c.timeoutHit = true;
        c.terminate();
        c.policyStep = 1;
        c.deadline = c.graceMs < 0 ? -1 : now + c.graceMs;
    } else {
        c.kill();
        c.policyStep = 2;
        c.deadline = -1;
    }
}

// SIGPIPE blocked in the calling thread for the life of the object (a write
// to a child that stopped reading then fails with EPIPE instead of killing
// the process); the thread's mask is restored as it was.
struct PipeSignalBlock {
    sigset_t previous;
    bool wasPending;

    PipeSignalBlock()
    {
        sigset_t pipeSignal, pending;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal, &previous);
        sigpending(&pending);
        wasPending = sigismember(&pending, SIGPIPE) == 1;
    }
    ~PipeSignalBlock() { pthread_sigmask(SIG_SETMASK, &previous, NULL); }
};

// Milliseconds poll may sleep: until the caller's limit or the policy's
// deadline, and briefly when the child's end can only be seen by waitpid.
static int pollTimeout(const QELChildProcess& c, int64_t limitEnd, int64_t now)
{
    int64_t wake = limitEnd;
    if (c.deadline >= 0 && (wake < 0 || c.deadline < wake))
        wake = c.deadline;
    int64_t timeout = wake < 0 ? -1 : (wake > now ? wake - now : 0);
    if (!c.reaped && c.processFd < 0 && (timeout < 0 || timeout > REAP_POLL_MS))
        timeout = REAP_POLL_MS;
    return timeout > 1000000000 ? 1000000000 : static_cast<int>(timeout);
}

// One round of the loop: waits for any descriptor, then serves each one.
// False when a signal handler interrupted the wait.
static bool pollOnce(QELChildProcess& c, int64_t limitEnd, int64_t now, bool pipeSignalWasPending)
{
    if (c.inputSource != DescriptorInput && c.pipes[0] >= 0)
        refillInput(c);
    struct pollfd fds[4];
    int count = 0;
    int inputIndex = -1, outputIndex = -1, errorIndex = -1, processIndex = -1;
    if (c.pipes[0] >= 0 && c.pendingLeft > 0) {
        inputIndex = count;
        fds[count++] = { c.pipes[0], POLLOUT, 0 };
    } else if (c.pipes[0] >= 0 && c.inputSource == DescriptorInput) {
        inputIndex = count;
        fds[count++] = { c.inputFd, POLLIN, 0 };
    }
    if (c.pipes[1] >= 0) {
        outputIndex = count;
        fds[count++] = { c.pipes[1], POLLIN, 0 };
    }
    if (c.pipes[2] >= 0) {
        errorIndex = count;
        fds[count++] = { c.pipes[2], POLLIN, 0 };
    }
    if (c.processFd >= 0) {
        processIndex = count;
        fds[count++] = { c.processFd, POLLIN, 0 };
    }
    int ready = poll(fds, static_cast<nfds_t>(count), pollTimeout(c, limitEnd, now));
    if (ready < 0)
        return errno != EINTR;
    if (inputIndex >= 0 && fds[inputIndex].revents != 0) {
        if (c.pendingLeft > 0)
            writePending(c, pipeSignalWasPending);
        else
            refillInput(c);
        if (c.pendingLeft > 0)
            writePending(c, pipeSignalWasPending);
    }
    if (outputIndex >= 0 && fds[outputIndex].revents != 0)
        readStream(c, 1);
    if (errorIndex >= 0 && fds[errorIndex].revents != 0)
        readStream(c, 2);
    if (processIndex < 0 || fds[processIndex].revents != 0)
        reapIfEnded(c, c.reaped);
    return true;
}

// The end of a run: input closed, the deserializer flushed (a last line
// without its line end is delivered) and dropped.
static void finishRun(QELChildProcess& c)
{
    closeFd(c.pipes[0]);
    closeFd(c.processFd);
    if (c.deserializer != NULL) {
        c.deserializer->flush();
        delete c.deserializer;
        c.deserializer = NULL;
    }
    c.state = QELChildProcess::Finished;
}

// After a successful spawn: the process descriptor, the deserializer, the
// first input and the policy's deadline.
static void beginRun(QELChildProcess& c)
{
    c.processFd = static_cast<int>(syscall(SYS_pidfd_open, c.pid, 0));
    if (c.streams[2] == QELChildProcess::Pipe && c.log != NULL)
        c.deserializer = qelNew<QELRunnerLogDeserializer>(c.log, c.refusedRecordCallback);
    c.inputEnded = c.pipes[0] < 0;
    if (c.inputSource == WholeInput) {
        c.pendingData = c.inputBytes.p;
        c.pendingLeft = c.inputBytes.size;
        if (c.pendingLeft == 0) {
            c.inputEnded = true;
            closeFd(c.pipes[0]);
        }
    } else if (c.inputBuffer.size < static_cast<unsigned int>(PIECE)) {
        c.inputBuffer.setSize(PIECE);
    }
    c.deadline = c.timeoutMs >= 0 ? nowMs() + c.timeoutMs : -1;
}

// ---------------------------------------------------------------------------
// Operations.
// ---------------------------------------------------------------------------

QELChildProcess::QELChildProcess()
    : searchPath(false), ownProcessGroup(false), streams{ Pipe, Pipe, Pipe }, log(NULL), timeoutMs(-1), graceMs(-1),
      inputFd(-1), state(NotStarted), pid(-1), code(-1), signal(0), timeoutHit(false), startCause(NoFailure),
      startErrno(0), pipes{ -1, -1, -1 }, processFd(-1), reaped(false), inputSource(WholeInput), inputEnded(false),
      pendingData(NULL), pendingLeft(0), inputWritten(0), deadline(-1), policyStep(0), deserializer(NULL)
{
    QEL_OPERATION("QELChildProcess::QELChildProcess()");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
}

QELChildProcess::QELChildProcess(const QELString& program) : QELChildProcess()
{
    QEL_OPERATION("QELChildProcess::QELChildProcess(const QELString&)");
    this->program = program;
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
}

QELChildProcess::~QELChildProcess()
{
    QEL_OPERATION("QELChildProcess::~QELChildProcess()");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    if (state == Running) {
        sendSignal(SIGKILL);
        while (!reaped) {
            int status;
            if (waitpid(pid, &status, 0) == pid || errno != EINTR)
                reaped = true;
        }
    }
    for (int& fd : pipes)
        closeFd(fd);
    closeFd(processFd);
    delete deserializer;
}

QELChildProcess& QELChildProcess::addArgument(const QELString& argument)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::addArgument(const QELString&)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    arguments.push_back(argument);
    return *this;
}

QELChildProcess& QELChildProcess::setEnvironment(const QELString& name, const QELString& value)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::setEnvironment(const QELString&, const QELString&)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    environmentSet.push_back(name + QELString("=") + value);
    return *this;
}

QELChildProcess& QELChildProcess::unsetEnvironment(const QELString& name)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::unsetEnvironment(const QELString&)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    environmentUnset.push_back(name);
    return *this;
}

QELChildProcess& QELChildProcess::setInput(const QELString& text)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::setInput(const QELString&)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    inputBytes = QELBlob(text.p, static_cast<unsigned int>(text.len));
    inputSource = WholeInput;
    return *this;
}

QELChildProcess& QELChildProcess::setInput(const QELGBlob& bytes)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::setInput(const QELGBlob&)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    inputBytes = QELBlob(bytes.p, bytes.size);
    inputSource = WholeInput;
    return *this;
}

QELChildProcess& QELChildProcess::setInput(const InputCallback& callback)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::setInput(const InputCallback&)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    inputCallback = callback;
    inputSource = CallbackInput;
    return *this;
}

QELChildProcess& QELChildProcess::setInputDescriptor(int fd)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::setInputDescriptor(int)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    inputFd = fd;
    inputSource = DescriptorInput;
    return *this;
}

QELChildProcess& QELChildProcess::setTimeout(int64_t timeout, int64_t grace)
{
    QEL_OPERATION("QELChildProcess& QELChildProcess::setTimeout(int64_t, int64_t)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    timeoutMs = timeout;
    graceMs = grace;
    return *this;
}

bool QELChildProcess::start()
{
    QEL_OPERATION("bool QELChildProcess::start()");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    if (state != NotStarted)
        return false;
    int childEnds[3] = { -1, -1, -1 };
    bool opened = true;
    for (int i = 0; i < 3 && opened; i++)
        opened = openStream(*this, i, childEnds[i]);
    int error = opened ? runnableError(*this) : (errno != 0 ? errno : EMFILE);
    if (opened && error == 0)
        error = spawnChild(*this, childEnds);
    for (int& fd : childEnds)
        closeFd(fd);
    if (error != 0) {
        for (int& fd : pipes)
            closeFd(fd);
        if (opened) {
            classifyFailure(*this, error);
        } else {
            startCause = SpawnFailed;
            startErrno = error;
        }
        state = StartFailed;
        QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
        return false;
    }
    beginRun(*this);
    state = Running;
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    return true;
}

bool QELChildProcess::wait(int64_t limitMs)
{
    QEL_OPERATION("bool QELChildProcess::wait(int64_t)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    if (state != Running)
        return state == Finished;
    int64_t limitEnd = limitMs < 0 ? -1 : nowMs() + limitMs;
    PipeSignalBlock pipeSignal;
    for (;;) {
        int64_t now = nowMs();
        if (!reaped || ownProcessGroup)
            applyTimeoutPolicy(*this, now);
        if (reaped)
            closeFd(pipes[0]);
        if (reaped && pipes[1] < 0 && pipes[2] < 0) {
            finishRun(*this);
            break;
        }
        if (!pollOnce(*this, limitEnd, now, pipeSignal.wasPending))
            break;
        if (limitEnd >= 0 && nowMs() >= limitEnd && !(reaped && pipes[1] < 0 && pipes[2] < 0))
            break;
    }
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    return state == Finished;
}

bool QELChildProcess::run()
{
    QEL_OPERATION("bool QELChildProcess::run()");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    bool started = start();
    while (started && running() && !wait()) {
        // A signal handler interrupted the wait: wait on.
    }
    bool done = started && finished();
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    return done;
}

void QELChildProcess::closeInput()
{
    QEL_OPERATION("void QELChildProcess::closeInput()");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    closeFd(pipes[0]);
    pendingLeft = 0;
    inputEnded = true;
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
}

bool QELChildProcess::sendSignal(int signalNumber)
{
    QEL_OPERATION("bool QELChildProcess::sendSignal(int)");
    QEL_ASSERT(QEL_CHILD_PROCESS_INVARIANT(this));
    if (state != Running || (reaped && !ownProcessGroup))
        return false;
    return ::kill(ownProcessGroup ? -pid : pid, signalNumber) == 0;
}

bool QELChildProcess::terminate()
{
    return sendSignal(SIGTERM);
}

bool QELChildProcess::kill()
{
    return sendSignal(SIGKILL);
}

QELString QELChildProcess::startFailureText() const
{
    if (state != StartFailed)
        return QELString();
    QELString text(causeText(startCause));
    if (startCause == IsDirectory) // its EACCES would only say "Permission denied"
        return text;
    return text + QELString(" (") + QELString(strerror(startErrno)) + QELString(")");
}
