// QELMessage: a printf-like message template with a fixed argument count.
#ifndef QELMESSAGE_H
#define QELMESSAGE_H

#include "QELExport.h"
#include "QELString.h"

// A message template ("%s" per argument, "%%" for a percent sign) that is its
// own text: the template string comes first, so a message can be used
// wherever its text is needed. The argument count is fixed by the first text
// given (-1 while there is none); a later text with another count is ignored.
class QEL_API QELMessage : public QELString {
public:
    int argumentCount;

    // Empty template, argument count -1.
    QELMessage();
    // Copies `text` and counts its markers; aborts on a malformed marker.
    QELMessage(const char* text);

    // Replaces the template by a copy of `text` when the message has no count
    // yet (-1) or `text` has the same count; deliberately ignores it
    // otherwise, keeping the old template. The stored count never changes.
    void operator=(const char* text);

    // Counts "%s" markers, and, deliberately, "%%" pairs as well. Any other
    // character after "%" (the terminator included) aborts through the
    // assertion. Returns 0 for a null text or one without "%".
    int countArguments(const char* text);
};

#endif
