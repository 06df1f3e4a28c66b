// QELLogReader: framed records and plain lines to events in bounded memory.
#include "QELLogReader.h"

#include <algorithm>
#include <cstring>

// The tolerant deserializer with its events and refusals sent to the sink.
class QELLogReader::Deserializer : public QELTolerantLogDeserializer {
public:
    explicit Deserializer(QELLogEventSink& sink) : QELTolerantLogDeserializer(nullptr), sink(sink) {}
    // state is 2 while a plain line's event is delivered.
    void processEvent(const QELLogEvent& event) override { sink.event(event, state == 2); }
    void recordRefused(const QELString&) override { sink.recordRefused(); }

private:
    QELLogEventSink& sink;
};

namespace {

// The length of the longest prefix of at most `limit` bytes that does not
// end inside a UTF-8 sequence (at least 1, so that a piece is never empty).
size_t pieceLength(const char* text, size_t size, size_t limit)
{
    if (size <= limit)
        return size;
    size_t end = limit;
    // Step back over at most three continuation bytes to a sequence start.
    for (int back = 0; back < 3 && end > 1 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80; back++)
        end--;
    return (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80 ? limit : end;
}

} // namespace

QELLogReader::QELLogReader(QELLogEventSink& sink) : sink(sink), deserializer(new Deserializer(sink)) {}

QELLogReader::~QELLogReader() = default;

void QELLogReader::append(const char* data, size_t length)
{
    // Text cannot hold NUL bytes: each run between them is fed on its own.
    while (length > 0) {
        const char* nul = static_cast<const char*>(std::memchr(data, '\0', length));
        size_t run = nul ? static_cast<size_t>(nul - data) : length;
        size_t done = 0;
        while (done < run) {
            done += skipLineEndTail(data + done, run - done);
            if (done < run)
                done += inLongLine ? feedLongLine(data + done, run - done) : feedDeserializer(data + done, run - done);
        }
        size_t consumed = nul ? run + 1 : run;
        data += consumed;
        length -= consumed;
    }
}

size_t QELLogReader::feedDeserializer(const char* data, size_t length)
{
    // Pieces small enough for an int; the pending line is checked after each.
    size_t done = 0;
    while (done < length) {
        size_t piece = std::min(length - done, QEL_PLAIN_PIECE);
        deserializer->append(QELString(data + done, static_cast<int>(piece)));
        done += piece;
        if (deserializer->state == 2 && static_cast<size_t>(deserializer->buffer.length()) >= QEL_PLAIN_PIECE) {
            // The pending line is too long to gather: read it here from now on.
            longLine.assign(deserializer->buffer.chars(), static_cast<size_t>(deserializer->buffer.length()));
            deserializer.reset(new Deserializer(sink));
            inLongLine = true;
            deliverPieces(false);
            break;
        }
    }
    return done;
}

size_t QELLogReader::feedLongLine(const char* data, size_t length)
{
    const char* end = std::find_if(data, data + length, [](char c) { return c == '\n' || c == '\r'; });
    longLine.append(data, static_cast<size_t>(end - data));
    if (end == data + length) {
        deliverPieces(false);
        return length;
    }
    deliverPieces(true);
    inLongLine = false;
    lineEndTail = *end == '\r' ? 1 : 0;
    return static_cast<size_t>(end - data) + 1;
}

size_t QELLogReader::skipLineEndTail(const char* data, size_t length)
{
    size_t skipped = 0;
    if (lineEndTail == 1 && skipped < length && data[skipped] == '\r') {
        skipped++;
        lineEndTail = 2;
    }
    if (lineEndTail != 0 && skipped < length) {
        if (data[skipped] == '\n')
            skipped++;
        lineEndTail = 0;
    }
    return skipped;
}

void QELLogReader::deliverPieces(bool all)
{
    size_t start = 0;
    while (longLine.size() - start >= QEL_PLAIN_PIECE || (all && start < longLine.size())) {
        size_t piece = pieceLength(longLine.data() + start, longLine.size() - start, QEL_PLAIN_PIECE);
        deliverPlain(longLine.data() + start, piece);
        start += piece;
    }
    longLine.erase(0, start);
}

void QELLogReader::deliverPlain(const char* text, size_t length)
{
    QELLogEvent event(QELString(text, static_cast<int>(length)));
    sink.event(event, true);
}

void QELLogReader::finish()
{
    if (inLongLine) {
        deliverPieces(true);
        inLongLine = false;
    }
    lineEndTail = 0;
    deserializer->flush();
    deserializer.reset(new Deserializer(sink));
}
