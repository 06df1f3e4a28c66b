// QELLogReader: framed records and plain lines to events in bounded memory.
#include "QELLogReader.h"

#include <algorithm>
#include <cstring>

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

// Delivers `text` to the sink as plain pieces of at most `limit` bytes, the
// last one too when `all`; returns how many bytes went.
size_t deliverPieces(QELLogEventSink& sink, const char* text, size_t size, size_t limit, bool all)
{
    size_t start = 0;
    // Without `all`, a piece is cut only once the byte after it is known.
    while (size - start > limit || (all && start < size)) {
        size_t piece = pieceLength(text + start, size - start, limit);
        QELLogEvent event(QELString(text + start, static_cast<int>(piece)));
        sink.event(event, true);
        start += piece;
    }
    return start;
}

} // namespace

// The tolerant deserializer with its events and refusals sent to the sink.
// A plain line gathered whole but longer than a piece goes in pieces too,
// so that the pieces never depend on how the stream was cut.
class QELLogReader::Deserializer : public QELTolerantLogDeserializer {
public:
    Deserializer(QELLogEventSink& sink, size_t pieceSize)
        : QELTolerantLogDeserializer(nullptr), sink(sink), pieceSize(pieceSize)
    {
    }
    void processEvent(const QELLogEvent& event) override
    {
        bool plain = state == 2; // as the deserializer delivers a plain line
        if (plain && static_cast<size_t>(event.message.length()) > pieceSize)
            deliverPieces(sink, event.message.chars(), static_cast<size_t>(event.message.length()), pieceSize, true);
        else
            sink.event(event, plain);
    }
    void recordRefused(const QELString&) override { sink.recordRefused(); }

private:
    QELLogEventSink& sink;
    size_t pieceSize;
};

QELLogReader::QELLogReader(QELLogEventSink& sink, size_t pieceSize)
    : sink(sink), pieceSize(pieceSize), deserializer(new Deserializer(sink, pieceSize))
{
}

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
        size_t piece = std::min(length - done, QEL_PLAIN_PIECE); // at most an int
        deserializer->append(QELString(data + done, static_cast<int>(piece)));
        done += piece;
        if (deserializer->state == 2 && static_cast<size_t>(deserializer->buffer.length()) >= pieceSize) {
            // The pending line is too long to gather: read it here from now on.
            longLine.assign(deserializer->buffer.chars(), static_cast<size_t>(deserializer->buffer.length()));
            deserializer = std::make_unique<Deserializer>(sink, pieceSize);
            inLongLine = true;
            longLine.erase(0, deliverPieces(sink, longLine.data(), longLine.size(), pieceSize, false));
            break;
        }
    }
    return done;
}

size_t QELLogReader::feedLongLine(const char* data, size_t length)
{
    const char* end = std::find_if(data, data + length, [](char c) { return c == '\n' || c == '\r'; });
    longLine.append(data, static_cast<size_t>(end - data));
    bool ended = end != data + length;
    longLine.erase(0, deliverPieces(sink, longLine.data(), longLine.size(), pieceSize, ended));
    if (!ended)
        return length;
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

void QELLogReader::finish()
{
    if (inLongLine) {
        deliverPieces(sink, longLine.data(), longLine.size(), pieceSize, true);
        longLine.clear();
        inLongLine = false;
    }
    lineEndTail = 0;
    deserializer->flush();
    deserializer = std::make_unique<Deserializer>(sink, pieceSize);
}
