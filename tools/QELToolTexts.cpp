// QELToolTexts: the messages of the command-line tools.
#include "QELToolTexts.h"

#define QEL_TOOL_TEXT_INIT(name, text, level) name(#name, text, level),
#define QEL_TOOL_TEXT_LIST(name, text, level) *literal++ = &name;

QELToolTexts::QELToolTexts()
    : QEL_TOOL_TEXTS(QEL_TOOL_TEXT_INIT) literals()
{
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
