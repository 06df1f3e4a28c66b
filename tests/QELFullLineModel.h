// QELFullLineModel: the rules of QELFile::getFullLine written one character
// at a time, for the tests and the fuzz target to compare the reader with.
// The caller reads the chunks (at most 1023 characters of one physical line)
// in its own way; the model applies the character rules to each and says
// after each whether the logical line goes on.
#ifndef QELFULLLINEMODEL_H
#define QELFULLLINEMODEL_H

#include <cstring>
#include <string>

#include "QELFile.h"

class FullLineModel {
public:
    // A chunk this long may be followed by more of the same physical line.
    static constexpr size_t FULL_CHUNK = 1023;

    explicit FullLineModel(int flags) : flags(flags), skipping((flags & QEL_LINE_TRIM) != 0) {}

    // Applies the character rules to n characters of a physical line.
    void take(const char* chunk, size_t n)
    {
        for (size_t i = 0; i < n; i++) {
            unsigned char c = static_cast<unsigned char>(chunk[i]);
            if (skipping) {
                if (c < FIRST_VISIBLE)
                    continue;
                skipping = false;
            }
            if (c == '"')
                takeQuote();
            else if (c == '\\')
                takeBackslash();
            else if (c != 0 && strchr(ESCAPE_LETTERS, c) != NULL)
                takeEscapeLetter(c);
            else
                append(c);
        }
    }

    // After a chunk: true when the logical line is complete. `lineEnded`
    // says whether the chunk ended its physical line.
    bool ends(bool lineEnded)
    {
        if (prev == '\r') {
            out.pop_back();
            prev = out.empty() ? NONE : static_cast<unsigned char>(out.back());
        }
        if (!lineEnded)
            return false;
        if (quoted && (flags & QEL_LINE_QUOTES_CONTINUE)) {
            out += '\n';
            return false;
        }
        if (prev != '\\')
            return true;
        if (flags & QEL_LINE_BACKSLASH_CONTINUES) {
            out.back() = '\n';
        } else if (flags & QEL_LINE_BACKSLASH_JOINS) {
            if (out.size() >= 2 && out[out.size() - 2] == '\\')
                out.resize(out.size() - 2);
            else
                out.back() = '\n';
        } else {
            return true;
        }
        prev = NONE;
        return false;
    }

    // The logical line: trailing codes below 33 dropped under QEL_LINE_TRIM,
    // cut at its first NUL.
    std::string result() const
    {
        std::string r = out;
        if (flags & QEL_LINE_TRIM)
            while (!r.empty() && static_cast<unsigned char>(r.back()) < FIRST_VISIBLE)
                r.pop_back();
        return r.substr(0, strlen(r.c_str()));
    }

private:
    static constexpr int NONE = -1;
    static constexpr unsigned char FIRST_VISIBLE = 33;
    static constexpr const char* ESCAPE_LETTERS = "abfnrtv";
    static constexpr const char* ESCAPED = "\a\b\f\n\r\t\v";

    void append(unsigned char c)
    {
        out += static_cast<char>(c);
        prev = c;
        run = 0;
    }

    void takeQuote()
    {
        run++;
        if (run == 3 && (flags & QEL_LINE_TRIPLE_QUOTES)) {
            out += '"';
            prev = NONE;
            run = 0;
        } else if (prev == '\\' && (flags & QEL_LINE_ESCAPED_QUOTES)) {
            out.back() = '"';
            prev = NONE;
            run = 0;
        } else {
            quoted = !quoted;
            out += '"';
            prev = '"';
        }
    }

    void takeBackslash()
    {
        const int pairs = QEL_LINE_BACKSLASH_CONTINUES | QEL_LINE_ESCAPED_QUOTES | QEL_LINE_ESCAPES;
        if (prev == '\\' && (flags & pairs)) {
            prev = NONE;
            run = 0;
        } else {
            append('\\');
        }
    }

    void takeEscapeLetter(unsigned char c)
    {
        if (prev == '\\' && (flags & QEL_LINE_ESCAPES)) {
            out.back() = ESCAPED[strchr(ESCAPE_LETTERS, c) - ESCAPE_LETTERS];
            prev = NONE;
            run = 0;
        } else {
            append(c);
        }
    }

    int flags;
    std::string out;
    bool quoted = false;
    bool skipping;
    int run = 0;
    int prev = NONE;
};

#endif
