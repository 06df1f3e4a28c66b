// QELLogEventParser: the log record parser of libQELI18n.so, on expat. The
// main library finds its three entry points with dlsym by their C names.
#include <expat.h>
#include <string.h>
#include <sys/random.h>
#include <time.h>

#include <string>

#include "../std/QELMemory.h"
#include "QELCheckedExpat.h"
#include "QELException.h"
#include "QELI18nEntryPoints.h"
#include "QELLog.h"
#include "QELLogDeserializer.h"

// One parser, reused for every record of a deserializer. It accepts exactly
// one element, named "Message", without child elements, comments or a
// document type declaration; anything else is a record that does not parse.
// Deliberate: the formatter writes no comment, and a record header is one,
// so a record that spans another header is refused before it is parsed, at
// the cost of reading up to that header. However many bogus headers a
// stream holds, the work spent on records that do not parse stays linear.
struct QELLogEventParser {
    XML_Parser xml;
    void* userData;
    QELLog* log;
    QELLogEventStartElementHandler onStartElement;
    QELLogEventTextHandler onText;
    int depth;
    bool rejected;
    bool used;
    // The hash salt of every record, drawn once: expat would otherwise
    // draw one from the system's entropy at each record, a system call that
    // costs more than parsing a short record.
    unsigned long salt;
    // The element's text, handed over in one piece when the element ends.
    std::string text;
};

static void stopParser(QELLogEventParser* parser)
{
    parser->rejected = true;
    XML_StopParser(parser->xml, XML_FALSE);
}

static void XMLCALL onStartElement(void* data, const XML_Char* name, const XML_Char** attributes)
{
    QELLogEventParser* parser = static_cast<QELLogEventParser*>(data);
    if (parser->depth != 0 || strcmp(name, "Message") != 0) {
        stopParser(parser);
        return;
    }
    parser->depth++;
    parser->onStartElement(parser->userData, name, attributes);
}

static void XMLCALL onEndElement(void* data, const XML_Char* name)
{
    static_cast<void>(name);
    QELLogEventParser* parser = static_cast<QELLogEventParser*>(data);
    parser->depth--;
    if (parser->depth == 0 && !parser->text.empty())
        parser->onText(parser->userData, parser->text.data(), static_cast<int>(parser->text.size()));
}

static void XMLCALL onCharacterData(void* data, const XML_Char* text, int length)
{
    QELLogEventParser* parser = static_cast<QELLogEventParser*>(data);
    if (parser->depth == 1)
        parser->text.append(text, static_cast<size_t>(length));
}

static void XMLCALL onStartDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int)
{
    stopParser(static_cast<QELLogEventParser*>(data));
}

// A random hash salt for one parser, never 0 (which asks expat to draw one).
static unsigned long drawSalt(const void* parser)
{
    unsigned long salt = 0;
    if (getrandom(&salt, sizeof salt, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof salt))
        salt = static_cast<unsigned long>(time(NULL)) ^ reinterpret_cast<unsigned long>(parser);
    return salt != 0 ? salt : 1;
}

// Handlers, user data and salt, set afresh after every reset (a reset
// clears them).
static void bindHandlers(QELLogEventParser* parser)
{
    XML_SetHashSalt(parser->xml, parser->salt);
    XML_SetUserData(parser->xml, parser);
    XML_SetElementHandler(parser->xml, onStartElement, onEndElement);
    XML_SetCharacterDataHandler(parser->xml, onCharacterData);
    XML_SetStartDoctypeDeclHandler(parser->xml, onStartDoctype);
}

// Reports the reason a record was refused to the parser's own log (level
// "ERROR", code "XML"), which the deserializer sets to discard it.
static void reportFailure(QELLogEventParser* parser)
{
    if (parser->log == NULL)
        return;
    QELString message(parser->rejected ? "not a single Message element"
                                       : XML_ErrorString(XML_GetErrorCode(parser->xml)));
    QELLogEvent event(message, QELString("XML"), 2, emptyString);
    parser->log->log(event);
}

extern "C" QEL_API void* createLogEventParser(void* userData, QELLog* log, QELLogEventStartElementHandler startElement,
                                              QELLogEventTextHandler text)
{
    QELLogEventParser* parser = qelNew<QELLogEventParser>();
    parser->xml = qelCreateCheckedXmlParser();
    parser->userData = userData;
    parser->log = log;
    parser->onStartElement = startElement;
    parser->onText = text;
    parser->depth = 0;
    parser->rejected = false;
    parser->used = false;
    parser->salt = drawSalt(parser);
    bindHandlers(parser);
    return parser;
}

// Returns true when `record` holds one well-formed Message element; the
// callbacks have then reported its attributes and its text.
extern "C" QEL_API QELBoolean parseLogEvent(const QELString& record, void* handle)
{
    QELLogEventParser* parser = static_cast<QELLogEventParser*>(handle);
    if (parser->used) {
        XML_ParserReset(parser->xml, NULL);
        bindHandlers(parser);
    }
    parser->used = true;
    parser->depth = 0;
    parser->rejected = false;
    parser->text.clear();
    if (memmem(record.p, static_cast<size_t>(record.len), "<!--", 4) != NULL) {
        parser->rejected = true;
        reportFailure(parser);
        return 0;
    }
    XML_Status status = XML_Parse(parser->xml, record.p, record.len, XML_TRUE);
    if (status == XML_STATUS_OK && !parser->rejected)
        return 1;
    reportFailure(parser);
    return 0;
}

extern "C" QEL_API void deleteLogEventParser(void* handle)
{
    QELLogEventParser* parser = static_cast<QELLogEventParser*>(handle);
    XML_ParserFree(parser->xml);
    delete parser;
}
