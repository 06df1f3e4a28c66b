// QELToolSupport: argument parsing, level names and messages of the tools.
#include "QELToolSupport.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "../std/QELMemory.h"
#include "QELException.h"
#include "QELToolTexts.h"
#include "QELVersion.h"

// The tools are programs, so they may replace the global allocation
// functions (a library may not): a failed allocation anywhere in a tool,
// its strings and containers included, ends it with the size that failed
// instead of an uncaught std::bad_alloc.
void* operator new(size_t bytes)
{
    return qelAllocate(bytes != 0 ? bytes : 1);
}

void* operator new[](size_t bytes)
{
    return qelAllocate(bytes != 0 ? bytes : 1);
}

// The library's own checked allocations use the nothrow forms; they come
// from the same place so that every delete matches its new.
void* operator new(size_t bytes, const std::nothrow_t&) noexcept
{
    return qelAllocate(bytes != 0 ? bytes : 1);
}

void* operator new[](size_t bytes, const std::nothrow_t&) noexcept
{
    return qelAllocate(bytes != 0 ? bytes : 1);
}

void operator delete(void* block, const std::nothrow_t&) noexcept
{
    free(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept
{
    free(block);
}

void operator delete(void* block) noexcept
{
    free(block);
}

void operator delete[](void* block) noexcept
{
    free(block);
}

void operator delete(void* block, size_t) noexcept
{
    free(block);
}

void operator delete[](void* block, size_t) noexcept
{
    free(block);
}

namespace {

bool listed(const char* word, const char* const* list)
{
    for (; *list != nullptr; list++)
        if (std::strcmp(word, *list) == 0)
            return true;
    return false;
}

// The option name of "--name=value" in `name` and its value in `value`;
// false for a word without "=".
bool splitAssignment(const char* word, QELString& name, QELString& value)
{
    const char* equals = std::strchr(word, '=');
    if (word[1] != '-' || equals == nullptr)
        return false;
    name = QELString(word, static_cast<int>(equals - word));
    value = QELString(equals + 1);
    return true;
}

} // namespace

bool ToolArguments::parse(int argc, char** argv, const char* const* valued, const char* const* flags, QELString& bad,
                          bool optionsEndAtFirstWord)
{
    bool optionsEnded = false;
    QELString name, value;
    for (int i = 0; i < argc; i++) {
        const char* word = argv[i];
        if (optionsEnded || word[0] != '-' || word[1] == '\0') {
            words.push_back(QELString(word));
            optionsEnded = optionsEnded || optionsEndAtFirstWord;
        } else if (std::strcmp(word, "--") == 0) {
            optionsEnded = true;
        } else if (listed(word, flags) || std::strcmp(word, "-h") == 0) {
            names.push_back(QELString(word[1] == 'h' ? "--help" : word));
            values.push_back(QELString());
        } else if (splitAssignment(word, name, value) && listed(name.chars(), valued)) {
            names.push_back(name);
            values.push_back(value);
        } else if (listed(word, valued) && i + 1 < argc) {
            names.push_back(QELString(word));
            values.push_back(QELString(argv[++i]));
        } else {
            missingValue = listed(word, valued);
            bad = QELString(word);
            return false;
        }
    }
    return true;
}

bool ToolArguments::has(const char* name) const
{
    for (const QELString& n : names)
        if (n == name)
            return true;
    return false;
}

QELString ToolArguments::value(const char* name) const
{
    for (size_t i = names.size(); i-- > 0;)
        if (names[i] == name)
            return values[i];
    return QELString();
}

bool parseLevel(const QELString& text, int& level)
{
    const char* s = text.chars();
    if (s[0] >= '0' && s[0] <= '6' && s[1] == '\0') {
        level = s[0] - '0';
        return true;
    }
    for (int i = 0; i <= 6; i++) {
        if (strcasecmp(s, MESSAGE_XML_TYPES[i]) == 0) {
            level = i;
            return true;
        }
    }
    return false;
}

QELString fillLiteral(const QELParameterizedTextLiteral& literal, std::initializer_list<QELString> arguments)
{
    if (literal.parameterCount < 1)
        return literal.text;
    void* values = literal.prapareForParameters();
    int index = 0;
    for (const QELString& argument : arguments) {
        if (index > literal.maxParameterNumber)
            break;
        literal.setParameterValue(values, index++, argument);
    }
    return literal.createParametrizedText(values);
}

void toolError(const char* program, const QELParameterizedTextLiteral& message,
               std::initializer_list<QELString> arguments)
{
    std::fprintf(stderr, "%s: %s\n", program, fillLiteral(message, arguments).chars());
}

int toolUsage(const char* program, const QELParameterizedTextLiteral& message,
              std::initializer_list<QELString> arguments)
{
    toolError(program, message, arguments);
    toolError(program, QELToolTexts::texts().seeHelp, { QELString(program) });
    return 2;
}

void toolHelp(const QELTextLiteral& help)
{
    std::fputs(help.text.chars(), stdout);
    std::fputc('\n', stdout);
}

int toolBadOption(const char* program, const ToolArguments& args, const QELString& bad)
{
    const QELToolTexts& texts = QELToolTexts::texts();
    return toolUsage(program, args.missingValue ? texts.missingArgument : texts.unknownOption, bad);
}

void toolVersion(const char* program)
{
    std::printf("%s (QELStd) %s\n", program, qelStdVersion());
}

bool toolOutputFailed()
{
    return std::ferror(stdout) != 0;
}

int toolFinish(const char* program, int status)
{
    // errno still holds the cause of an earlier failed write when only the
    // error flag tells of it.
    int error = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        error = errno != 0 ? errno : EIO;
    if (std::fclose(stdout) != 0 && error == 0)
        error = errno != 0 ? errno : EIO;
    if (error == 0)
        return status;
    toolError(program, QELToolTexts::texts().writeError, QELString(std::strerror(error)));
    return 1;
}

void toolSystemError(const char* program, const QELParameterizedTextLiteral& message, const QELString& subject,
                     int error)
{
    toolError(program, message, { subject, QELString(std::strerror(error)) });
}

namespace {

// The length of the UTF-8 sequence at `text` (at most `left` bytes), or 0
// when it is not one.
size_t utf8SequenceLength(const unsigned char* text, size_t left)
{
    unsigned char lead = text[0];
    size_t length = lead < 0x80        ? 1
        : lead >= 0xC2 && lead <= 0xDF ? 2
        : lead >= 0xE0 && lead <= 0xEF ? 3
        : lead >= 0xF0 && lead <= 0xF4 ? 4
                                       : 0;
    if (length == 0 || length > left)
        return 0;
    for (size_t i = 1; i < length; i++)
        if ((text[i] & 0xC0) != 0x80)
            return 0;
    // Overlong forms, surrogates and code points above U+10FFFF.
    if ((lead == 0xE0 && text[1] < 0xA0) || (lead == 0xED && text[1] >= 0xA0) || (lead == 0xF0 && text[1] < 0x90)
        || (lead == 0xF4 && text[1] >= 0x90))
        return 0;
    return length;
}

} // namespace

void appendJsonString(std::string& out, const char* text, size_t length)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    out += '"';
    for (size_t i = 0; i < length;) {
        unsigned char c = bytes[i];
        size_t sequence = utf8SequenceLength(bytes + i, length - i);
        if (sequence == 0) {
            out += "\xEF\xBF\xBD";
            sequence = 1;
        } else if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out.append(text + i, sequence);
        }
        i += sequence;
    }
    out += '"';
}
