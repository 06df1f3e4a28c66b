// QELTestChild: runs a test program (usually this one again, or a copy of it)
// as a child with its standard output and error collected, for the tests
// whose outcome depends on what a process sees when it loads the library.
#ifndef QELTESTCHILD_H
#define QELTESTCHILD_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

// The wait status (-1 when the child could not be started) and everything
// the child wrote to its standard output and error.
struct ChildRun {
    int status;
    std::string output;
};

// The resolved path of this executable (empty when it cannot be read): a
// tool such as valgrind would resolve /proc/self/exe itself to its own.
inline std::string SelfPath()
{
    char buffer[4096];
    const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

// An environment change for the child: a null value unsets the variable.
typedef std::pair<const char*, const char*> EnvironmentChange;

// Runs `program` with argv `arguments` (argv[0] first) and the environment
// changed as given, and waits for it. Every buffer is built before fork; the
// child leaves through _exit when exec fails, so that this process's exit
// handlers do not run twice.
inline ChildRun RunChild(const std::string& program, const std::vector<std::string>& arguments,
                         const std::vector<EnvironmentChange>& changes = {})
{
    std::vector<char*> argv;
    for (const std::string& a : arguments)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    int fds[2];
    if (pipe(fds) != 0)
        return { -1, "pipe failed" };
    pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        return { -1, "fork failed" };
    }
    if (pid == 0) {
        dup2(fds[1], 1);
        dup2(fds[1], 2);
        close(fds[0]);
        close(fds[1]);
        for (const EnvironmentChange& change : changes) {
            if (change.second != nullptr)
                setenv(change.first, change.second, 1);
            else
                unsetenv(change.first);
        }
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(fds[1]);
    ChildRun run = { -1, std::string() };
    char buffer[4096];
    ssize_t n;
    while ((n = read(fds[0], buffer, sizeof buffer)) > 0)
        run.output.append(buffer, static_cast<size_t>(n));
    close(fds[0]);
    waitpid(pid, &run.status, 0);
    return run;
}

#endif
