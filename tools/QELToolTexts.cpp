// QELToolTexts: the messages of the command-line tools.
#include "QELToolTexts.h"

#define QEL_TOOL_TEXT_INIT(name, text, level) name(#name, text, level),
#define QEL_TOOL_TEXT_LIST(name, text, level) *literal++ = &name;
#define QEL_TOOL_TEXT_COUNT(name, text, level) +1

QELToolTexts::QELToolTexts() : QEL_TOOL_TEXTS(QEL_TOOL_TEXT_INIT) literals()
{
    static_assert(0 QEL_TOOL_TEXTS(QEL_TOOL_TEXT_COUNT) < sizeof literals / sizeof literals[0],
                  "the literals and the list's null end must fit the array");
    QELTextLiteral** literal = literals;
    QEL_TOOL_TEXTS(QEL_TOOL_TEXT_LIST)
    *literal = nullptr;
    init();
}

QELToolTexts& QELToolTexts::texts()
{
    static QELToolTexts collection;
    return collection;
}

QELString QELToolTexts::getCollectionName()
{
    return QELString("QELTools");
}

QELTextLiteral** QELToolTexts::getTextLiterals()
{
    return literals;
}
