// QELException and QELLogEvent: the exception, log events and level names.
#include "QELException.h"

#include <cstring>
#include <ctime>

const char* const MESSAGE_XML_TYPES[7] = {
    "NONE", "FATAL", "ERROR", "WARNING", "STATUS", "INFO", "DEBUG",
};

const char* const MESSAGE_TEXT_TYPES[7] = {
    "          ", "<FATAL>   ", "<ERROR>   ", "<WARNING> ", "<STATUS>  ", "<INFO>    ", "<DEBUG>   ",
};

int getLogEventType(const char* name)
{
    if (name == nullptr)
        return 0;
    for (int i = 0; i < 7; i++) {
        if (strcmp(name, MESSAGE_XML_TYPES[i]) == 0)
            return i;
    }
    return 0;
}

QELException::QELException(const QELString& message) : errorNumber(0), errorMessage(message)
{
}

QELException::QELException(int number, const QELString& message) : errorNumber(number), errorMessage(message)
{
}

QELException::QELException(const QELException& other)
    : errorNumber(other.getErrorNumber()), errorMessage(other.getErrorMessage())
{
}

QELException& QELException::operator=(const QELException& other)
{
    errorNumber = other.getErrorNumber();
    errorMessage = other.getErrorMessage();
    return *this;
}

QELException::~QELException()
{
}

const QELString& QELException::getErrorMessage() const
{
    return errorMessage;
}

int QELException::getErrorNumber() const
{
    return errorNumber;
}

// Both constructors start from an empty date and then take the clock's
// current second as UTC.
QELLogEvent::QELLogEvent(const QELString& msg, const QELString& eventCode, int eventType, const QELString& trace)
    : message(msg), code(eventCode), type(eventType), timestamp(), stackTrace(trace)
{
    timestamp.setDate(static_cast<long>(time(nullptr)));
}

QELLogEvent::QELLogEvent(const QELString& msg) : message(msg), code(), type(0), timestamp(), stackTrace()
{
    timestamp.setDate(static_cast<long>(time(nullptr)));
}
