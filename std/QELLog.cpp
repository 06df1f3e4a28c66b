// QELLog: log sinks, the text and framed XML formatters, the stream and
// buffer printers, the global standard-error sink, and the deserializer that
// reads framed records back.
//
// The assertion reports of this family name fixed lines (135, 166, 194 for
// the formatters; 333, 368, 374, 489 for the deserializer), given to
// QEL_ASSERT_AT so that the reports stay the same as the file changes.
#include "QELLog.h"

#include <cstring>
#include <dlfcn.h>
#include <string.h>
#include <time.h>
#include <iostream>

#include "QELAssert.h"
#include "QELCompanionLibrary.h"
#include "QELConfiguration.h"
#include "QELDate.h"
#include "QELLogDeserializer.h"
#include "QELLogFrame.h"
#include "QELText.h"
#include "QELXmlEscape.h"

QEL_SOURCE_FILE("QELLog.cpp");

QELString QEL_LOG_EVENT_HEADER_START("<!-- QELLog size=");
QELString QEL_LOG_EVENT_HEADER_END(" -->");

namespace {

inline char* twoDigits(char* out, unsigned v)
{
    out[0] = (char)('0' + v / 10);
    out[1] = (char)('0' + v % 10);
    return out + 2;
}

// The date as QELDate::getXmlTimestamp writes it ("%04d-%2d-%02dT%02d:%02d:
// %02dZ", the month padded with a blank), into out (at least 48 bytes).
// Returns the length. Fields outside the common ranges take the slow road.
size_t xmlTimestampInto(char* out, const QELDate& d)
{
    if (d.year < 0 || d.year > 9999 || d.month > 99 || d.day > 99 ||
        d.hour > 99 || d.minute > 99 || d.second > 99) {
        QELString text = d.getXmlTimestamp();
        size_t n = text.len < 47 ? (size_t)text.len : 47;
        memcpy(out, text.p, n);
        return n;
    }
    char* q = out;
    q = twoDigits(q, (unsigned)d.year / 100);
    q = twoDigits(q, (unsigned)d.year % 100);
    *q++ = '-';
    *q++ = d.month < 10 ? ' ' : (char)('0' + d.month / 10);
    *q++ = (char)('0' + d.month % 10);
    *q++ = '-';
    q = twoDigits(q, d.day);
    *q++ = 'T';
    q = twoDigits(q, d.hour);
    *q++ = ':';
    q = twoDigits(q, d.minute);
    *q++ = ':';
    q = twoDigits(q, d.second);
    *q++ = 'Z';
    return (size_t)(q - out);
}

// Copies the n bytes at s to out; returns the end of the copy.
inline char* put(char* out, const char* s, size_t n) { memcpy(out, s, n); return out + n; }

} // namespace

// Text form. The level is checked here; the record is sized once.
QELString QELLogEventTextFormatter::formatEvent(const QELLogEvent& event)
{
    QEL_OPERATION("virtual QELString QELLogEventTextFormatter::formatEvent(const QELLogEvent&)");
    if (event.type < QEL_LOG_LEVEL_LOWEST || event.type > QEL_LOG_LEVEL_HIGHEST)
        QEL_ASSERT_AT(0, 135);
    const size_t prefixLen = strlen(MESSAGE_TEXT_TYPES[event.type]);
    const size_t messageLen = (size_t)event.message.len;
    const size_t traceLen = (size_t)event.stackTrace.len;
    size_t total = prefixLen + messageLen + 1;
    if (traceLen != 0)
        total += traceLen + 1;
    QELString result;
    result.resize((unsigned)total);
    char* q = result.lock();
    q = put(q, MESSAGE_TEXT_TYPES[event.type], prefixLen);
    q = put(q, event.message.p, messageLen);
    *q++ = '\n';
    if (traceLen != 0) {
        q = put(q, event.stackTrace.p, traceLen);
        *q++ = '\n';
    }
    *q = '\0';
    result.unlock(false);
    return result;
}

// XML form: measured first, then header and record go into one exact block.
QELString QELLogEventXmlFormatter::formatEvent(const QELLogEvent& event)
{
    QEL_OPERATION("virtual QELString QELLogEventXmlFormatter::formatEvent(const QELLogEvent&)");
    static const char typeOpen[] = "<Message type=\"";
    static const char codeOpen[] = " code=\"";
    static const char timeOpen[] = " timestamp=\"";
    static const char traceOpen[] = " stackTrace=\"";
    static const char messageClose[] = "</Message>\n";
    if (event.type < QEL_LOG_LEVEL_LOWEST || event.type > QEL_LOG_LEVEL_HIGHEST)
        QEL_ASSERT_AT(0, 166);
    const char* typeName = MESSAGE_XML_TYPES[event.type];
    const size_t typeLen = strlen(typeName);
    const size_t codeLen = (size_t)event.code.len;
    bool nul = codeLen != 0 && memchr(event.code.p, 0, codeLen) != NULL;
    char stamp[48];
    const size_t stampLen = xmlTimestampInto(stamp, event.timestamp);
    // Stack trace and message are escaped as escapeXMLString does; code is not.
    bool traceSpecial = false, messageSpecial = false;
    const size_t traceLen = (size_t)event.stackTrace.len;
    const size_t traceOut = traceLen == 0 ? 0 :
        qelXmlEscapedLength(event.stackTrace.p, traceLen, traceSpecial, nul);
    const size_t messageLen = (size_t)event.message.len;
    const size_t messageOut =
        qelXmlEscapedLength(event.message.p, messageLen, messageSpecial, nul);

    // The record: type, optional code, timestamp, optional stack trace,
    // then the message; each attribute value is closed by a double quote.
    size_t record = (sizeof typeOpen - 1) + typeLen + 1;
    if (codeLen != 0)
        record += (sizeof codeOpen - 1) + codeLen + 1;
    record += (sizeof timeOpen - 1) + stampLen + 1;
    if (traceLen != 0)
        record += (sizeof traceOpen - 1) + traceOut + 1;
    record += 1 + messageOut + (sizeof messageClose - 1);

    // The frame counts the record's bytes, its final line feed included.
    if (record > QEL_LOG_EVENT_MAX_RECORD)
        QEL_ASSERT_AT(0, 194);
    char digits[16];
    size_t digitCount = 0;
    for (size_t v = record; v != 0 || digitCount == 0; v /= 10)
        digits[15 - digitCount++] = (char)('0' + v % 10);
    const size_t padded = digitCount < QEL_LOG_HEADER_SIZE_WIDTH ? QEL_LOG_HEADER_SIZE_WIDTH : digitCount;
    const size_t startLen = (size_t)QEL_LOG_EVENT_HEADER_START.len;
    const size_t endLen = (size_t)QEL_LOG_EVENT_HEADER_END.len;
    const size_t total = startLen + padded + endLen + record;

    QELString result;
    result.resize((unsigned)total);
    char* q = result.lock();
    q = put(q, QEL_LOG_EVENT_HEADER_START.p, startLen);
    q = put(q, digits + 16 - digitCount, digitCount);
    for (size_t i = digitCount; i < padded; i++)
        *q++ = ' ';
    q = put(q, QEL_LOG_EVENT_HEADER_END.p, endLen);

    q = put(q, typeOpen, sizeof typeOpen - 1);
    q = put(q, typeName, typeLen);
    *q++ = '"';
    if (codeLen != 0) {
        q = put(q, codeOpen, sizeof codeOpen - 1);
        q = put(q, event.code.p, codeLen); // not escaped (deliberate)
        *q++ = '"';
    }
    q = put(q, timeOpen, sizeof timeOpen - 1);
    q = put(q, stamp, stampLen);
    *q++ = '"';
    if (traceLen != 0) {
        q = put(q, traceOpen, sizeof traceOpen - 1);
        q = qelXmlEscapeInto(q, event.stackTrace.p, traceLen, traceSpecial);
        *q++ = '"';
    }
    *q++ = '>';
    q = qelXmlEscapeInto(q, event.message.p, messageLen, messageSpecial);
    q = put(q, messageClose, sizeof messageClose - 1);
    *q = '\0';
    if (nul) {
        result.unlock(false); // the text ends at the first NUL
    } else {
        result.len = (int)total; // unlocked, with the length already known
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

QELLogEventStreamPrinter::QELLogEventStreamPrinter(std::ostream& out)
    : stream(&out)
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
    const unsigned needed = (unsigned)buffer.len + (unsigned)text.len;
    if (buffer.alloc <= needed)
        buffer.resize(needed < 64 ? 64 : needed + needed / 2);
    buffer.append(text.p, text.len);
}

QELLog::QELLog()
    : logLevel(getQELLogLevel()), formatter(NULL), printer(NULL)
{
}

void QELLog::setLogLevel(int level)
{
    logLevel = level;
}

void QELLog::log(const QELLogEvent& event)
{
    if (event.type > logLevel)
        return;
    if (formatter == NULL)
        return;
    QELString text = formatter->formatEvent(event);
    if (printer != NULL)
        printer->printEvent(text);
}

QELLog::~QELLog()
{
}

QELTextLog::QELTextLog(std::ostream& out)
    : eventPrinter(out)
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

QELXmlLog::QELXmlLog(std::ostream& out)
    : eventPrinter(out)
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
QELXmlLog QEL_STDERR(std::cerr);


// ---------------------------------------------------------------------------
// QELLogDeserializer: splits a stream into framed XML log records and plain
// lines and turns each back into a log event.
// ---------------------------------------------------------------------------


QELCreateLogEventParserFunction QELLogDeserializer::createLogEventParser = NULL;
QELParseLogEventFunction QELLogDeserializer::parseLogEvent = NULL;
QELDeleteLogEventParserFunction QELLogDeserializer::deleteLogEventParser = NULL;

void startLogEventElement(void* userData, const char* name, const char** attributes)
{
    QEL_OPERATION("void startLogEventElement(void*, const char*, const char**)");
    (void)name;
    QELLogEvent* event = static_cast<QELLogEvent*>(userData);
    for (const char** a = attributes; a[0] != NULL; a += 2) {
        const char* key = a[0];
        const char* value = a[1];
        if (strcmp(key, "type") == 0) {
            event->type = getLogEventType(value);
        } else if (strcmp(key, "code") == 0) {
            event->code.empty();
            event->code.append(value);
        } else if (strcmp(key, "timestamp") == 0) {
            QELString text;
            text.wrap(value);
            event->timestamp.setDate(text);
        } else if (strcmp(key, "stackTrace") == 0) {
            event->stackTrace.empty();
            event->stackTrace.append(value);
        } else {
            QEL_ASSERT_AT(0, 333);
        }
    }
}

namespace {

// Set by the tolerant start-element callback when it meets an unknown
// attribute; read and cleared around each parse on the same thread, so that
// deserializers on different threads do not see each other's refusals.
thread_local bool unknownAttributeSeen = false;

// Whether every attribute name is one that startLogEventElement takes.
bool onlyKnownAttributes(const char** attributes)
{
    static const char* const known[] = {"type", "code", "timestamp", "stackTrace"};
    for (const char** a = attributes; a[0] != NULL; a += 2) {
        bool found = false;
        for (const char* name : known)
            found = found || strcmp(a[0], name) == 0;
        if (!found)
            return false;
    }
    return true;
}

// The tolerant deserializer's start-element callback: an element with an
// unknown attribute is noted and left unread instead of stopping the process.
void tolerantStartLogEventElement(void* userData, const char* name, const char** attributes)
{
    if (onlyKnownAttributes(attributes))
        startLogEventElement(userData, name, attributes);
    else
        unknownAttributeSeen = true;
}

} // namespace

void logEventText(void* userData, const char* text, int length)
{
    // append() would take a count below 1 as "up to the terminator".
    if (length > 0)
        static_cast<QELLogEvent*>(userData)->message.append(text, length);
}

// Makes `event` a fresh level-0 event of the current second with an empty
// message, keeping the blocks of its strings for reuse.
static void resetEvent(QELLogEvent& event)
{
    event.message.empty();
    event.code.empty();
    event.stackTrace.empty();
    event.type = 0;
    event.timestamp.setDate(static_cast<long>(time(NULL)));
}

// The size in the header whose start is at `header`: leading blanks skipped,
// decimal digits up to the first non-digit, all within the header's 29
// bytes, so that reading it never looks at what follows the header.
static long readRecordSize(const char* header)
{
    const char* p = header + QEL_LOG_HEADER_START_LENGTH;
    const char* end = header + QEL_LOG_HEADER_LENGTH;
    while (p < end && *p == ' ')
        p++;
    long n = 0;
    for (; p < end && *p >= '0' && *p <= '9'; p++)
        n = n * 10 + (*p - '0'); // at most 12 digits: no overflow
    return n;
}

// The first line feed or carriage return in [p, end), or null. The text is
// terminated at `end` (or at an earlier NUL), so one pass finds either.
static const char* findLineEnd(const char* p, const char* end)
{
    const char* hit = p + strcspn(p, "\r\n");
    return hit < end ? hit : NULL;
}

QELLogDeserializer::QELLogDeserializer(QELLog* log)
    : QELLogDeserializer(log, startLogEventElement)
{
}

QELLogDeserializer::QELLogDeserializer(QELLog* log, QELLogEventStartElementHandler startElement)
    : buffer(), state(EXPECTING_HEADER), recordSize(0), log(log), parser(NULL), parserLog(), record(emptyString),
      parserEvent(NULL), scanned(0), lineEndTail(NO_LINE_END_TAIL), startElementHandler(startElement), store(),
      storeStart(0), finishing(false)
{
}

void QELLogDeserializer::processEvent(const QELLogEvent& event)
{
    if (log != NULL)
        log->log(event);
}

QELLogDeserializer::~QELLogDeserializer()
{
    if (deleteLogEventParser != NULL && parser != NULL)
        deleteLogEventParser(parser);
    forgetPending(); // `buffer` must not outlive the store it looks into
}

QELBoolean QELLogDeserializer::deserializeLogEvent(QELLogEvent& event, const QELString& text, unsigned int start,
                                                   unsigned int length)
{
    QEL_OPERATION("QELBoolean QELLogDeserializer::deserializeLogEvent(QELLogEvent&, const QELString&, unsigned int, unsigned int)");
    if (createLogEventParser == NULL) {
        // First record of the process: load the companion library, which
        // lies beside this one.
        void* library = qelOpenCompanionLibrary();
        if (library == NULL) {
            QEL_ASSERT_AT(0, 368);
            return 0;
        }
        QELCreateLogEventParserFunction create =
            reinterpret_cast<QELCreateLogEventParserFunction>(dlsym(library, "createLogEventParser"));
        parseLogEvent = create ? reinterpret_cast<QELParseLogEventFunction>(dlsym(library, "parseLogEvent")) : NULL;
        deleteLogEventParser = parseLogEvent
            ? reinterpret_cast<QELDeleteLogEventParserFunction>(dlsym(library, "deleteLogEventParser")) : NULL;
        if (deleteLogEventParser == NULL) {
            QEL_ASSERT_AT(0, 374);
            return 0;
        }
        createLogEventParser = create;
    }
    if (parser == NULL || parserEvent != &event) {
        if (parser != NULL)
            deleteLogEventParser(parser);
        parser = createLogEventParser(&event, &parserLog, startElementHandler, logEventText);
        parserEvent = &event;
    }
    if (start == 0 && length == static_cast<unsigned int>(text.len))
        return parseLogEvent(text, parser); // the whole text: no copy needed
    QELString recordText = text.mid(start, length);
    return parseLogEvent(recordText, parser);
}

QELBoolean QELLogDeserializer::parseRecord(const QELString& recordText)
{
    return deserializeLogEvent(record, recordText, 0, static_cast<unsigned int>(recordText.len));
}

void QELLogDeserializer::append(const QELString& text)
{
    QEL_OPERATION("void QELLogDeserializer::append(const QELString&)");
    Cursor at = takeText(text);
    for (;;) {
        bool goOn;
        switch (state) {
        case EXPECTING_HEADER: goOn = stepHeader(at); break;
        case READING_LINE: goOn = stepLine(at); break;
        case READING_RECORD: goOn = stepRecord(at); break;
        default:
            QEL_ASSERT_AT(0, 489);
            goOn = false;
        }
        if (!goOn)
            break;
    }
    keepRest(at);
}

void QELLogDeserializer::flush()
{
    adoptChangedBuffer();
    if (store.len > static_cast<int>(storeStart)) {
        // One pass in which nothing waits: a record that cannot complete
        // any more and a last line without a line end come out as lines.
        if (state != READING_LINE)
            scanned = 0;
        state = READING_LINE;
        finishing = true;
        append(emptyString);
        finishing = false;
    }
    // The stream ended: what comes next starts a new one, whose first line
    // ends continue nothing.
    lineEndTail = NO_LINE_END_TAIL;
    scanned = 0;
}

// Where nothing is pending the caller's text is read in place; otherwise it
// joins the pending text in the store. Text stops at its first NUL.
QELLogDeserializer::Cursor QELLogDeserializer::takeText(const QELString& text)
{
    adoptChangedBuffer();
    const unsigned int length = static_cast<unsigned int>(strnlen(text.p, text.len));
    if (store.len == static_cast<int>(storeStart))
        return Cursor{text.p, 0, length, false};
    appendToStore(text.p, length);
    return Cursor{store.p, storeStart, static_cast<unsigned int>(store.len), true};
}

// State 1: a header starts a record; anything that cannot still become one
// is a plain line.
bool QELLogDeserializer::stepHeader(Cursor& at)
{
    skipLineEndTail(at);
    const unsigned int remaining = at.total - at.pos;
    const char* here = at.base + at.pos;
    if (remaining == 0)
        return false;
    if (remaining >= QEL_LOG_HEADER_LENGTH) {
        long size = -1;
        if (memcmp(here, QEL_LOG_EVENT_HEADER_START.p, QEL_LOG_HEADER_START_LENGTH) == 0)
            size = readRecordSize(here);
        if (size >= QEL_LOG_MIN_RECORD_SIZE && size <= QEL_LOG_MAX_ANNOUNCED_SIZE) {
            recordSize = static_cast<int32_t>(size);
            state = READING_RECORD;
            return true;
        }
    } else {
        unsigned int k = remaining < QEL_LOG_HEADER_START_LENGTH ? remaining : QEL_LOG_HEADER_START_LENGTH;
        if (memcmp(here, QEL_LOG_EVENT_HEADER_START.p, k) == 0 && !finishing)
            return false; // a header may still be arriving
    }
    startLine();
    return true;
}

// State 2: a line is delivered once its line end has arrived.
bool QELLogDeserializer::stepLine(Cursor& at)
{
    const unsigned int remaining = at.total - at.pos;
    const char* here = at.base + at.pos;
    const char* end = at.base + at.total;
    const unsigned int from = static_cast<unsigned int>(scanned) <= remaining ? scanned : 0;
    const char* lineEnd = findLineEnd(here + from, end);
    if (lineEnd == NULL) {
        if (!finishing || remaining == 0) {
            scanned = static_cast<int32_t>(remaining);
            return false;
        }
        lineEnd = end; // the remainder is the last line
    }
    resetEvent(record);
    if (lineEnd > here)
        record.message.append(here, static_cast<int>(lineEnd - here));
    processEvent(record);
    passLineEnd(at, lineEnd);
    scanned = 0;
    state = EXPECTING_HEADER;
    return true;
}

// State 3: a record is parsed once all its bytes have arrived. The header
// stays pending until then, so that a record that does not parse comes out
// whole as plain lines.
bool QELLogDeserializer::stepRecord(Cursor& at)
{
    if (at.total - at.pos < QEL_LOG_HEADER_LENGTH + static_cast<unsigned int>(recordSize)) {
        if (!finishing)
            return false;
        startLine(); // the record can no longer complete
        return true;
    }
    if (!at.inStore)
        moveIntoStore(at);
    resetEvent(record);
    if (!parseStoredRecord(at.pos + QEL_LOG_HEADER_LENGTH)) {
        startLine();
        return true;
    }
    processEvent(record);
    at.pos += QEL_LOG_HEADER_LENGTH + static_cast<unsigned int>(recordSize);
    state = EXPECTING_HEADER;
    while (at.pos < at.total && (at.base[at.pos] == '\n' || at.base[at.pos] == '\r'))
        at.pos++;
    lineEndTail = at.pos == at.total ? ANY_LINE_ENDS_TAIL : NO_LINE_END_TAIL;
    return true;
}

void QELLogDeserializer::startLine()
{
    state = READING_LINE;
    scanned = 0;
}

// Line-end bytes that continue the last line end, or the run after a
// record, cut off by the previous piece.
void QELLogDeserializer::skipLineEndTail(Cursor& at)
{
    while (at.pos < at.total && lineEndTail != NO_LINE_END_TAIL) {
        const char c = at.base[at.pos];
        if (lineEndTail == ANY_LINE_ENDS_TAIL && (c == '\n' || c == '\r')) {
            at.pos++;
        } else if (lineEndTail == CR_OR_LF_TAIL && c == '\r') {
            at.pos++;
            lineEndTail = LF_TAIL;
        } else if ((lineEndTail == CR_OR_LF_TAIL || lineEndTail == LF_TAIL) && c == '\n') {
            at.pos++;
            lineEndTail = NO_LINE_END_TAIL;
        } else {
            lineEndTail = NO_LINE_END_TAIL;
        }
    }
}

// Moves past the line end at `lineEnd` (or stays at the end of the text): a
// carriage return takes one more carriage return and then one line feed
// where they follow, and notes what a later piece may still add to it.
void QELLogDeserializer::passLineEnd(Cursor& at, const char* lineEnd)
{
    const char* end = at.base + at.total;
    const char* next = lineEnd < end ? lineEnd + 1 : end;
    int32_t tail = NO_LINE_END_TAIL;
    if (lineEnd < end && *lineEnd == '\r') {
        tail = CR_OR_LF_TAIL;
        if (next < end && *next == '\r') {
            next++;
            tail = LF_TAIL;
        }
        if (next < end && *next == '\n') {
            next++;
            tail = NO_LINE_END_TAIL;
        }
    }
    at.pos = static_cast<unsigned int>(next - at.base);
    lineEndTail = next == end ? tail : NO_LINE_END_TAIL;
}

// The record at `start` of the store is parsed in place, never copied: a
// stream of bogus headers may ask for many overlapping records of up to
// 10 MB each. Its end is terminated for the parse and restored after.
QELBoolean QELLogDeserializer::parseStoredRecord(unsigned int start)
{
    char* recordEnd = store.p + start + recordSize;
    const char saved = *recordEnd;
    *recordEnd = '\0';
    QELString recordText; // wraps the record (no NUL inside: text stops at one)
    recordText.p = store.p + start;
    recordText.len = recordSize;
    QELBoolean parsed = parseRecord(recordText);
    *recordEnd = saved;
    return parsed;
}

// The rest of the caller's text moves into the store, where a record can be
// terminated for its parse; this happens at most once per append.
void QELLogDeserializer::moveIntoStore(Cursor& at)
{
    appendToStore(at.base + at.pos, at.total - at.pos);
    at = Cursor{store.p, storeStart, static_cast<unsigned int>(store.len), true};
}

// Keeps the unconsumed rest for the next call. The consumed front of the
// store is dropped only once it outweighs the rest, so that each byte is
// moved a bounded number of times however the stream is cut.
void QELLogDeserializer::keepRest(const Cursor& at)
{
    if (at.inStore)
        storeStart = at.pos;
    else
        appendToStore(at.base + at.pos, at.total - at.pos);
    const unsigned int pending = static_cast<unsigned int>(store.len) - storeStart;
    if (pending == 0) {
        store.empty(); // keeps the block
        storeStart = 0;
    } else if (storeStart >= pending) {
        memmove(store.p, store.p + storeStart, pending + 1);
        store.len = static_cast<int>(pending);
        storeStart = 0;
    }
    showPending();
}

// Appends n bytes to the store, which grows geometrically.
void QELLogDeserializer::appendToStore(const char* text, unsigned int n)
{
    if (n == 0)
        return;
    const unsigned int needed = static_cast<unsigned int>(store.len) + n;
    if (store.alloc <= needed)
        store.resize(needed > 2 * store.alloc ? needed : 2 * store.alloc);
    store.append(text, static_cast<int>(n));
}

// `buffer` shows the pending text where it lies in the store, without a copy.
void QELLogDeserializer::showPending()
{
    if (store.len == static_cast<int>(storeStart)) {
        forgetPending();
        return;
    }
    buffer.p = store.p + storeStart;
    buffer.len = store.len - static_cast<int>(storeStart);
}

void QELLogDeserializer::forgetPending()
{
    buffer.p = QELString::emptyPtr;
    buffer.len = 0;
}

// A caller may have replaced or emptied `buffer`: its text is then what is
// pending.
void QELLogDeserializer::adoptChangedBuffer()
{
    const bool shown = buffer.alloc == 0 && buffer.len == store.len - static_cast<int>(storeStart) &&
                       (buffer.len == 0 || buffer.p == store.p + storeStart);
    if (shown)
        return;
    QELString replaced(buffer.p, buffer.len);
    buffer.wrap(emptyString); // frees a block the caller gave it
    store.empty();
    storeStart = 0;
    appendToStore(replaced.p, static_cast<unsigned int>(replaced.len));
    showPending();
}

QELTolerantLogDeserializer::QELTolerantLogDeserializer(QELLog* log)
    : QELLogDeserializer(log, tolerantStartLogEventElement)
{
}

void QELTolerantLogDeserializer::recordRefused(const QELString& record)
{
    (void)record;
}

QELBoolean QELTolerantLogDeserializer::parseRecord(const QELString& recordText)
{
    unknownAttributeSeen = false;
    QELBoolean parsed = QELLogDeserializer::parseRecord(recordText);
    if (!unknownAttributeSeen)
        return parsed;
    unknownAttributeSeen = false;
    recordRefused(recordText);
    return 0;
}
