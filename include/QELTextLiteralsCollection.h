// QELTextLiteralsCollection: sets of text literals translated together, and
// the process-wide registry that re-translates them on a language change.
#ifndef QELTEXTLITERALSCOLLECTION_H
#define QELTEXTLITERALSCOLLECTION_H

#include <cstdint>

#include "QELExport.h"
#include "QELString.h"
#include "QELTextLiteral.h"

// The registry never holds more than 128 collections.
// clang-format off
#define QEL_TEXT_LITERALS_COLLECTION_INVARIANT(c) ( ((c)->counOfTextLiteralsCollections>=0) && ((c)->counOfTextLiteralsCollections<=128) )
// clang-format on

class QELTextLiteralsCollection;

// The entry point "loadTextLiteralsTranslations" of the companion library
// "libQELI18n.so": parses the translation file fileName and calls
// collection->addTextTranslation for each entry. Returns the number of
// entries applied, or -1 when the file cannot be read or is not valid XML.
typedef int (*QELLoadTextLiteralsTranslationsFunction)(const char* fileName, QELTextLiteralsCollection* collection);

// Abstract base of a module's literals: a derived class names the collection,
// owns its literals, lists them, and calls init(). init() applies the
// translation files translationsPath + name + "_" + locale + ".xml" for "en",
// the language and the full locale, in that order, and registers the
// collection for reInitAll(). Registered collections are never forgotten, so
// they must outlive the last reInitAll() (and setter call) of the process.
class QEL_API QELTextLiteralsCollection {
public:
    // The directory of the translation files, ending in "/"; empty at load.
    static QEL_DATA QELString translationsPath;
    // The locale code: a language (en) or language_COUNTRY (fr_FR).
    static QEL_DATA QELString applicationLocale;
    static QEL_DATA QELTextLiteralsCollection* textLiteralsCollections[128];
    // The number of registered collections (spelled so on purpose).
    static QEL_DATA int32_t counOfTextLiteralsCollections;

    // Fills an empty locale from getQELI18nLang() and an empty translations
    // path from getQELTextLiteralsPath(). Does not call init().
    QELTextLiteralsCollection();

    // The collection's base file name.
    virtual QELString getCollectionName() = 0;
    // The collection's literals, ended by a null pointer; owned by the
    // derived class.
    virtual QELTextLiteral** getTextLiterals() = 0;
    // Declared after the two operations above so that they keep the first
    // two slots. Does not unregister: the registry is never shrunk.
    virtual ~QELTextLiteralsCollection();

    // Applies the translation files of this collection that exist and
    // registers it. Does nothing (and does not register) while the
    // translations path is empty. Asserts when a 129th would be registered.
    void init();
    // Applies one translation file through the companion library. Stops the
    // process (assertion "0") when "libQELI18n.so" cannot be loaded; a
    // library without the entry point is skipped silently.
    void loadTranslation(const QELString& fileName);
    // The loader's call-back: updates the first literal whose id is exactly
    // id. Returns 1 when a literal was found, 0 for an unknown id.
    int addTextTranslation(const QELString& id, const QELString& text, const QELDOMElement* element);

    // init() on every registered collection, in registration order.
    static void reInitAll();
    // Each assigns its member and then re-translates everything.
    static void setTranslationsPath(const QELString& path);
    static void setApplicationLocale(const QELString& locale);
};

#endif
