// QELLogDeserializer: splits a stream into framed XML log records and plain
// lines and turns each back into a log event; and its tolerant variant.
//
// The assertion reports name the family's source "QELLog.cpp" and fixed
// lines (333, 368, 374, 489), given to QEL_ASSERT_AT so that the reports
// stay the same as the file changes.
#include "QELLogDeserializer.h"

#include <dlfcn.h>
#include <string.h>
#include <time.h>

#include "QELAssert.h"
#include "QELCompanionLibrary.h"
#include "QELLogFrame.h"

QEL_SOURCE_FILE("QELLog.cpp");

QELCreateLogEventParserFunction QELLogDeserializer::createLogEventParser = NULL;
QELParseLogEventFunction QELLogDeserializer::parseLogEvent = NULL;
QELDeleteLogEventParserFunction QELLogDeserializer::deleteLogEventParser = NULL;

void startLogEventElement(void* userData, const char* name, const char** attributes)
{
    QEL_OPERATION("void startLogEventElement(void*, const char*, const char**)");
    static_cast<void>(name);
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
    static const char* const known[] = { "type", "code", "timestamp", "stackTrace" };
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

QELLogDeserializer::QELLogDeserializer(QELLog* log) : QELLogDeserializer(log, startLogEventElement)
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
    QEL_OPERATION("QELBoolean QELLogDeserializer::deserializeLogEvent(QELLogEvent&, const QELString&, unsigned int, "
                  "unsigned int)");
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
            ? reinterpret_cast<QELDeleteLogEventParserFunction>(dlsym(library, "deleteLogEventParser"))
            : NULL;
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
        case EXPECTING_HEADER:
            goOn = stepHeader(at);
            break;
        case READING_LINE:
            goOn = stepLine(at);
            break;
        case READING_RECORD:
            goOn = stepRecord(at);
            break;
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
        return Cursor{ text.p, 0, length, false };
    appendToStore(text.p, length);
    return Cursor{ store.p, storeStart, static_cast<unsigned int>(store.len), true };
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
    at = Cursor{ store.p, storeStart, static_cast<unsigned int>(store.len), true };
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
    const bool shown = buffer.alloc == 0 && buffer.len == store.len - static_cast<int>(storeStart)
        && (buffer.len == 0 || buffer.p == store.p + storeStart);
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
    static_cast<void>(record);
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
