// QELTextLiteralsCollection: translation loading per collection and locale,
// and the registry of initialised collections.
#include "QELTextLiteralsCollection.h"

#include <cstring>

#include <dlfcn.h>
#include <sys/stat.h>

#include "QELCompanionLibrary.h"
#include "QELConfiguration.h"
#include "QELAssert.h"
#include "QELStartup.h"

QEL_SOURCE_FILE("QELTextLiteralsCollection.cpp");

QEL_BUILT_AT(QEL_STAGE_VALUES) QELString QELTextLiteralsCollection::translationsPath;
QEL_BUILT_AT(QEL_STAGE_VALUES) QELString QELTextLiteralsCollection::applicationLocale;
QELTextLiteralsCollection* QELTextLiteralsCollection::textLiteralsCollections[128];
int32_t QELTextLiteralsCollection::counOfTextLiteralsCollections = 0;

// translationsPath + name + "_" + locale + ".xml".
static QELString translationFileName(const QELString& name, const char* locale, int localeLength)
{
    QELString fileName;
    const char* path = QELTextLiteralsCollection::translationsPath.p;
    const int pathLength = QELTextLiteralsCollection::translationsPath.len;
    fileName.resize(static_cast<unsigned int>(pathLength + name.len + 1 + localeLength + 4));
    if (pathLength > 0)
        fileName.append(path, pathLength);
    if (name.len > 0)
        fileName.append(name.p, name.len);
    fileName.append('_');
    if (localeLength > 0)
        fileName.append(locale, localeLength);
    fileName.append(".xml", 4);
    return fileName;
}

// ---------------------------------------------------------------------------
// System calls: file existence and the companion library.

static bool fileExists(const QELString& fileName)
{
    struct stat status;
    return stat(fileName.p, &status) == 0;
}

QELTextLiteralsCollection::QELTextLiteralsCollection()
{
    QEL_OPERATION("QELTextLiteralsCollection::QELTextLiteralsCollection()");
    QEL_ASSERT(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(this));
    if (applicationLocale.len == 0)
        applicationLocale = getQELI18nLang();
    if (translationsPath.len == 0)
        translationsPath = getQELTextLiteralsPath();
    QEL_ASSERT(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(this));
}

QELTextLiteralsCollection::~QELTextLiteralsCollection()
{
    QEL_OPERATION("virtual QELTextLiteralsCollection::~QELTextLiteralsCollection()");
    QEL_ASSERT(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(this));
}

void QELTextLiteralsCollection::init()
{
    QEL_OPERATION("void QELTextLiteralsCollection::init()");
    QEL_ASSERT(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(this));
    if (translationsPath.len == 0)
        return;
    const QELString name = getCollectionName();

    // English first: the base that the other languages override.
    QELString fileName = translationFileName(name, "en", 2);
    if (fileExists(fileName))
        loadTranslation(fileName);

    // Copies: a loaded translation may call a setter and change the statics.
    const QELString locale = applicationLocale;
    if (locale.len > 0 && locale != "en") {
        const char* underscore = strchr(locale.p, '_');
        if (underscore != NULL && underscore > locale.p) {
            fileName = translationFileName(name, locale.p, static_cast<int>(underscore - locale.p));
            if (fileExists(fileName))
                loadTranslation(fileName);
        }
        fileName = translationFileName(name, locale.p, locale.len);
        if (fileExists(fileName))
            loadTranslation(fileName);
    }

    for (int32_t i = 0; i < counOfTextLiteralsCollections; ++i) {
        if (textLiteralsCollections[i] == this)
            return;
    }
    QEL_ASSERT(counOfTextLiteralsCollections < 128);
    textLiteralsCollections[counOfTextLiteralsCollections++] = this;
    QEL_ASSERT(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(this));
}

void QELTextLiteralsCollection::loadTranslation(const QELString& fileName)
{
    QEL_OPERATION("void QELTextLiteralsCollection::loadTranslation(const QELString&)");
    QEL_ASSERT(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(this));
    void* library = qelOpenCompanionLibrary();
    if (library == NULL) {
        // A missing translation loader is a broken installation.
        QEL_ASSERT(0);
        return;
    }
    QELLoadTextLiteralsTranslationsFunction load =
        reinterpret_cast<QELLoadTextLiteralsTranslationsFunction>(dlsym(library, "loadTextLiteralsTranslations"));
    if (load == NULL)
        return;
    load(fileName.p, this);
}

int QELTextLiteralsCollection::addTextTranslation(const QELString& id, const QELString& text,
                                                  const QELDOMElement* element)
{
    QEL_OPERATION(
        "int QELTextLiteralsCollection::addTextTranslation(const QELString&, const QELString&, const QELDOMElement*)");
    QEL_ASSERT(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(this));
    QELTextLiteral** literals = getTextLiterals();
    if (literals == NULL)
        return 0;
    for (; *literals != NULL; ++literals) {
        QELTextLiteral* literal = *literals;
        if (literal->id.len == id.len && memcmp(literal->id.p, id.p, static_cast<size_t>(id.len)) == 0) {
            literal->update(text, element);
            return 1;
        }
    }
    return 0;
}

void QELTextLiteralsCollection::reInitAll()
{
    for (int32_t i = 0; i < counOfTextLiteralsCollections; ++i)
        textLiteralsCollections[i]->init();
}

void QELTextLiteralsCollection::setTranslationsPath(const QELString& path)
{
    translationsPath = path;
    reInitAll();
}

void QELTextLiteralsCollection::setApplicationLocale(const QELString& locale)
{
    applicationLocale = locale;
    reInitAll();
}
