// QELLog: log sinks, the text and framed XML formatters, the stream and
// buffer printers, the global standard-error sink, and the deserializer that
// reads framed records back.
//
// The assertion reports of this family name fixed lines (135, 166, 194 for
// the formatters; 333, 368, 374, 489 for the deserializer), pinned with
// #line so that the reports stay the same as the file changes.
#include "QELLog.h"

#include <cstring>
#include <dlfcn.h>
#include <string.h>
#include <time.h>
#include <iostream>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "QELAssert.h"
#include "QELConfiguration.h"
#include "QELDate.h"
#include "QELLogDeserializer.h"
#include "QELText.h"

QELString QEL_LOG_EVENT_HEADER_START("<!-- QELLog size=");
QELString QEL_LOG_EVENT_HEADER_END(" -->");

namespace {

// Bytes each input byte takes in escapeXMLString's output when an entity is
// needed: the entity's length, 0 for other control characters, 1 else.
struct XmlEscapeTable {
    unsigned char width[256] = {};
    constexpr XmlEscapeTable()
    {
        for (int c = 0; c < 256; c++)
            width[c] = c < 32 ? 0 : 1;
        width[(unsigned char)'"'] = 6;
        width[(unsigned char)'&'] = 5;
        width[(unsigned char)'<'] = 4;
        width[(unsigned char)'>'] = 4;
        width[9] = 4;
        width[10] = 5;
        width[13] = 5;
    }
};
constexpr XmlEscapeTable xmlEscape; // built at compile time

// Whether any of n bytes needs an entity (defined after the formatters).
inline bool xmlScan(const char* s, size_t n, bool& nul);

// Length of escapeXMLString(s) for the n bytes at s, computed without
// building it. `special` tells whether any byte needs an entity (when none
// does, the text is copied unchanged, control characters included); nul is
// set when a NUL byte is copied.
inline size_t xmlEscapedLength(const char* s, size_t n, bool& special, bool& nul)
{
    bool zero = false;
    special = xmlScan(s, n, zero);
    if (!special) {
        nul = nul || zero;
        return n;
    }
    const unsigned char* u = (const unsigned char*)s;
    size_t total = 0;
    for (size_t i = 0; i < n; i++)
        total += xmlEscape.width[u[i]];
    return total;
}

// Writes the bytes escapeXMLString would make of the n bytes at s; returns
// the end of what was written.
inline char* xmlEscapeInto(char* out, const char* s, size_t n, bool special)
{
    if (!special) {
        memcpy(out, s, n);
        return out + n;
    }
    const unsigned char* u = (const unsigned char*)s;
    for (size_t i = 0; i < n; i++) {
        unsigned char c = u[i];
        switch (c) {
        case '"': memcpy(out, "&quot;", 6); out += 6; break;
        case '&': memcpy(out, "&amp;", 5); out += 5; break;
        case '<': memcpy(out, "&lt;", 4); out += 4; break;
        case '>': memcpy(out, "&gt;", 4); out += 4; break;
        case 9: memcpy(out, "&#9;", 4); out += 4; break;
        case 10: memcpy(out, "&#10;", 5); out += 5; break;
        case 13: memcpy(out, "&#13;", 5); out += 5; break;
        default:
            if (c >= 32)
                *out++ = (char)c;
        }
    }
    return out;
}

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
    if (event.type < 0 || event.type > 6)
#line 135
        QEL_ASSERT(0);
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
    static const char typeOpen[] = "<Message type=\"";
    static const char codeOpen[] = " code=\"";
    static const char timeOpen[] = " timestamp=\"";
    static const char traceOpen[] = " stackTrace=\"";
    static const char messageClose[] = "</Message>\n";
    if (event.type < 0 || event.type > 6)
#line 166
        QEL_ASSERT(0);
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
        xmlEscapedLength(event.stackTrace.p, traceLen, traceSpecial, nul);
    const size_t messageLen = (size_t)event.message.len;
    const size_t messageOut =
        xmlEscapedLength(event.message.p, messageLen, messageSpecial, nul);

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
#line 194
        QEL_ASSERT(0);
    char digits[16];
    size_t digitCount = 0;
    for (size_t v = record; v != 0 || digitCount == 0; v /= 10)
        digits[15 - digitCount++] = (char)('0' + v % 10);
    const size_t padded = digitCount < 8 ? 8 : digitCount;
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
        q = xmlEscapeInto(q, event.stackTrace.p, traceLen, traceSpecial);
        *q++ = '"';
    }
    *q++ = '>';
    q = xmlEscapeInto(q, event.message.p, messageLen, messageSpecial);
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

namespace {

// Whether any of the n bytes at s needs an entity; sets nul when one of
// them is a NUL byte. Sixteen bytes at a time where the processor allows.
inline bool xmlScan(const char* s, size_t n, bool& nul)
{
    const unsigned char* u = (const unsigned char*)s;
    unsigned special = 0, zero = 0;
    size_t i = 0;
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8('"'), amp = _mm_set1_epi8('&');
    const __m128i lt = _mm_set1_epi8('<'), gt = _mm_set1_epi8('>');
    const __m128i tab = _mm_set1_epi8(9), lf = _mm_set1_epi8(10);
    const __m128i cr = _mm_set1_epi8(13), nil = _mm_setzero_si128();
    for (; i + 16 <= n; i += 16) {
        const __m128i v = _mm_loadu_si128((const __m128i*)(u + i));
        const __m128i m = _mm_or_si128(
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, quote), _mm_cmpeq_epi8(v, amp)),
                         _mm_or_si128(_mm_cmpeq_epi8(v, lt), _mm_cmpeq_epi8(v, gt))),
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, tab), _mm_cmpeq_epi8(v, lf)),
                         _mm_cmpeq_epi8(v, cr)));
        special |= (unsigned)_mm_movemask_epi8(m);
        zero |= (unsigned)_mm_movemask_epi8(_mm_cmpeq_epi8(v, nil));
    }
#endif
    for (; i < n; i++) {
        special |= xmlEscape.width[u[i]] > 1;
        zero |= u[i] == 0;
    }
    if (zero != 0)
        nul = true;
    return special != 0;
}

} // namespace

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

// Frame layout written by the XML formatter: start (17 bytes), the size
// padded to 8 characters, end (4 bytes).
static const unsigned int HEADER_START_LENGTH = 17;
static const unsigned int HEADER_LENGTH = 29;
static const int MIN_RECORD_SIZE = 10;
static const int MAX_RECORD_SIZE = 10000000;

QELCreateLogEventParserFunction QELLogDeserializer::createLogEventParser = NULL;
QELParseLogEventFunction QELLogDeserializer::parseLogEvent = NULL;
QELDeleteLogEventParserFunction QELLogDeserializer::deleteLogEventParser = NULL;

void startLogEventElement(void* userData, const char* name, const char** attributes)
{
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
#line 333
            QEL_ASSERT(0);
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

// The size after the header start at `p`: leading blanks skipped, decimal
// digits up to the first non-digit. Values past the accepted range are
// capped so that the reading cannot overflow. -1 when the blanks or digits
// run up to `end`: the number may go on in text still to come, and waiting
// keeps the result independent of how the stream is cut.
static long readRecordSize(const char* p, const char* end)
{
    while (p < end && *p == ' ')
        p++;
    long n = 0;
    while (p < end && *p >= '0' && *p <= '9') {
        if (n <= MAX_RECORD_SIZE)
            n = n * 10 + (*p - '0');
        p++;
    }
    return p == end ? -1 : n;
}

// The first line feed or carriage return in [p, end), or null.
static const char* findLineEnd(const char* p, const char* end)
{
    const char* lf = static_cast<const char*>(memchr(p, '\n', end - p));
    const char* cr = static_cast<const char*>(memchr(p, '\r', (lf != NULL ? lf : end) - p));
    return cr != NULL ? cr : lf;
}

// Opens the companion library: by its name first (LD_LIBRARY_PATH, then this
// library's RUNPATH $ORIGIN), then by the path beside this library's own
// file, for loaders that do not apply this library's RUNPATH to the call
// (an interposed dlopen, as under AddressSanitizer, searches as its own).
static void* openCompanionLibrary()
{
    void* library = dlopen("libQELI18n.so", RTLD_LAZY | RTLD_GLOBAL);
    if (library != NULL)
        return library;
    Dl_info self;
    if (dladdr(reinterpret_cast<void*>(&openCompanionLibrary), &self) == 0 || self.dli_fname == NULL)
        return NULL;
    const char* slash = strrchr(self.dli_fname, '/');
    if (slash == NULL)
        return NULL;
    QELString path(self.dli_fname, static_cast<int>(slash - self.dli_fname) + 1);
    path.append("libQELI18n.so");
    return dlopen(path.p, RTLD_LAZY | RTLD_GLOBAL);
}

QELLogDeserializer::QELLogDeserializer(QELLog* log)
    : QELLogDeserializer(log, startLogEventElement)
{
}

QELLogDeserializer::QELLogDeserializer(QELLog* log, QELLogEventStartElementHandler startElement)
    : buffer(), state(1), recordSize(0), log(log), parser(NULL), parserLog(), record(emptyString),
      parserEvent(NULL), scanned(0), lineEndTail(0), startElementHandler(startElement)
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
}

QELBoolean QELLogDeserializer::deserializeLogEvent(QELLogEvent& event, const QELString& text, unsigned int start,
                                                   unsigned int length)
{
    if (createLogEventParser == NULL) {
        // First record of the process: load the companion library, which
        // lies beside this one.
        void* library = openCompanionLibrary();
        if (library == NULL) {
#line 368
            QEL_ASSERT(0);
            return 0;
        }
        QELCreateLogEventParserFunction create =
            reinterpret_cast<QELCreateLogEventParserFunction>(dlsym(library, "createLogEventParser"));
        parseLogEvent = create ? reinterpret_cast<QELParseLogEventFunction>(dlsym(library, "parseLogEvent")) : NULL;
        deleteLogEventParser = parseLogEvent
            ? reinterpret_cast<QELDeleteLogEventParserFunction>(dlsym(library, "deleteLogEventParser")) : NULL;
        if (deleteLogEventParser == NULL) {
#line 374
            QEL_ASSERT(0);
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
    QELString recordText = text.mid(start, length);
    return parseLogEvent(recordText, parser);
}

QELBoolean QELLogDeserializer::parseRecord(const QELString& text, unsigned int start)
{
    return deserializeLogEvent(record, text, start, static_cast<unsigned int>(recordSize));
}

void QELLogDeserializer::append(const QELString& text)
{
    // With nothing pending the caller's text is read in place and only its
    // unconsumed tail is copied; otherwise the text joins the buffer, which
    // grows geometrically. Text stops at its first NUL, as append() does.
    const bool direct = buffer.len == 0;
    const QELString* source = &buffer;
    unsigned int total;
    if (direct) {
        source = &text;
        total = static_cast<unsigned int>(strnlen(text.p, text.len));
    } else {
        unsigned int more = static_cast<unsigned int>(strnlen(text.p, text.len));
        if (more > 0) {
            unsigned int needed = buffer.len + more;
            if (buffer.alloc <= needed)
                buffer.resize(needed > 2 * buffer.alloc ? needed : 2 * buffer.alloc);
            buffer.append(text.p, static_cast<int>(more));
        }
        total = buffer.len;
    }
    const char* base = source->p;
    const char* end = base + total;
    unsigned int pos = 0;

    for (;;) {
        unsigned int remaining = total - pos;
        switch (state) {
        case 1: {
            // Line-end bytes that continue the last line end or the run after
            // a record, cut off by the previous piece.
            if (lineEndTail != 0) {
                while (pos < total && lineEndTail != 0) {
                    char c = base[pos];
                    if (lineEndTail == 1 && (c == '\n' || c == '\r')) {
                        pos++;
                    } else if (lineEndTail == 2 && c == '\r') {
                        pos++;
                        lineEndTail = 3;
                    } else if ((lineEndTail == 2 || lineEndTail == 3) && c == '\n') {
                        pos++;
                        lineEndTail = 0;
                    } else {
                        lineEndTail = 0;
                    }
                }
                remaining = total - pos;
            }
            if (remaining >= HEADER_LENGTH) {
                if (memcmp(base + pos, QEL_LOG_EVENT_HEADER_START.p, HEADER_START_LENGTH) == 0) {
                    long n = readRecordSize(base + pos + HEADER_START_LENGTH, end);
                    if (n < 0)
                        goto stop;
                    if (n >= MIN_RECORD_SIZE && n <= MAX_RECORD_SIZE) {
                        recordSize = static_cast<int32_t>(n);
                        state = 3;
                        continue;
                    }
                }
                state = 2;
                scanned = 0;
                continue;
            }
            unsigned int k = remaining < HEADER_START_LENGTH ? remaining : HEADER_START_LENGTH;
            if (memcmp(base + pos, QEL_LOG_EVENT_HEADER_START.p, k) == 0)
                goto stop; // a header may still be arriving
            state = 2;
            scanned = 0;
            continue;
        }
        case 2: {
            unsigned int from = static_cast<unsigned int>(scanned) <= remaining ? scanned : 0;
            const char* lineEnd = findLineEnd(base + pos + from, end);
            if (lineEnd == NULL) {
                scanned = static_cast<int32_t>(remaining);
                goto stop;
            }
            const char* next = lineEnd + 1;
            int tail = 0;
            if (*lineEnd == '\r') {
                // CR, then one more CR and then one LF where they follow.
                tail = 2;
                if (next < end && *next == '\r') {
                    next++;
                    tail = 3;
                }
                if (next < end && *next == '\n') {
                    next++;
                    tail = 0;
                }
            }
            resetEvent(record);
            if (lineEnd > base + pos)
                record.message.append(base + pos, static_cast<int>(lineEnd - (base + pos)));
            processEvent(record);
            pos = static_cast<unsigned int>(next - base);
            lineEndTail = (next == end) ? tail : 0;
            scanned = 0;
            state = 1;
            continue;
        }
        case 3: {
            // The header stays at pos until the record is complete, so that a
            // record that does not parse comes out whole as plain lines.
            if (remaining < HEADER_LENGTH + static_cast<unsigned int>(recordSize))
                goto stop;
            resetEvent(record);
            if (parseRecord(*source, pos + HEADER_LENGTH)) {
                processEvent(record);
                pos += HEADER_LENGTH + static_cast<unsigned int>(recordSize);
                state = 1;
                while (pos < total && (base[pos] == '\n' || base[pos] == '\r'))
                    pos++;
                lineEndTail = (pos == total) ? 1 : 0;
            } else {
                state = 2;
                scanned = 0;
            }
            continue;
        }
        default:
#line 489
            QEL_ASSERT(0);
            goto stop;
        }
    }

stop:
    if (direct) {
        if (pos < total)
            buffer.append(base + pos, static_cast<int>(total - pos));
    } else if (pos >= total) {
        buffer.empty();
    } else if (pos > 0) {
        // Drop the consumed front in place; the block is kept for reuse.
        memmove(buffer.p, buffer.p + pos, total - pos + 1);
        buffer.len = static_cast<int>(total - pos);
    }
}

void QELLogDeserializer::flush()
{
    while (buffer.len > 0) {
        if (state != 2)
            scanned = 0;
        state = 2;
        append(emptyString);
        if (buffer.len > 0 && state == 2) {
            // No line end is left: the remainder is the last line.
            resetEvent(record);
            record.message.append(buffer.p, buffer.len);
            buffer.empty();
            scanned = 0;
            processEvent(record);
            state = 1;
        }
    }
    // The stream ended: what comes next starts a new one, whose first line
    // ends continue nothing.
    lineEndTail = 0;
    scanned = 0;
}

QELTolerantLogDeserializer::QELTolerantLogDeserializer(QELLog* log)
    : QELLogDeserializer(log, tolerantStartLogEventElement)
{
}

void QELTolerantLogDeserializer::recordRefused(const QELString& record)
{
    (void)record;
}

QELBoolean QELTolerantLogDeserializer::parseRecord(const QELString& text, unsigned int start)
{
    unknownAttributeSeen = false;
    QELBoolean parsed = QELLogDeserializer::parseRecord(text, start);
    if (!unknownAttributeSeen)
        return parsed;
    unknownAttributeSeen = false;
    recordRefused(text.mid(start, static_cast<unsigned int>(recordSize)));
    return 0;
}
