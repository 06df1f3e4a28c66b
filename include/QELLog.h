// QELLog: log sinks, the text and framed XML event formatters, the stream
// and buffer printers, and the global standard-error sink QEL_STDERR.
#ifndef QELLOG_H
#define QELLOG_H

#include <ostream>

#include "QELExport.h"
#include "QELString.h"
#include "QELException.h"

// Frame of an XML record: START, the record's byte count padded with blanks
// to 8 characters, END, then the record. The header is always 29 bytes.
extern QEL_DATA QELString QEL_LOG_EVENT_HEADER_START; // "<!-- QELLog size="
extern QEL_DATA QELString QEL_LOG_EVENT_HEADER_END;   // " -->"

// Largest record, in bytes, that the XML formatter frames.
#define QEL_LOG_EVENT_MAX_RECORD 9999999

// Turns an event into text. Stateless; an invalid level aborts.
class QEL_API QELLogEventFormatter {
public:
    virtual ~QELLogEventFormatter();
    virtual QELString formatEvent(const QELLogEvent& event) = 0;
};

// Plain text: the 10-character level prefix, the message and a line feed,
// then the stack trace and a line feed when there is one. Nothing escaped;
// the code and the timestamp are not written (deliberate).
class QEL_API QELLogEventTextFormatter : public QELLogEventFormatter {
public:
    // Aborts (assertion 0) when the event's level lies outside 0 to 6.
    virtual QELString formatEvent(const QELLogEvent& event);
};

// Framed XML: "<Message type=.. [code=..] timestamp=.. [stackTrace=..]>
// message</Message>\n" behind the 29-byte frame header. The code is written
// as it stands, the stack trace and the message are XML-escaped (deliberate).
class QEL_API QELLogEventXmlFormatter : public QELLogEventFormatter {
public:
    // Aborts (assertion 0) on a level outside 0 to 6 or a record longer
    // than 9999999 bytes.
    virtual QELString formatEvent(const QELLogEvent& event);
};

// Receives formatted text.
class QEL_API QELLogEventPrinter {
public:
    virtual ~QELLogEventPrinter();
    virtual void printEvent(const QELString& text) = 0;
};

// Writes each text to a stream it does not own; the stream must outlive the
// printer. Never flushes; write errors are neither checked nor reported.
class QEL_API QELLogEventStreamPrinter : public QELLogEventPrinter {
public:
    std::ostream* stream;

    QELLogEventStreamPrinter(std::ostream& out);
    void setOutputStream(std::ostream& out);
    // Writes exactly text.len bytes, unformatted.
    virtual void printEvent(const QELString& text);
};

// Appends each text to the buffer it owns. The buffer only grows.
class QEL_API QELLogEventBufferPrinter : public QELLogEventPrinter {
public:
    QELString buffer;

    QELLogEventBufferPrinter();
    virtual void printEvent(const QELString& text);
};

// A log sink: keeps the events whose level is at most logLevel, formats them
// and prints them. formatter and printer are not owned and may be null (a
// null formatter discards everything). The level is never checked.
class QEL_API QELLog {
public:
    int logLevel;
    QELLogEventFormatter* formatter;
    QELLogEventPrinter* printer;

    // The level comes from getQELLogLevel(); no formatter, no printer.
    QELLog();
    // Stores the level as given, even outside 0 to 6.
    virtual void setLogLevel(int level);
    // Drops the event when its level exceeds logLevel or without formatter.
    virtual void log(const QELLogEvent& event);
    virtual ~QELLog();

    // Not copyable: the concrete sinks point into themselves.
    QELLog(const QELLog&) = delete;
    QELLog& operator=(const QELLog&) = delete;
};

// Plain text on a stream it does not own.
class QEL_API QELTextLog : public QELLog {
public:
    QELLogEventTextFormatter eventFormatter;
    QELLogEventStreamPrinter eventPrinter;

    QELTextLog(std::ostream& out);
    void setOutputStream(std::ostream& out);
    virtual ~QELTextLog();
};

// Framed XML on a stream it does not own.
class QEL_API QELXmlLog : public QELLog {
public:
    QELLogEventXmlFormatter eventFormatter;
    QELLogEventStreamPrinter eventPrinter;

    QELXmlLog(std::ostream& out);
    void setOutputStream(std::ostream& out);
    virtual ~QELXmlLog();
};

// Plain text collected in memory.
class QEL_API QELBufferedTextLog : public QELLog {
public:
    QELLogEventTextFormatter eventFormatter;
    QELLogEventBufferPrinter eventPrinter;

    QELBufferedTextLog();
    // Everything logged so far; valid as long as the sink.
    const QELString& getBuffer() const;
    virtual ~QELBufferedTextLog();
};

// Framed XML records collected in memory, back to back.
class QEL_API QELBufferedXmlLog : public QELLog {
public:
    QELLogEventXmlFormatter eventFormatter;
    QELLogEventBufferPrinter eventPrinter;

    QELBufferedXmlLog();
    // Everything logged so far; valid as long as the sink.
    const QELString& getBuffer() const;
    virtual ~QELBufferedXmlLog();
};

// Discards every event: its formatter and printer stay null.
class QEL_API QELNullLog : public QELLog {
public:
    virtual ~QELNullLog();
};

// Framed XML to the process's standard error, from library load to unload.
extern QEL_DATA QELXmlLog QEL_STDERR;

#endif
