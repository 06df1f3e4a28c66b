// QELTranslationLoader: the entry point "loadTextLiteralsTranslations" of
// libQELI18n.so, which reads one translation file with expat and hands each
// usable entry to its collection.
//
// The file (UTF-8 by default, any encoding expat reads may be declared):
//   <?xml version="1.0" encoding="UTF-8"?>
//   <TextLiterals collection="QELSampleTexts" locale="fr">
//     <Text id="greeting">Bonjour, {0} !</Text>
//   </TextLiterals>
// The root must be "TextLiterals"; each "Text" child gives the text of the
// literal named by its "id" attribute: the whole character content, entities
// and character references resolved, white space and line breaks kept,
// nested elements contributing their text. Anything else is ignored.
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>
#include <algorithm>

#include <expat.h>

#include "QELCheckedExpat.h"
#include "QELI18nEntryPoints.h"
#include "QELTextLiteral.h"
#include "QELTextLiteralsCollection.h"

// The state of one file being parsed.
struct QELTranslationParse {
    QELTextLiteralsCollection* collection;
    int depth;         // depth of the element being read, root = 1
    bool rootAccepted; // the root element is "TextLiterals"
    bool inEntry;      // inside a "Text" element directly below the root
    bool entryHasId;
    std::string id;
    std::string text;
    std::unordered_set<std::string> applied; // ids already applied from this file
    int appliedCount;
};

// The distinct placeholder numbers of a tokenised literal, sorted.
static std::vector<int32_t> placeholderNumbers(const QELParameterizedTextLiteral& literal)
{
    std::vector<int32_t> numbers;
    if (literal.preprocessedParameterSequenceTokens != NULL) {
        numbers.assign(literal.preprocessedParameterSequenceTokens,
                       literal.preprocessedParameterSequenceTokens + literal.parameterCount);
        std::sort(numbers.begin(), numbers.end());
        numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    }
    return numbers;
}

// Whether text may replace the text of the literal named id: the id must be
// known, and a parameterised literal must keep the same set of parameter
// numbers (order and repetitions may change), so that a caller filling in
// the old parameters still gets a complete text.
static bool translationFits(QELTextLiteralsCollection* collection, const QELString& id, const QELString& text)
{
    QELTextLiteral** literals = collection->getTextLiterals();
    if (literals == NULL)
        return false;
    for (; *literals != NULL; ++literals) {
        QELTextLiteral* literal = *literals;
        if (literal->id.len != id.len || memcmp(literal->id.p, id.p, static_cast<size_t>(id.len)) != 0)
            continue;
        const QELParameterizedTextLiteral* parameterized = dynamic_cast<const QELParameterizedTextLiteral*>(literal);
        if (parameterized == NULL)
            return true;
        const QELParameterizedTextLiteral probe(id, text);
        return placeholderNumbers(probe) == placeholderNumbers(*parameterized);
    }
    return false;
}

// Applies one entry unless its text is empty, its id is unknown or was
// already applied from this file, or its placeholders do not fit.
static void applyEntry(QELTranslationParse* parse)
{
    if (!parse->entryHasId || parse->text.empty())
        return;
    if (parse->applied.count(parse->id) != 0)
        return;
    const QELString id(parse->id.data(), static_cast<int>(parse->id.size()));
    const QELString text(parse->text.data(), static_cast<int>(parse->text.size()));
    if (!translationFits(parse->collection, id, text))
        return;
    parse->collection->addTextTranslation(id, text, NULL);
    parse->applied.insert(parse->id);
    ++parse->appliedCount;
}

static void XMLCALL startElement(void* userData, const XML_Char* name, const XML_Char** attributes)
{
    QELTranslationParse* parse = static_cast<QELTranslationParse*>(userData);
    ++parse->depth;
    if (parse->depth == 1) {
        parse->rootAccepted = strcmp(name, "TextLiterals") == 0;
    } else if (parse->depth == 2 && parse->rootAccepted && strcmp(name, "Text") == 0) {
        parse->inEntry = true;
        parse->entryHasId = false;
        parse->id.clear();
        parse->text.clear();
        for (const XML_Char** a = attributes; a[0] != NULL; a += 2) {
            if (strcmp(a[0], "id") == 0) {
                parse->id = a[1];
                parse->entryHasId = true;
            }
        }
    }
}

static void XMLCALL endElement(void* userData, const XML_Char* name)
{
    static_cast<void>(name);
    QELTranslationParse* parse = static_cast<QELTranslationParse*>(userData);
    if (parse->depth == 2 && parse->inEntry) {
        applyEntry(parse);
        parse->inEntry = false;
    }
    --parse->depth;
}

static void XMLCALL characterData(void* userData, const XML_Char* s, int length)
{
    QELTranslationParse* parse = static_cast<QELTranslationParse*>(userData);
    if (parse->inEntry)
        parse->text.append(s, static_cast<size_t>(length));
}

// Reads fileName and calls collection->addTextTranslation for each usable
// entry, with no element (null). Entries read before a syntax error (a
// truncated file, say) are applied. Returns the number of entries applied,
// or -1 when the file cannot be opened or is not well-formed XML.
extern "C" QEL_API int loadTextLiteralsTranslations(const char* fileName, QELTextLiteralsCollection* collection)
{
    if (fileName == NULL || collection == NULL)
        return -1;
    FILE* file = fopen(fileName, "rb");
    if (file == NULL)
        return -1;

    QELTranslationParse parse;
    parse.collection = collection;
    parse.depth = 0;
    parse.rootAccepted = false;
    parse.inEntry = false;
    parse.entryHasId = false;
    parse.appliedCount = 0;

    XML_Parser parser = qelCreateCheckedXmlParser();
    XML_SetUserData(parser, &parse);
    XML_SetElementHandler(parser, startElement, endElement);
    XML_SetCharacterDataHandler(parser, characterData);

    bool wellFormed = true;
    const int chunk = 65536;
    for (;;) {
        void* buffer = XML_GetBuffer(parser, chunk);
        if (buffer == NULL) {
            wellFormed = false;
            break;
        }
        const size_t got = fread(buffer, 1, static_cast<size_t>(chunk), file);
        const bool last = got < static_cast<size_t>(chunk);
        if (XML_ParseBuffer(parser, static_cast<int>(got), last ? 1 : 0) != XML_STATUS_OK) {
            wellFormed = false;
            break;
        }
        if (last)
            break;
    }
    if (ferror(file))
        wellFormed = false;
    XML_ParserFree(parser);
    fclose(file);
    return wellFormed ? parse.appliedCount : -1;
}
