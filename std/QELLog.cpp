// QELLog: log sinks, the text and framed XML formatters, the stream and
// buffer printers, and the global standard-error sink. The deserializer that
// reads framed records back lives in QELLogDeserializer.cpp.
//
// The formatters' assertion reports name fixed lines (135, 166, 194), given
// to QEL_ASSERT_AT so that the reports stay the same as the file changes.
#include "QELLog.h"

#include <cstring>
#include <string.h>
#include <time.h>
#include <iostream>
#include <typeinfo>

#include "QELAssert.h"
#include "QELConfiguration.h"
#include "QELDate.h"
#include "QELLogFrame.h"
#include "QELStartup.h"
#include "QELText.h"
#include "QELXmlEscape.h"

QEL_SOURCE_FILE("QELLog.cpp");

QEL_BUILT_AT(QEL_STAGE_VALUES) QELString QEL_LOG_EVENT_HEADER_START("<!-- QELLog size=");
QEL_BUILT_AT(QEL_STAGE_VALUES) QELString QEL_LOG_EVENT_HEADER_END(" -->");

namespace {

inline char* twoDigits(char* out, unsigned v)
{
    out[0] = static_cast<char>('0' + v / 10);
    out[1] = static_cast<char>('0' + v % 10);
    return out + 2;
}

// The date as QELDate::getXmlTimestamp writes it ("%04d-%2d-%02dT%02d:%02d:
// %02dZ", the month padded with a blank), into out (at least 48 bytes).
// Returns the length. Fields outside the common ranges take the slow road.
size_t xmlTimestampInto(char* out, const QELDate& d)
{
    if (d.year < 0 || d.year > 9999 || d.month > 99 || d.day > 99 || d.hour > 99 || d.minute > 99 || d.second > 99) {
        QELString text = d.getXmlTimestamp();
        size_t n = text.len < 47 ? static_cast<size_t>(text.len) : 47;
        memcpy(out, text.p, n);
        return n;
    }
    char* q = out;
    q = twoDigits(q, static_cast<unsigned>(d.year) / 100);
    q = twoDigits(q, static_cast<unsigned>(d.year) % 100);
    *q++ = '-';
    *q++ = d.month < 10 ? ' ' : static_cast<char>('0' + d.month / 10);
    *q++ = static_cast<char>('0' + d.month % 10);
    *q++ = '-';
    q = twoDigits(q, d.day);
    *q++ = 'T';
    q = twoDigits(q, d.hour);
    *q++ = ':';
    q = twoDigits(q, d.minute);
    *q++ = ':';
    q = twoDigits(q, d.second);
    *q++ = 'Z';
    return static_cast<size_t>(q - out);
}

// Copies the n bytes at s to out; returns the end of the copy.
inline char* put(char* out, const char* s, size_t n)
{
    memcpy(out, s, n);
    return out + n;
}

} // namespace

namespace {

// The text record of an event whose level is valid: the level prefix, the
// message and a line feed, then the stack trace and a line feed when there is
// one. Measured once, then written without terminator.
struct TextRecordSize {
    size_t prefix;
    size_t total;
};

TextRecordSize measureTextRecord(const QELLogEvent& event)
{
    TextRecordSize size;
    size.prefix = strlen(MESSAGE_TEXT_TYPES[event.type]);
    size.total = size.prefix + static_cast<size_t>(event.message.len) + 1;
    if (event.stackTrace.len != 0)
        size.total += static_cast<size_t>(event.stackTrace.len) + 1;
    return size;
}

char* textRecordInto(char* q, const QELLogEvent& event, const TextRecordSize& size)
{
    q = put(q, MESSAGE_TEXT_TYPES[event.type], size.prefix);
    q = put(q, event.message.p, static_cast<size_t>(event.message.len));
    *q++ = '\n';
    if (event.stackTrace.len != 0) {
        q = put(q, event.stackTrace.p, static_cast<size_t>(event.stackTrace.len));
        *q++ = '\n';
    }
    return q;
}

// The length of a text record up to its first NUL, found in the event's
// message or stack trace rather than in the record just written.
size_t textRecordLengthToNul(const QELLogEvent& event, const TextRecordSize& size)
{
    const QELString* parts[] = { &event.message, &event.stackTrace };
    size_t offset = size.prefix;
    for (const QELString* part : parts) {
        const void* nul = part->len != 0 ? memchr(part->p, '\0', static_cast<size_t>(part->len)) : NULL;
        if (nul != NULL)
            return offset + static_cast<size_t>(static_cast<const char*>(nul) - part->p);
        offset += static_cast<size_t>(part->len) + 1;
    }
    return size.total;
}

bool isValidLevel(int type)
{
    return type >= QEL_LOG_LEVEL_LOWEST && type <= QEL_LOG_LEVEL_HIGHEST;
}

} // namespace

// Text form. The level is checked here; the record is sized once. Deliberate:
// the result ends at the record's first NUL (unlock measures it), so a NUL in
// the message cuts the record there.
QELString QELLogEventTextFormatter::formatEvent(const QELLogEvent& event)
{
    QEL_OPERATION("virtual QELString QELLogEventTextFormatter::formatEvent(const QELLogEvent&)");
    if (!isValidLevel(event.type))
        QEL_ASSERT_AT(0, 135);
    const TextRecordSize size = measureTextRecord(event);
    QELString result;
    result.resize(static_cast<unsigned>(size.total));
    *textRecordInto(result.lock(), event, size) = '\0';
    result.unlock(false);
    return result;
}

namespace {

const char XML_TYPE_OPEN[] = "<Message type=\"";
const char XML_CODE_OPEN[] = " code=\"";
const char XML_TIMESTAMP_OPEN[] = " timestamp=\"";
const char XML_STACK_TRACE_OPEN[] = " stackTrace=\"";
const char XML_MESSAGE_CLOSE[] = "</Message>\n";

// Length of a string literal above, without its terminator.
template <size_t N> constexpr size_t literalLength(const char (&)[N])
{
    return N - 1;
}

// One event's XML record, measured before it is written: type, optional
// code, timestamp, optional stack trace, then the message; each attribute
// value is closed by a double quote. Stack trace and message are escaped;
// the code is not (deliberate).
struct XmlRecord {
    const QELLogEvent& event;
    const char* typeName;
    size_t typeLength;
    char stamp[48];
    size_t stampLength;
    bool traceSpecial = false, messageSpecial = false;
    bool nul = false; // a NUL byte is copied: the text ends there
    size_t traceOut = 0, messageOut;
    size_t size; // bytes of the record, its final line feed included

    explicit XmlRecord(const QELLogEvent& e)
        : event(e), typeName(MESSAGE_XML_TYPES[e.type]), typeLength(strlen(typeName)),
          stampLength(xmlTimestampInto(stamp, e.timestamp))
    {
        const size_t codeLength = static_cast<size_t>(e.code.len);
        nul = codeLength != 0 && memchr(e.code.p, 0, codeLength) != NULL;
        if (e.stackTrace.len != 0)
            traceOut = qelXmlEscapedLength(e.stackTrace.p, static_cast<size_t>(e.stackTrace.len), traceSpecial, nul);
        messageOut = qelXmlEscapedLength(e.message.p, static_cast<size_t>(e.message.len), messageSpecial, nul);
        size = literalLength(XML_TYPE_OPEN) + typeLength + 1;
        if (codeLength != 0)
            size += literalLength(XML_CODE_OPEN) + codeLength + 1;
        size += literalLength(XML_TIMESTAMP_OPEN) + stampLength + 1;
        if (e.stackTrace.len != 0)
            size += literalLength(XML_STACK_TRACE_OPEN) + traceOut + 1;
        size += 1 + messageOut + literalLength(XML_MESSAGE_CLOSE);
    }

    // Writes the record at q; returns its end.
    char* writeInto(char* q) const
    {
        q = put(q, XML_TYPE_OPEN, literalLength(XML_TYPE_OPEN));
        q = put(q, typeName, typeLength);
        *q++ = '"';
        if (event.code.len != 0) {
            q = put(q, XML_CODE_OPEN, literalLength(XML_CODE_OPEN));
            q = put(q, event.code.p, static_cast<size_t>(event.code.len));
            *q++ = '"';
        }
        q = put(q, XML_TIMESTAMP_OPEN, literalLength(XML_TIMESTAMP_OPEN));
        q = put(q, stamp, stampLength);
        *q++ = '"';
        if (event.stackTrace.len != 0) {
            q = put(q, XML_STACK_TRACE_OPEN, literalLength(XML_STACK_TRACE_OPEN));
            q = qelXmlEscapeInto(q, event.stackTrace.p, static_cast<size_t>(event.stackTrace.len), traceSpecial);
            *q++ = '"';
        }
        *q++ = '>';
        q = qelXmlEscapeInto(q, event.message.p, static_cast<size_t>(event.message.len), messageSpecial);
        return put(q, XML_MESSAGE_CLOSE, literalLength(XML_MESSAGE_CLOSE));
    }
};

// The frame before a record of `size` bytes: the header start, the size in
// decimal padded on the right with blanks to its field's width, the header
// end. Writes it at q when q is not null; returns its length.
size_t writeFrameHeader(char* q, size_t size)
{
    char digits[16];
    size_t digitCount = 0;
    for (size_t v = size; v != 0 || digitCount == 0; v /= 10)
        digits[15 - digitCount++] = static_cast<char>('0' + v % 10);
    const size_t padded = digitCount < QEL_LOG_HEADER_SIZE_WIDTH ? QEL_LOG_HEADER_SIZE_WIDTH : digitCount;
    const size_t startLength = static_cast<size_t>(QEL_LOG_EVENT_HEADER_START.len);
    const size_t endLength = static_cast<size_t>(QEL_LOG_EVENT_HEADER_END.len);
    if (q != NULL) {
        q = put(q, QEL_LOG_EVENT_HEADER_START.p, startLength);
        q = put(q, digits + 16 - digitCount, digitCount);
        memset(q, ' ', padded - digitCount);
        put(q + padded - digitCount, QEL_LOG_EVENT_HEADER_END.p, endLength);
    }
    return startLength + padded + endLength;
}

} // namespace

// XML form: measured first, then header and record go into one exact block.
QELString QELLogEventXmlFormatter::formatEvent(const QELLogEvent& event)
{
    QEL_OPERATION("virtual QELString QELLogEventXmlFormatter::formatEvent(const QELLogEvent&)");
    if (!isValidLevel(event.type))
        QEL_ASSERT_AT(0, 166);
    const XmlRecord record(event);
    // The frame counts the record's bytes, its final line feed included.
    if (record.size > QEL_LOG_EVENT_MAX_RECORD)
        QEL_ASSERT_AT(0, 194);
    const size_t total = writeFrameHeader(NULL, record.size) + record.size;
    QELString result;
    result.resize(static_cast<unsigned int>(total));
    char* q = result.lock();
    q += writeFrameHeader(q, record.size);
    *record.writeInto(q) = '\0';
    if (record.nul) {
        result.unlock(false); // the text ends at the first NUL
    } else {
        result.len = static_cast<int>(total); // unlocked, with the length already known
        QEL_ASSERT(QEL_STRING_INVARIANT(&result));
    }
    return result;
}

QELLogEventFormatter::~QELLogEventFormatter()
{
}

QELLogEventPrinter::~QELLogEventPrinter()
{
}

QELLogEventStreamPrinter::QELLogEventStreamPrinter(std::ostream& out) : stream(&out)
{
}

void QELLogEventStreamPrinter::setOutputStream(std::ostream& out)
{
    stream = &out;
}

void QELLogEventStreamPrinter::printEvent(const QELString& text)
{
    stream->write(text.p, text.len);
}

QELLogEventBufferPrinter::QELLogEventBufferPrinter()
{
}

// The buffer grows geometrically, so that many small records append in
// amortised constant time.
void QELLogEventBufferPrinter::printEvent(const QELString& text)
{
    if (text.len <= 0)
        return;
    const unsigned needed = static_cast<unsigned>(buffer.len) + static_cast<unsigned>(text.len);
    if (buffer.alloc <= needed)
        buffer.resize(needed < 64 ? 64 : needed + needed / 2);
    buffer.append(text.p, text.len);
}

QELLog::QELLog() : logLevel(getQELLogLevel()), formatter(NULL), printer(NULL)
{
}

void QELLog::setLogLevel(int level)
{
    logLevel = level;
}

namespace {

// Text records up to this size are formatted on the stack by QELLog::log.
const size_t STACK_TEXT_RECORD = 1024;

// The common case of a text sink, without a heap block: when `formatter` is
// exactly the library's text formatter (not a subclass, which may format
// otherwise) and the record is short, the record is written into a stack
// buffer and printed through a string that wraps it, ending at its first NUL
// as formatEvent's result does. Returns false, having done nothing, for every
// other case, which then takes the virtual call; that includes an invalid
// level, so that formatEvent reports it.
bool printShortTextRecord(QELLogEventFormatter* formatter, QELLogEventPrinter* printer, const QELLogEvent& event)
{
    if (printer == NULL || typeid(*formatter) != typeid(QELLogEventTextFormatter) || !isValidLevel(event.type))
        return false;
    const TextRecordSize size = measureTextRecord(event);
    if (size.total >= STACK_TEXT_RECORD)
        return false;
    char record[STACK_TEXT_RECORD];
    *textRecordInto(record, event, size) = '\0';
    QELString text;
    text.p = record;
    text.len = static_cast<int>(textRecordLengthToNul(event, size));
    text.alloc = 0; // wraps the stack buffer: the destructor frees nothing
    printer->printEvent(text);
    return true;
}

} // namespace

void QELLog::log(const QELLogEvent& event)
{
    if (event.type > logLevel)
        return;
    if (formatter == NULL)
        return;
    if (printShortTextRecord(formatter, printer, event))
        return;
    QELString text = formatter->formatEvent(event);
    if (printer != NULL)
        printer->printEvent(text);
}

QELLog::~QELLog()
{
}

QELTextLog::QELTextLog(std::ostream& out) : eventPrinter(out)
{
    formatter = &eventFormatter;
    printer = &eventPrinter;
}

void QELTextLog::setOutputStream(std::ostream& out)
{
    eventPrinter.setOutputStream(out);
}

QELTextLog::~QELTextLog()
{
}

QELXmlLog::QELXmlLog(std::ostream& out) : eventPrinter(out)
{
    formatter = &eventFormatter;
    printer = &eventPrinter;
}

void QELXmlLog::setOutputStream(std::ostream& out)
{
    eventPrinter.setOutputStream(out);
}

QELXmlLog::~QELXmlLog()
{
}

QELBufferedTextLog::QELBufferedTextLog()
{
    formatter = &eventFormatter;
    printer = &eventPrinter;
}

const QELString& QELBufferedTextLog::getBuffer() const
{
    return eventPrinter.buffer;
}

QELBufferedTextLog::~QELBufferedTextLog()
{
}

QELBufferedXmlLog::QELBufferedXmlLog()
{
    formatter = &eventFormatter;
    printer = &eventPrinter;
}

const QELString& QELBufferedXmlLog::getBuffer() const
{
    return eventPrinter.buffer;
}

QELBufferedXmlLog::~QELBufferedXmlLog()
{
}

QELNullLog::~QELNullLog()
{
}

// Built at load time, after the configuration that gives its level.
QEL_BUILT_AT(QEL_STAGE_LOG_SINKS) QELXmlLog QEL_STDERR(std::cerr);
