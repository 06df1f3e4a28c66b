// QELLogDeserializer: splits a stream into framed XML log records and plain
// lines and turns each back into a log event.
#include "QELLogDeserializer.h"

#include <dlfcn.h>
#include <string.h>
#include <time.h>

#include "QELAssert.h"

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
            QEL_ASSERT(0);
        }
    }
}

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
    : buffer(), state(1), recordSize(0), log(log), parser(NULL), parserLog(), record(emptyString),
      parserEvent(NULL), scanned(0), lineEndTail(0)
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
            QEL_ASSERT(0);
            return 0;
        }
        QELCreateLogEventParserFunction create =
            reinterpret_cast<QELCreateLogEventParserFunction>(dlsym(library, "createLogEventParser"));
        if (create == NULL) {
            QEL_ASSERT(0);
            return 0;
        }
        parseLogEvent = reinterpret_cast<QELParseLogEventFunction>(dlsym(library, "parseLogEvent"));
        deleteLogEventParser = reinterpret_cast<QELDeleteLogEventParserFunction>(dlsym(library, "deleteLogEventParser"));
        if (parseLogEvent == NULL || deleteLogEventParser == NULL) {
            QEL_ASSERT(0);
            return 0;
        }
        createLogEventParser = create;
    }
    if (parser == NULL || parserEvent != &event) {
        if (parser != NULL)
            deleteLogEventParser(parser);
        parser = createLogEventParser(&event, &parserLog, startLogEventElement, logEventText);
        parserEvent = &event;
    }
    QELString recordText = text.mid(start, length);
    return parseLogEvent(recordText, parser);
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
            if (deserializeLogEvent(record, *source, pos + HEADER_LENGTH, static_cast<unsigned int>(recordSize))) {
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
}
