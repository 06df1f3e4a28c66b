// QELMessage: message templates and the counting of their markers.
#include "QELMessage.h"
#include "QELAssert.h"

QEL_SOURCE_FILE("QELMessage.cpp");

QELMessage::QELMessage() : QELString(), argumentCount(-1)
{
}

QELMessage::QELMessage(const char* text) : QELString(text), argumentCount(-1)
{
    argumentCount = countArguments(text);
}

void QELMessage::operator=(const char* text)
{
    int n = countArguments(text);
    if (argumentCount == -1 || argumentCount == n) {
        QELString source;
        source.wrap(text); // copied by the assignment, never owned
        QELString::operator=(source);
    }
}

int QELMessage::countArguments(const char* text)
{
    QEL_OPERATION("int QELMessage::countArguments(const char*)");
    int count = 0;
    if (text == NULL)
        return 0;
    for (const char* p = text; *p != '\0'; p++) {
        if (*p == '%') {
            // "%s" is one argument; "%%" is skipped (p++) and counted too.
            // The report quotes this expression as it is written here.
            // clang-format off
            QEL_ASSERT((*(p+1)=='s') || (*(p+1)=='%' && p++));
            // clang-format on
#ifdef NDEBUG                    // a build with QEL_ASSERTIONS=OFF drops the assertion and its skip
            if (*(p + 1) == '%') // the skip the assertion would have made
                p++;
#endif
            count++;
        }
    }
    return count;
}
