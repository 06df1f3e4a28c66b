// QELToolSupport: argument parsing, level names and messages shared by the
// command-line tools. Exit codes: 0 success, 1 a failure the user can mend,
// 2 bad usage.
#ifndef QELTOOLSUPPORT_H
#define QELTOOLSUPPORT_H

#include <initializer_list>
#include <string>
#include <vector>

#include "QELString.h"
#include "QELTextLiteral.h"

// Options and plain words of a command line. Valued options take the next
// word or the text after "=" ("--level=3"); flags take none; every other
// word starting with "-" is unknown. "--" ends the options; so does the
// first plain word when `optionsEndAtFirstWord` is set, so that a command's
// operands may start with "-" ("set Java/RunTime/Options -Xmx1g").
struct ToolArguments {
    std::vector<QELString> names;
    std::vector<QELString> values;
    std::vector<QELString> words;
    // Set by a failed parse when the offending option lacked its value.
    bool missingValue = false;

    // False with the offending word in `bad` for an unknown option or a
    // valued option without its value.
    bool parse(int argc, char** argv, const char* const* valued, const char* const* flags, QELString& bad,
               bool optionsEndAtFirstWord = false);
    bool has(const char* name) const;
    // The option's value, or the empty string.
    QELString value(const char* name) const;
};

// A level given as a number 0 to 6 or as a name ("NONE", "ERROR",
// "warning", ...). False when it is neither.
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

// Reports a failed ToolArguments::parse (unknown option or missing value)
// and returns 2.
int toolBadOption(const char* program, const ToolArguments& args, const QELString& bad);

// Prints a help text on standard output.
void toolHelp(const QELTextLiteral& help);

// Prints "PROGRAM (QELStd) VERSION" with the loaded library's version.
void toolVersion(const char* program);

// Flushes and closes standard output and returns `status`, or reports
// "write error: <cause>" and returns 1 when any write to it failed, as
// coreutils do (a full disk or a closed pipe must not look like success).
int toolFinish(const char* program, int status);

// True once a write to standard output has failed: long-running loops stop.
bool toolOutputFailed();

// "program: message" for a system call's failure: the literal filled with
// `subject` and strerror(error).
void toolSystemError(const char* program, const QELParameterizedTextLiteral& message, const QELString& subject,
                     int error);

// `text` as a JSON string, quotes included, appended to `out`. Bytes that
// are not UTF-8 become U+FFFD, so that the result is always valid JSON.
void appendJsonString(std::string& out, const char* text, size_t length);

#endif
