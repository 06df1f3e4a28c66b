// QELLogEventGenerator: reproducible random log events for the round-trip
// tests of the deserializer and of child processes (the child and its parent
// draw the same events from the same seed).
#ifndef QELLOGEVENTGENERATOR_H
#define QELLOGEVENTGENERATOR_H

#include <stdint.h>

#include <string>

#include "QELException.h"
#include "QELString.h"

// A small generator whose sequence depends on nothing but the seed.
struct QELTestRandom {
    uint64_t state;
    explicit QELTestRandom(uint64_t seed) : state(seed * 2654435761u + 1) {}
    uint32_t next()
    {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<uint32_t>(state >> 32);
    }
    // Uniform enough in [0, n).
    uint32_t below(uint32_t n) { return n == 0 ? 0 : next() % n; }
};

// Text built from the characters that the XML form escapes, markup look-
// alikes, plain ASCII and UTF-8 of two to four bytes.
inline std::string randomLogText(QELTestRandom& random, int maxPieces)
{
    static const char* const pieces[] = {
        "\"", "<", ">", "&", "\t", "\n", "\r", "\r\n", "'", " ", "a", "Z", "0", "=", "/",
        "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "&amp;", "]]>", "<!--", "-->",
        "<!-- QELLog size=", "<Message type=\"INFO\">", "</Message>", "word", "  ",
    };
    const int count = sizeof pieces / sizeof pieces[0];
    std::string text;
    int n = static_cast<int>(random.below(static_cast<uint32_t>(maxPieces) + 1));
    for (int i = 0; i < n; i++)
        text += pieces[random.below(count)];
    return text;
}

// A code as callers write them: written unescaped, so only safe characters.
inline std::string randomLogCode(QELTestRandom& random)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";
    std::string code;
    int n = random.below(3) == 0 ? 0 : static_cast<int>(random.below(12)) + 1;
    for (int i = 0; i < n; i++)
        code += alphabet[random.below(sizeof alphabet - 1)];
    return code;
}

// An event of a random level 0 to 6, code, stack trace, message and second
// (from 1970 to 2099).
inline QELLogEvent randomLogEvent(QELTestRandom& random, int maxPieces)
{
    std::string message = randomLogText(random, maxPieces);
    std::string code = randomLogCode(random);
    std::string stack = random.below(2) == 0 ? std::string() : randomLogText(random, 8);
    int type = static_cast<int>(random.below(7));
    long seconds = static_cast<long>(random.below(4102444800u));
    QELLogEvent event(QELString(message.data(), static_cast<int>(message.size())),
                      QELString(code.data(), static_cast<int>(code.size())), type,
                      QELString(stack.data(), static_cast<int>(stack.size())));
    event.timestamp.setDate(seconds);
    return event;
}

#endif
