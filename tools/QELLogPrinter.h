// QELLogPrinter: qellog's filters and output formats for the events of a
// stream: short or full text, framed XML, JSON lines; colours by level.
#ifndef QELLOGPRINTER_H
#define QELLOGPRINTER_H

#include <cstdint>
#include <cstdio>
#include <regex.h>
#include <string>

#include "QELLogReader.h"

enum QELLogOutput { QEL_OUTPUT_SHORT, QEL_OUTPUT_FULL, QEL_OUTPUT_XML, QEL_OUTPUT_JSON };

// What is kept and how it is written. Times are local wall-clock times as
// the records carry them, as the number YYYYMMDDhhmmss; -1 for no bound.
struct QELLogPrintOptions {
    int level = 6;
    QELLogOutput output = QEL_OUTPUT_SHORT;
    bool plainLines = true;
    bool colour = false;
    int64_t since = -1;
    int64_t until = -1;
    // An extended regular expression the message must match; null for any.
    const regex_t* pattern = nullptr;
};

// Filters events and writes them to a stream it does not own. A plain line
// counts at the time of the last record before it (none before the first,
// so that --since drops it). Continuation lines of a message are indented
// under its first line.
class QELLogPrinter : public QELLogEventSink {
public:
    // `program` names the tool in the one warning about refused records; null
    // keeps it silent.
    QELLogPrinter(const QELLogPrintOptions& options, FILE* out, const char* program)
        : options(options), out(out), program(program)
    {
    }
    void event(const QELLogEvent& event, bool plain) override;
    void recordRefused() override;

private:
    QELLogPrintOptions options;
    FILE* out;
    const char* program;
    int64_t lastRecordTime = -1;
    bool warned = false;
    int64_t zoneHour = -1; // YYYYMMDDhh of the zone offset below
    long zoneHourOffset = 0;
    std::string text; // the event being written, reused

    bool kept(const QELLogEvent& event, bool plain);
    void writeText(const QELLogEvent& event, bool plain);
    void writeXml(const QELLogEvent& event);
    void writeJson(const QELLogEvent& event, bool plain);
};

// The time of a date as YYYYMMDDhhmmss; -1 for a null date.
int64_t qelLogTimeKey(const QELDate& date);

// Parses a --since/--until value: "YYYY-MM-DD", with " HH:MM" or
// " HH:MM:SS" (or "T" for the blank), "today", "yesterday", "now", or
// "-N" followed by s, m, h or d for that long before `now`. False when the
// text is none of these.
bool qelParseLogTime(const char* text, time_t now, int64_t& key);

#endif
