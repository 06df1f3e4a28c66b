// QELToolSupport: argument parsing, level names and messages shared by the
// command-line tools. Exit codes: 0 success, 1 a failure the user can mend,
// 2 bad usage.
#ifndef QELTOOLSUPPORT_H
#define QELTOOLSUPPORT_H

#include <initializer_list>
#include <vector>

#include "QELString.h"
#include "QELTextLiteral.h"

// Options and plain words of a command line. Valued options take the next
// word; flags take none; every other word starting with "--" is unknown.
struct ToolArguments {
    std::vector<QELString> names;
    std::vector<QELString> values;
    std::vector<QELString> words;

    // False with the offending word in `bad` for an unknown option or a
    // valued option without its value.
    bool parse(int argc, char** argv, const char* const* valued, const char* const* flags, QELString& bad);
    bool has(const char* name) const;
    // The option's value, or the empty string.
    QELString value(const char* name) const;
};

// A level given as a number 0 to 6 or as a name ("ERROR", "warning", ...).
// False when it is neither.
bool parseLevel(const QELString& text, int& level);

// The literal's text with {0}, {1}, ... replaced by the arguments in order.
QELString fillLiteral(const QELParameterizedTextLiteral& literal, std::initializer_list<QELString> arguments);

// "program: message" on standard error.
void toolError(const char* program, const QELParameterizedTextLiteral& message,
               std::initializer_list<QELString> arguments = {});
template <typename... Args>
void toolError(const char* program, const QELParameterizedTextLiteral& message, const Args&... arguments)
{
    toolError(program, message, { QELString(arguments)... });
}
inline void toolWarn(const char* program, const QELParameterizedTextLiteral& message, const QELString& argument)
{
    toolError(program, message, { argument });
}

// Reports bad usage with a hint to --help and returns 2.
int toolUsage(const char* program, const QELParameterizedTextLiteral& message,
              std::initializer_list<QELString> arguments = {});
template <typename... Args>
int toolUsage(const char* program, const QELParameterizedTextLiteral& message, const Args&... arguments)
{
    return toolUsage(program, message, { QELString(arguments)... });
}

// Prints a help text on standard output.
void toolHelp(const QELTextLiteral& help);

#endif
