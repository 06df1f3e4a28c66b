// QELToolSupport: argument parsing, level names and messages of the tools.
#include "QELToolSupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "../std/QELMemory.h"
#include "QELException.h"
#include "QELToolTexts.h"

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

} // namespace

bool ToolArguments::parse(int argc, char** argv, const char* const* valued, const char* const* flags, QELString& bad)
{
    bool optionsEnded = false;
    for (int i = 0; i < argc; i++) {
        const char* word = argv[i];
        if (optionsEnded || word[0] != '-' || word[1] == '\0') {
            words.push_back(QELString(word));
        } else if (std::strcmp(word, "--") == 0) {
            optionsEnded = true;
        } else if (listed(word, flags) || std::strcmp(word, "-h") == 0) {
            names.push_back(QELString(word[1] == 'h' ? "--help" : word));
            values.push_back(QELString());
        } else if (listed(word, valued) && i + 1 < argc) {
            names.push_back(QELString(word));
            values.push_back(QELString(argv[++i]));
        } else {
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
    for (int i = 1; i <= 6; i++) {
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
