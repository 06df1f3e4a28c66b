// QELException and QELLogEvent: the library's exception, its log events and
// the seven log levels with their name tables.
#ifndef QELEXCEPTION_H
#define QELEXCEPTION_H

#include <stdint.h>

#include "QELDate.h"
#include "QELExport.h"
#include "QELString.h"

// Level names 0 to 6: "NONE", "FATAL", "ERROR", "WARNING", "STATUS",
// "INFO", "DEBUG". A smaller level is more severe.
extern QEL_DATA const char* const MESSAGE_XML_TYPES[7];
// Text-log prefixes of the same levels, each exactly 10 characters wide
// ("<ERROR>   "); level 0 is ten blanks.
extern QEL_DATA const char* const MESSAGE_TEXT_TYPES[7];

// The level whose MESSAGE_XML_TYPES entry equals `name` exactly (case
// sensitive). Deliberately gives 0 ("NONE") for an unknown or null name.
QEL_API int getLogEventType(const char* name);

// The library's exception: an error number (0 when made from a message
// alone) and a message that the exception owns. Copies take the number and
// the message through the virtual getters, so a subclass that overrides
// them is copied as they report.
class QEL_API QELException {
public:
    int32_t errorNumber;
    QELString errorMessage;

    QELException(const QELString& message);
    QELException(int errorNumber, const QELString& message);
    QELException(const QELException& other);
    QELException& operator=(const QELException& other);
    virtual ~QELException();

    virtual const QELString& getErrorMessage() const;
    virtual int getErrorNumber() const;
};

// One log event: message, optional code and stack trace (empty means none),
// level (any integer; 0 to 6 are valid and only a formatter checks), and the
// second at which it was made (UTC). A plain value: copies are member-wise.
class QEL_API QELLogEvent {
public:
    QELString message;
    QELString code;
    int32_t type;
    QELDate timestamp;
    QELString stackTrace;

    QELLogEvent(const QELString& message, const QELString& code, int type, const QELString& stackTrace);
    // Level 0 ("NONE"), no code, no stack trace.
    QELLogEvent(const QELString& message);
};

#endif
