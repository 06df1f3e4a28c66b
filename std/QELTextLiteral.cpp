// QELTextLiteral: translatable texts, their placeholder tokeniser and the
// filling in of parameter values.
#include "QELTextLiteral.h"
#include "QELMemory.h"

#include <cstring>

#include "QELAssert.h"

QEL_SOURCE_FILE("QELTextLiteral.cpp");

// ---------------------------------------------------------------------------
// QELTextLiteral

QELTextLiteral::QELTextLiteral(const QELString& id, const QELString& text) : id(id), text(text)
{
    QEL_OPERATION("QELTextLiteral::QELTextLiteral(const QELString&, const QELString&)");
    QEL_ASSERT(QEL_TEXT_LITERAL_INVARIANT(this));
}

QELTextLiteral::~QELTextLiteral()
{
    QEL_OPERATION("virtual QELTextLiteral::~QELTextLiteral()");
    QEL_ASSERT(QEL_TEXT_LITERAL_INVARIANT(this));
}

void QELTextLiteral::update(const QELString& text, const QELDOMElement* element)
{
    QEL_OPERATION("virtual void QELTextLiteral::update(const QELString&, const QELDOMElement*)");
    static_cast<void>(element);
    QEL_ASSERT(QEL_TEXT_LITERAL_INVARIANT(this));
    if (text.len > 0)
        this->text = text;
    QEL_ASSERT(QEL_TEXT_LITERAL_INVARIANT(this));
}

// ---------------------------------------------------------------------------
// QELParameterizedTextLiteral

QELParameterizedTextLiteral::QELParameterizedTextLiteral(const QELString& id, const QELString& text)
    : QELTextLiteral(id, text), preprocessedTextTokens(NULL), preprocessedParameterSequenceTokens(NULL),
      parameterCount(0), maxParameterNumber(-1)
{
    QEL_OPERATION("QELParameterizedTextLiteral::QELParameterizedTextLiteral(const QELString&, const QELString&)");
    preprocessParameters(false);
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
}

// A copy tokenises the copied text itself, which yields the same pieces.
QELParameterizedTextLiteral::QELParameterizedTextLiteral(const QELParameterizedTextLiteral& other)
    : QELTextLiteral(other.id, other.text), preprocessedTextTokens(NULL), preprocessedParameterSequenceTokens(NULL),
      parameterCount(0), maxParameterNumber(-1)
{
    QEL_OPERATION("QELParameterizedTextLiteral::QELParameterizedTextLiteral(const QELParameterizedTextLiteral&)");
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT((&other)));
    preprocessParameters(false);
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
}

QELParameterizedTextLiteral& QELParameterizedTextLiteral::operator=(const QELParameterizedTextLiteral& other)
{
    QEL_OPERATION(
        "QELParameterizedTextLiteral& QELParameterizedTextLiteral::operator=(const QELParameterizedTextLiteral&)");
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT((&other)));
    if (this != &other) {
        id = other.id;
        text = other.text;
        delete[] preprocessedTextTokens;
        delete[] preprocessedParameterSequenceTokens;
        preprocessedTextTokens = NULL;
        preprocessedParameterSequenceTokens = NULL;
        maxParameterNumber = -1;
        preprocessParameters(false);
    }
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
    return *this;
}

QELParameterizedTextLiteral::~QELParameterizedTextLiteral()
{
    QEL_OPERATION("virtual QELParameterizedTextLiteral::~QELParameterizedTextLiteral()");
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
    delete[] preprocessedTextTokens;
    delete[] preprocessedParameterSequenceTokens;
}

void QELParameterizedTextLiteral::update(const QELString& text, const QELDOMElement* element)
{
    QEL_OPERATION("virtual void QELParameterizedTextLiteral::update(const QELString&, const QELDOMElement*)");
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
    QELTextLiteral::update(text, element);
    if (text.len > 0) {
        delete[] preprocessedTextTokens;
        delete[] preprocessedParameterSequenceTokens;
        preprocessedTextTokens = NULL;
        preprocessedParameterSequenceTokens = NULL;
        preprocessParameters(false);
    }
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
}

// Two passes over the text: the first counts the placeholders, the second
// stores the constant pieces and the parameter numbers. A placeholder is "{",
// decimal digits (none means 0), "}". The scan stops at a "{" among the last
// two characters (no room for "{" digit "}"), except that a text ending in
// «{}» still ends in parameter 0. Deliberately, a "{" that is no placeholder
// moves the piece start past itself and its digits, dropping the text before
// it from the pieces.
void QELParameterizedTextLiteral::preprocessParameters(bool countOnly)
{
    if (preprocessedTextTokens != NULL)
        return;
    if (!countOnly) {
        parameterCount = 0;
        preprocessParameters(true);
        if (parameterCount < 1)
            return;
        preprocessedTextTokens = qelNewArray<QELString>(static_cast<size_t>(parameterCount) + 1);
        preprocessedParameterSequenceTokens = qelNewArray<int32_t>(static_cast<size_t>(parameterCount));
    }

    const char* s = text.p;
    const int length = text.len;
    maxParameterNumber = -1;
    int start = 0;
    int index = 0;
    while (start < length) {
        const char* brace = static_cast<const char*>(memchr(s + start, '{', static_cast<size_t>(length - start)));
        if (brace == NULL)
            break;
        const int position = static_cast<int>(brace - s);
        if (position > length - 3 && !(position == length - 2 && s[position + 1] == '}'))
            break;
        int end = position + 1;
        // A number beyond the signed 32-bit range makes the brace no
        // placeholder, as any other malformed one, instead of wrapping.
        int64_t number = 0;
        bool fits = true;
        while (end < length && s[end] >= '0' && s[end] <= '9') {
            number = number * 10 + (s[end] - '0');
            if (number > INT32_MAX) {
                fits = false;
                number = 0;
            }
            ++end;
        }
        int tokenLength = end - position;
        if (fits && end < length && s[end] == '}') {
            ++tokenLength;
            if (countOnly) {
                ++parameterCount;
            } else {
                if (position > start)
                    preprocessedTextTokens[index].append(s + start, position - start);
                const int32_t parameter = static_cast<int32_t>(number);
                preprocessedParameterSequenceTokens[index] = parameter;
                if (parameter > maxParameterNumber)
                    maxParameterNumber = parameter;
                ++index;
            }
        }
        start = position + tokenLength;
    }
    if (!countOnly && start < length)
        preprocessedTextTokens[parameterCount].append(s + start, length - start);
}

void* QELParameterizedTextLiteral::prapareForParameters() const
{
    QEL_OPERATION("void* QELParameterizedTextLiteral::prapareForParameters() const");
    QEL_ASSERT(parameterCount > 0);
    QEL_ASSERT(preprocessedTextTokens != NULL);
    QEL_ASSERT(preprocessedParameterSequenceTokens != NULL);
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
    return qelNewArray<QELString>(static_cast<size_t>(maxParameterNumber) + 1);
}

void QELParameterizedTextLiteral::setParameterValue(void* values, int index, const QELString& value) const
{
    static_cast<QELString*>(values)[index] = value;
}

QELString QELParameterizedTextLiteral::createParametrizedText(void* values) const
{
    QEL_OPERATION("QELString QELParameterizedTextLiteral::createParametrizedText(void*) const");
    QEL_ASSERT(parameterCount > 0);
    QEL_ASSERT(preprocessedTextTokens != NULL);
    QEL_ASSERT(preprocessedParameterSequenceTokens != NULL);
    QEL_ASSERT(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(this));
    QELString* parameters = static_cast<QELString*>(values);

    // Size the result once: pieces plus the values, as far as they are valid.
    unsigned int total = static_cast<unsigned int>(preprocessedTextTokens[parameterCount].len);
    for (int i = 0; i < parameterCount; ++i) {
        total += static_cast<unsigned int>(preprocessedTextTokens[i].len);
        const int32_t n = preprocessedParameterSequenceTokens[i];
        if (parameters != NULL && n >= 0 && n <= maxParameterNumber)
            total += static_cast<unsigned int>(parameters[n].len);
    }
    QELString result;
    result.resize(total);
    char* out = result.lock();
    for (int i = 0; i < parameterCount; ++i) {
        const QELString& piece = preprocessedTextTokens[i];
        memcpy(out, piece.p, static_cast<size_t>(piece.len));
        out += piece.len;
        QEL_ASSERT(preprocessedParameterSequenceTokens[i] >= 0);
        QEL_ASSERT(preprocessedParameterSequenceTokens[i] <= maxParameterNumber);
        const int32_t n = preprocessedParameterSequenceTokens[i];
        if (parameters != NULL && n >= 0 && n <= maxParameterNumber) { // sized so above
            const QELString& value = parameters[n];
            memcpy(out, value.p, static_cast<size_t>(value.len));
            out += value.len;
        }
    }
    const QELString& last = preprocessedTextTokens[parameterCount];
    memcpy(out, last.p, static_cast<size_t>(last.len));
    out[last.len] = '\0';
    result.unlock(true);

    delete[] parameters;
    return result;
}

// ---------------------------------------------------------------------------
// QELMessageLiteral

QELMessageLiteral::QELMessageLiteral(const QELString& id, const QELString& text, const QELString& levelName)
    : QELParameterizedTextLiteral(id, text), levelName(levelName), level(0), additionalText()
{
    QEL_OPERATION("QELMessageLiteral::QELMessageLiteral(const QELString&, const QELString&, const QELString&)");
    initLevel();
    QEL_ASSERT(QEL_MESSAGE_LITERAL_INVARIANT(this));
}

QELMessageLiteral::~QELMessageLiteral()
{
    QEL_OPERATION("virtual QELMessageLiteral::~QELMessageLiteral()");
    QEL_ASSERT(QEL_MESSAGE_LITERAL_INVARIANT(this));
}

void QELMessageLiteral::initLevel()
{
    QEL_OPERATION("void QELMessageLiteral::initLevel()");
    static const char* const levelWords[] = { "FATAL", "ERROR", "WARNING", "STATUS", "INFO", "DEBUG" };
    level = 0;
    for (int i = 0; i < 6; ++i) {
        if (strcmp(levelName.p, levelWords[i]) == 0) {
            level = i + 1;
            break;
        }
    }
    QEL_ASSERT(QEL_MESSAGE_LITERAL_INVARIANT(this));
}
