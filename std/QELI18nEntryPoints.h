// QELI18nEntryPoints: the C entry points of the companion library
// "libQELI18n.so", declared once for both sides: the library that defines
// them includes this header, and the types this library looks them up as
// must match, so a signature that drifts on either side fails to compile.
#ifndef QELI18NENTRYPOINTS_H
#define QELI18NENTRYPOINTS_H

#include <type_traits>

#include "QELLogDeserializer.h"
#include "QELTextLiteralsCollection.h"

extern "C" {
void* createLogEventParser(void* userData, QELLog* log, QELLogEventStartElementHandler startElement,
                           QELLogEventTextHandler text);
QELBoolean parseLogEvent(const QELString& record, void* parser);
void deleteLogEventParser(void* parser);
int loadTextLiteralsTranslations(const char* fileName, QELTextLiteralsCollection* collection);
}

static_assert(std::is_same<decltype(&createLogEventParser), QELCreateLogEventParserFunction>::value,
              "createLogEventParser differs from the type it is looked up as");
static_assert(std::is_same<decltype(&parseLogEvent), QELParseLogEventFunction>::value,
              "parseLogEvent differs from the type it is looked up as");
static_assert(std::is_same<decltype(&deleteLogEventParser), QELDeleteLogEventParserFunction>::value,
              "deleteLogEventParser differs from the type it is looked up as");
static_assert(std::is_same<decltype(&loadTextLiteralsTranslations), QELLoadTextLiteralsTranslationsFunction>::value,
              "loadTextLiteralsTranslations differs from the type it is looked up as");

#endif
