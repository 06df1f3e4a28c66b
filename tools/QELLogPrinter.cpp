// QELLogPrinter: filters and formats of qellog.
#include "QELLogPrinter.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "QELStd.h"
#include "QELToolTexts.h"

namespace {

// Width of "YYYY-MM-DD hh:mm:ss " and of a level tag: continuation lines
// of a message start under its first line.
const size_t TIME_WIDTH = 20;
const size_t TYPE_WIDTH = 10;

// The XML form refuses records over 9999999 bytes; an event is re-framed in
// pieces of this many bytes of message or stack trace (six times as many
// once escaped, at worst).
const size_t XML_PIECE = 1000000;

const char* const LEVEL_COLOURS[7] = { "", "\033[1;31m", "\033[31m", "\033[33m", "\033[1m", "", "\033[2m" };

// Appends `text` with every line after the first indented by `indent`.
void appendIndented(std::string& out, const QELString& text, size_t indent)
{
    const char* p = text.chars();
    const char* end = p + text.length();
    while (p < end) {
        const char* lineEnd = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
        const char* stop = lineEnd ? lineEnd : end;
        out.append(p, static_cast<size_t>(stop - p));
        if (lineEnd == nullptr)
            break;
        out += '\n';
        out.append(indent, ' ');
        p = lineEnd + 1;
    }
}

// "YYYY-MM-DD hh:mm:ss" with `separator` between date and time.
void appendTime(std::string& out, const QELDate& date, char separator)
{
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u%c%02u:%02u:%02u", date.year, date.month, date.day, separator,
                  date.hour, date.minute, date.second);
    out += buffer;
}

// The local zone's offset in seconds at the local time `date`.
long zoneOffset(const QELDate& date)
{
    struct tm local = {};
    local.tm_year = date.year - 1900;
    local.tm_mon = date.month - 1;
    local.tm_mday = date.day;
    local.tm_hour = date.hour;
    local.tm_min = date.minute;
    local.tm_sec = date.second;
    local.tm_isdst = -1;
    return mktime(&local) == static_cast<time_t>(-1) ? 0 : local.tm_gmtoff;
}

void appendZone(std::string& out, long offset)
{
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%c%02ld:%02ld", offset < 0 ? '-' : '+', std::labs(offset) / 3600,
                  std::labs(offset) % 3600 / 60);
    out += buffer;
}

void appendJsonField(std::string& out, const char* name, const QELString& value)
{
    out += ", \"";
    out += name;
    out += "\": ";
    appendJsonString(out, value.chars(), static_cast<size_t>(value.length()));
}

// The start of `text` (from `offset`) of at most XML_PIECE bytes, cut
// between UTF-8 characters.
QELString xmlPiece(const QELString& text, size_t& offset)
{
    size_t length = static_cast<size_t>(text.length()) - offset;
    if (length > XML_PIECE) {
        length = XML_PIECE;
        while (length > 1 && (static_cast<unsigned char>(text.chars()[offset + length]) & 0xC0) == 0x80)
            length--;
    }
    QELString piece(text.chars() + offset, static_cast<int>(length));
    offset += length;
    return piece;
}

} // namespace

int64_t qelLogTimeKey(const QELDate& date)
{
    if (date.isNull)
        return -1;
    return ((((static_cast<int64_t>(date.year) * 100 + date.month) * 100 + date.day) * 100 + date.hour) * 100
            + date.minute)
        * 100
        + date.second;
}

void QELLogPrinter::recordRefused()
{
    if (program != nullptr && !warned)
        toolError(program, QELToolTexts::texts().recordRefused);
    warned = true;
}

bool QELLogPrinter::kept(const QELLogEvent& event, bool plain)
{
    if (!plain)
        lastRecordTime = qelLogTimeKey(event.timestamp);
    if ((plain && !options.plainLines) || event.type > options.level)
        return false;
    if (options.since >= 0 && (lastRecordTime < 0 || lastRecordTime < options.since))
        return false;
    if (options.until >= 0 && lastRecordTime > options.until)
        return false;
    return options.pattern == nullptr || regexec(options.pattern, event.message.chars(), 0, nullptr, 0) == 0;
}

void QELLogPrinter::event(const QELLogEvent& event, bool plain)
{
    if (!kept(event, plain))
        return;
    text.clear();
    if (options.output == QEL_OUTPUT_XML && !plain) // plain lines stay plain lines
        writeXml(event);
    else if (options.output == QEL_OUTPUT_JSON)
        writeJson(event, plain);
    else
        writeText(event, plain);
    std::fwrite(text.data(), 1, text.size(), out);
}

void QELLogPrinter::writeText(const QELLogEvent& event, bool plain)
{
    if (plain) { // as the program wrote it
        text.append(event.message.chars(), static_cast<size_t>(event.message.length()));
        text += '\n';
        return;
    }
    const char* colour = options.colour ? LEVEL_COLOURS[event.type] : "";
    text += colour;
    if (event.timestamp.isNull)
        text.append(TIME_WIDTH - 1, ' ');
    else
        appendTime(text, event.timestamp, ' ');
    text += ' ';
    text += MESSAGE_TEXT_TYPES[event.type];
    if (!event.code.isEmpty()) {
        text += '[';
        text += event.code.chars();
        text += "] ";
    }
    appendIndented(text, event.message, TIME_WIDTH + TYPE_WIDTH);
    if (options.output == QEL_OUTPUT_FULL && !event.stackTrace.isEmpty()) {
        text += '\n';
        text.append(TIME_WIDTH + TYPE_WIDTH, ' ');
        appendIndented(text, event.stackTrace, TIME_WIDTH + TYPE_WIDTH);
    }
    if (*colour != '\0')
        text += "\033[0m";
    text += '\n';
}

void QELLogPrinter::writeXml(const QELLogEvent& event)
{
    // The code is written as it stands by the formatter: escape it here so
    // that the record reads back to the same event.
    QELLogEventXmlFormatter formatter;
    QELString code = escapeXMLString(event.code);
    size_t messageOffset = 0, stackOffset = 0;
    do {
        QELLogEvent piece(xmlPiece(event.message, messageOffset), code, event.type, QELString());
        piece.timestamp = event.timestamp;
        if (messageOffset == static_cast<size_t>(event.message.length()))
            piece.stackTrace = xmlPiece(event.stackTrace, stackOffset);
        QELString record = formatter.formatEvent(piece);
        text.append(record.chars(), static_cast<size_t>(record.length()));
    } while (messageOffset < static_cast<size_t>(event.message.length())
             || stackOffset < static_cast<size_t>(event.stackTrace.length()));
}

void QELLogPrinter::writeJson(const QELLogEvent& event, bool plain)
{
    text += "{\"timestamp\": ";
    if (plain || event.timestamp.isNull) {
        text += "null";
    } else {
        text += '"';
        appendTime(text, event.timestamp, 'T');
        // mktime is slow: the offset is found once per hour of the log.
        int64_t hour = qelLogTimeKey(event.timestamp) / 10000;
        if (hour != zoneHour) {
            zoneHour = hour;
            zoneHourOffset = zoneOffset(event.timestamp);
        }
        appendZone(text, zoneHourOffset);
        text += '"';
    }
    text += ", \"level\": \"";
    text += MESSAGE_XML_TYPES[event.type];
    text += '"';
    if (!event.code.isEmpty())
        appendJsonField(text, "code", event.code);
    appendJsonField(text, "message", event.message);
    if (!event.stackTrace.isEmpty())
        appendJsonField(text, "stackTrace", event.stackTrace);
    if (plain)
        text += ", \"plain\": true";
    text += "}\n";
}

namespace {

bool parseRelative(const char* text, time_t now, time_t& when)
{
    char* end = nullptr;
    long amount = std::strtol(text + 1, &end, 10);
    if (end == text + 1 || amount < 0 || end[0] == '\0' || end[1] != '\0' || std::strchr("smhd", end[0]) == nullptr)
        return false;
    long unit = end[0] == 's' ? 1 : end[0] == 'm' ? 60 : end[0] == 'h' ? 3600 : 86400;
    when = now - static_cast<time_t>(amount) * unit;
    return true;
}

int64_t keyOf(const struct tm& t)
{
    QELDate date;
    date.year = static_cast<int16_t>(t.tm_year + 1900);
    date.month = static_cast<uint16_t>(t.tm_mon + 1);
    date.day = static_cast<uint16_t>(t.tm_mday);
    date.hour = static_cast<uint16_t>(t.tm_hour);
    date.minute = static_cast<uint16_t>(t.tm_min);
    date.second = static_cast<uint16_t>(t.tm_sec);
    date.isNull = false;
    return qelLogTimeKey(date);
}

// The local time `when`, or its midnight.
int64_t localKey(time_t when, bool midnight)
{
    struct tm t;
    localtime_r(&when, &t);
    if (midnight)
        t.tm_hour = t.tm_min = t.tm_sec = 0;
    return keyOf(t);
}

bool parseAbsolute(const char* text, int64_t& key)
{
    struct tm t = {};
    int consumed = 0;
    if (std::sscanf(text, "%4d-%2d-%2d%n", &t.tm_year, &t.tm_mon, &t.tm_mday, &consumed) != 3 || consumed != 10)
        return false;
    const char* rest = text + consumed;
    if (*rest != '\0') {
        if ((*rest != ' ' && *rest != 'T')
            || std::sscanf(rest + 1, "%2d:%2d%n:%2d%n", &t.tm_hour, &t.tm_min, &consumed, &t.tm_sec, &consumed) < 2
            || rest[1 + consumed] != '\0')
            return false;
    }
    if (t.tm_mon < 1 || t.tm_mon > 12 || t.tm_mday < 1 || t.tm_mday > 31 || t.tm_hour > 23 || t.tm_min > 59
        || t.tm_sec > 60)
        return false;
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    key = keyOf(t);
    return true;
}

} // namespace

bool qelParseLogTime(const char* text, time_t now, int64_t& key)
{
    time_t when = now;
    if (std::strcmp(text, "now") == 0 || std::strcmp(text, "today") == 0) {
        key = localKey(now, text[0] == 't');
        return true;
    }
    if (std::strcmp(text, "yesterday") == 0) {
        key = localKey(now - 86400, true);
        return true;
    }
    if (text[0] == '-' && parseRelative(text, now, when)) {
        key = localKey(when, false);
        return true;
    }
    return parseAbsolute(text, key);
}
