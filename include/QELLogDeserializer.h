// QELLogDeserializer: turns a byte stream of framed XML log records and plain
// lines (typically a child process's standard error) back into log events.
#ifndef QELLOGDESERIALIZER_H
#define QELLOGDESERIALIZER_H

#include <stdint.h>

#include "QELException.h"
#include "QELExport.h"
#include "QELLog.h"
#include "QELString.h"
#include "QELTypes.h"

// The record parser lives in the companion library "libQELI18n.so", loaded
// with dlopen on the first record of the process. It exports, with C linkage:
//   "createLogEventParser": a parser that reports the Message element's
//       attributes and its text (entities decoded) through the two callbacks,
//       with the given user data; the QELLog receives the parser's own messages.
//   "parseLogEvent": parses one complete record; true when it is well formed.
//   "deleteLogEventParser": frees the parser.
typedef void (*QELLogEventStartElementHandler)(void* userData, const char* name, const char** attributes);
typedef void (*QELLogEventTextHandler)(void* userData, const char* text, int length);
typedef void* (*QELCreateLogEventParserFunction)(void* userData, QELLog* log,
                                                 QELLogEventStartElementHandler startElement,
                                                 QELLogEventTextHandler text);
typedef QELBoolean (*QELParseLogEventFunction)(const QELString& record, void* parser);
typedef void (*QELDeleteLogEventParserFunction)(void* parser);

// Start-element callback: `userData` is the QELLogEvent being filled;
// `attributes` holds name/value pairs ended by a null name. "type", "code",
// "timestamp" and "stackTrace" set the matching field; the element name is
// ignored. Any other attribute name is a programming error of the writer and
// stops the process (assertion 0), also when it comes from a child's record.
QEL_API void startLogEventElement(void* userData, const char* name, const char** attributes);
// Text callback: appends `length` bytes of `text` to the event's message.
QEL_API void logEventText(void* userData, const char* text, int length);

// Splits a stream into framed records ("<!-- QELLog size=N        -->" then N
// bytes of XML) and plain lines, in any cuts, and hands each as an event to
// processEvent: a record as the event it describes, a plain line (or a record
// that does not parse, header included) as a level-0 event whose message is
// the line without its line end. Does not own `log`. State is 1 (header
// expected), 2 (plain line) or 3 (record of recordSize bytes pending).
class QEL_API QELLogDeserializer {
public:
    // Values of `state`.
    static constexpr int32_t EXPECTING_HEADER = 1;
    static constexpr int32_t READING_LINE = 2;
    static constexpr int32_t READING_RECORD = 3;
    // Values of `lineEndTail`.
    static constexpr int32_t NO_LINE_END_TAIL = 0;
    static constexpr int32_t ANY_LINE_ENDS_TAIL = 1;
    static constexpr int32_t CR_OR_LF_TAIL = 2;
    static constexpr int32_t LF_TAIL = 3;

    // Text received and not yet consumed. While a record is pending (state 3)
    // it still begins with the record's 29-byte header. It looks into a
    // store that the deserializer owns (it owns no block of its own), so
    // that dropping what is consumed costs nothing; a caller may replace it.
    QELString buffer;
    int32_t state;
    int32_t recordSize;
    QELLog* log;
    // Opaque parser from createLogEventParser, made on the first record.
    void* parser;
    // Sink for the parser's own messages: discards them.
    QELNullLog parserLog;
    // The one event the parser fills (its address is bound into the parser).
    QELLogEvent record;
    // The event the parser is bound to; the parser is remade when
    // deserializeLogEvent is given another one.
    QELLogEvent* parserEvent;
    // Bytes of the pending plain line already searched for a line end, so a
    // long line arriving in pieces costs linear time.
    int32_t scanned;
    // Line-end bytes that may still continue the last line end when they
    // arrive in the next piece: none, any run of CR and LF (after a record),
    // CR or LF (after one CR), LF (after CR CR). It makes the result
    // independent of how the stream is cut.
    int32_t lineEndTail;

    // The companion library's entry points, loaded once per process.
    static QEL_DATA QELCreateLogEventParserFunction createLogEventParser;
    static QEL_DATA QELParseLogEventFunction parseLogEvent;
    static QEL_DATA QELDeleteLogEventParserFunction deleteLogEventParser;

    // Empty buffer, state 1, no parser. `log` may be null: events are then
    // made and dropped.
    QELLogDeserializer(QELLog* log);
    // Passes the event to log->log() (its level filter applies) unless log is
    // null. Override to take the events yourself; during the call, state is 3
    // for a record's event and 2 for a plain line's.
    virtual void processEvent(const QELLogEvent& event);
    // Frees the parser; does not flush (a pending remainder is dropped).
    virtual ~QELLogDeserializer();

    // Adds text and delivers every complete record and line found in it.
    // A state outside 1 to 3 aborts (assertion 0). A record attribute other
    // than the four above aborts (see startLogEventElement).
    void append(const QELString& text);
    // Ends the stream: delivers everything left, a record that cannot
    // complete any more as plain lines and a remainder without a line end
    // as one last line. The next append starts a new stream.
    void flush();
    // Parses the `length` bytes of `text` at `start` into `event`, loading
    // the companion library first if needed. Returns false when the record
    // does not parse. A missing library or entry point aborts (assertion 0).
    QELBoolean deserializeLogEvent(QELLogEvent& event, const QELString& text, unsigned int start, unsigned int length);

    QELLogDeserializer(const QELLogDeserializer&) = delete;
    QELLogDeserializer& operator=(const QELLogDeserializer&) = delete;

protected:
    // The start-element callback the parser is made with.
    QELLogEventStartElementHandler startElementHandler;

    // A deserializer whose parser reports elements to `startElement`.
    QELLogDeserializer(QELLog* log, QELLogEventStartElementHandler startElement);
    // Parses the pending record (its recordSize bytes, header excluded) into
    // `record`. False sends the record, header included, out as plain lines.
    virtual QELBoolean parseRecord(const QELString& recordText);

private:
    // The text one append works through: the caller's, read in place, or the
    // store's. It is terminated at `total` (or at an earlier NUL).
    struct Cursor {
        const char* base;
        unsigned int pos;   // first byte not consumed
        unsigned int total; // bytes of text
        bool inStore;
    };

    // Pending text at storeStart (consumed text before it), terminated.
    QELString store;
    unsigned int storeStart;
    // Set while flush runs: nothing waits for more text.
    bool finishing;

    Cursor takeText(const QELString& text);
    bool stepHeader(Cursor& at);
    bool stepLine(Cursor& at);
    bool stepRecord(Cursor& at);
    void startLine();
    void skipLineEndTail(Cursor& at);
    void passLineEnd(Cursor& at, const char* lineEnd);
    QELBoolean parseStoredRecord(unsigned int start);
    void moveIntoStore(Cursor& at);
    void keepRest(const Cursor& at);
    void appendToStore(const char* text, unsigned int n);
    void showPending();
    void forgetPending();
    void adoptChangedBuffer();
};

// A deserializer for streams from writers it does not trust: a record whose
// Message element carries an attribute other than the four known ones does
// not stop the process. It is refused instead: recordRefused is called once
// with the record's bytes (header excluded), and then the record comes out
// as plain lines, header line included, as a record that does not parse
// does. Every other record and line is delivered as by the base class.
class QEL_API QELTolerantLogDeserializer : public QELLogDeserializer {
public:
    explicit QELTolerantLogDeserializer(QELLog* log);
    // Called once per refused record, before its lines are delivered, so that
    // a tool can print one warning. The default does nothing.
    virtual void recordRefused(const QELString& record);

protected:
    QELBoolean parseRecord(const QELString& recordText) override;
};

#endif
