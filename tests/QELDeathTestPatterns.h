// Regex patterns for the death tests: a literal text quoted for POSIX
// extended regex, and the whole line the C library's assertion reporter
// prints for a failed check, matched exactly, so that a report that differs
// by one blank between compilers fails.
#ifndef QELDEATHTESTPATTERNS_H
#define QELDEATHTESTPATTERNS_H

#include <cstring>
#include <string>

// The text with every regex special character escaped.
inline std::string Quote(const std::string& s)
{
    std::string r;
    for (char c : s) {
        if (strchr("\\^$.|?*+()[]{}", c) != NULL)
            r += '\\';
        r += c;
    }
    return r;
}

// ": FILE:LINE: SIGNATURE: Assertion `EXPRESSION' failed." with the bare
// source file name; linePattern is a regex for the line.
inline std::string ReportLine(const std::string& file, const std::string& linePattern,
                              const std::string& signature, const std::string& expression)
{
    return ": " + Quote(file) + ":" + linePattern + ": " + Quote(signature) + ": Assertion `" +
           Quote(expression) + "' failed\\.";
}

// The report of a check whose line moves with the source.
inline std::string AssertionReport(const std::string& file, const std::string& signature,
                                   const std::string& expression)
{
    return ReportLine(file, "[0-9]+", signature, expression);
}

// The report of a check on a fixed line.
inline std::string AssertionReportAt(const std::string& file, int line, const std::string& signature,
                                     const std::string& expression)
{
    return ReportLine(file, std::to_string(line), signature, expression);
}

#endif
