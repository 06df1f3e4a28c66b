// QELTextLiteral: translatable texts, parameterised texts and message texts.
#ifndef QELTEXTLITERAL_H
#define QELTEXTLITERAL_H

#include <cstdint>

#include "QELExport.h"
#include "QELString.h"

// The element of a translation file that supplied a text; opaque here, only
// passed through to update().
class QELDOMElement;

// Neither string of a literal is locked.
// clang-format off
#define QEL_TEXT_LITERAL_INVARIANT(l) ( ((l)->id.len>=0) && ((l)->text.len>=0) )
// clang-format on

// A placeholder-free text has no token arrays and a count of 0; a tokenised
// one has both arrays and a positive count; no number is below -1.
// clang-format off
#define QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(l) ( ( ((l)->preprocessedTextTokens==NULL) == ((l)->preprocessedParameterSequenceTokens==NULL) ) && ( ((l)->preprocessedTextTokens==NULL) ? ((l)->parameterCount==0) : ((l)->parameterCount>0) ) && ((l)->maxParameterNumber>=-1) )
// clang-format on

// The level is one of the log levels 0 ("NONE") to 6 ("DEBUG").
// clang-format off
#define QEL_MESSAGE_LITERAL_INVARIANT(l) ( ((l)->level>=0) && ((l)->level<=6) )
// clang-format on

// One translatable text of the user interface: a fixed id and the current
// (translated) text. Owns both strings. Collections change the text through
// update() when a translation file supplies one.
class QEL_API QELTextLiteral {
public:
    QELString id;
    QELString text;

    QELTextLiteral(const QELString& id, const QELString& text);
    virtual ~QELTextLiteral();

    // A non-empty text replaces the current one; an empty text changes
    // nothing. The element is not used here.
    virtual void update(const QELString& text, const QELDOMElement* element);
};

// A text with numbered placeholders «{n}», split once into constant pieces so
// that filling in values is a plain concatenation. Owns both token arrays,
// which are null while the text has no placeholder. Deliberate: «{}» is
// parameter 0, and a "{" that is no placeholder drops the text before it.
class QEL_API QELParameterizedTextLiteral : public QELTextLiteral {
public:
    QELString* preprocessedTextTokens;
    int32_t* preprocessedParameterSequenceTokens;
    int32_t parameterCount;
    int32_t maxParameterNumber;

    QELParameterizedTextLiteral(const QELString& id, const QELString& text);
    QELParameterizedTextLiteral(const QELParameterizedTextLiteral& other);
    QELParameterizedTextLiteral& operator=(const QELParameterizedTextLiteral& other);
    virtual ~QELParameterizedTextLiteral();

    // As the base; a non-empty text is tokenised afresh.
    virtual void update(const QELString& text, const QELDOMElement* element);

    // A new array of maxParameterNumber + 1 empty values, to be filled with
    // setParameterValue and consumed by createParametrizedText. The name is
    // spelled so on purpose. Asserts when the text has no placeholder.
    void* prapareForParameters() const;
    // Assigns value to entry index of the array; the index is not checked.
    void setParameterValue(void* values, int index, const QELString& value) const;
    // The text with every placeholder replaced by its value; frees values
    // (a null array fills every placeholder with nothing). Asserts when the
    // text has no placeholder or a number lies outside 0..maxParameterNumber.
    QELString createParametrizedText(void* values) const;

    // Counts (countOnly) or tokenises the text; does nothing once tokenised.
    void preprocessParameters(bool countOnly);
};

// A parameterised text that also carries a message level, derived from the
// level word given at construction ("FATAL" 1 ... "DEBUG" 6, anything else
// 0). additionalText stays empty: nothing in this library sets it.
class QEL_API QELMessageLiteral : public QELParameterizedTextLiteral {
public:
    QELString levelName;
    int32_t level;
    QELString additionalText;

    QELMessageLiteral(const QELString& id, const QELString& text, const QELString& levelName);
    virtual ~QELMessageLiteral();

    // Sets level from levelName, exact and case-sensitive; no match gives 0.
    void initLevel();
};

#endif
