// Regex patterns for the death tests: a literal text quoted for POSIX
// extended regex, and an operation's signature as either compiler prints it.
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

// A signature as g++ prints it ("T* f(const U&)"); clang writes "T *f(const
// U &)", so a space may stand on either side of each '*' and '&'.
inline std::string Signature(const std::string& s)
{
    std::string r;
    for (size_t i = 0; i < s.size(); i++) {
        char c = s[i];
        if (c == '*' || c == '&') {
            r += std::string(" ?") + (c == '*' ? "\\*" : "&") + " ?";
            if (i + 1 < s.size() && s[i + 1] == ' ')
                i++;
        } else if (strchr("\\^$.|?+()[]{}", c) != NULL) {
            r += '\\';
            r += c;
        } else {
            r += c;
        }
    }
    return r;
}

#endif
