// QELLogReader: the record path of the tools: a byte stream of framed log
// records and plain lines turned into events in bounded memory, whatever the
// stream holds.
#ifndef QELLOGREADER_H
#define QELLOGREADER_H

#include <cstddef>
#include <memory>
#include <string>

#include "QELLogDeserializer.h"

// Receives the events of a stream, in order.
class QELLogEventSink {
public:
    virtual ~QELLogEventSink() = default;
    // `plain` tells a plain line (or a piece of one) from a record's event.
    virtual void event(const QELLogEvent& event, bool plain) = 0;
    // A record with an attribute other than the four known ones: its lines
    // follow as plain events.
    virtual void recordRefused() { }
};

// Feeds a stream to a tolerant deserializer, so that no record stops the
// process, and keeps memory bounded: a plain line longer than the piece
// size (QEL_PLAIN_PIECE bytes unless told otherwise) is delivered in pieces
// of at most that size (cut between UTF-8 characters), and a record is at
// most the deserializer's 10000000 bytes. NUL bytes are dropped. Does not
// own the sink.
class QELLogReader {
public:
    static constexpr size_t QEL_PLAIN_PIECE = 65536;

    explicit QELLogReader(QELLogEventSink& sink, size_t pieceSize = QEL_PLAIN_PIECE);
    ~QELLogReader();
    // Delivers every event complete in the stream so far.
    void append(const char* data, size_t length);
    // Delivers what is left (an unfinished line as one last plain line) and
    // starts afresh, as for a new stream.
    void finish();

private:
    class Deserializer;

    QELLogEventSink& sink;
    size_t pieceSize;
    std::unique_ptr<Deserializer> deserializer;
    // A plain line too long for the deserializer's buffer, read here instead
    // until its line end: the bytes not yet delivered.
    bool inLongLine = false;
    std::string longLine;
    // Line-end bytes that may still belong to the last long line's end: 0
    // none, 1 CR or LF (after CR), 2 LF (after CR CR).
    int lineEndTail = 0;

    // Feeds bytes to the deserializer until a pending line grows too long;
    // returns how many it took.
    size_t feedDeserializer(const char* data, size_t length);
    // Consumes bytes of a long line; returns how many, line end included.
    size_t feedLongLine(const char* data, size_t length);
    size_t skipLineEndTail(const char* data, size_t length);

    QELLogReader(const QELLogReader&) = delete;
    QELLogReader& operator=(const QELLogReader&) = delete;
};

#endif
