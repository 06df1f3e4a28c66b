// Tests of QELTextLiteralsCollection and of the translation loader in
// libQELI18n.so: the order of the translation files per locale, the registry
// and re-initialisation, language switching, and bad translation files.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <link.h>
#include <memory>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <dlfcn.h>

#include "QELConfiguration.h"
#include "QELTextLiteral.h"
#include "QELTextLiteralsCollection.h"
#include "QELDeathTestPatterns.h"
#include "QELTestChild.h"

namespace {

std::string dataDir()
{
    return std::string(QEL_TEST_DATA_DIR) + "/i18n/";
}

std::string str(const QELString& s)
{
    return std::string(s.chars(), s.length());
}

// A literal that records every text it is given, in order.
class RecordingLiteral : public QELTextLiteral {
public:
    std::vector<std::string>* log;
    std::string tag;
    RecordingLiteral(const char* id, const char* text, std::vector<std::string>* log, const char* tag = "")
        : QELTextLiteral(id, text), log(log), tag(tag)
    {
    }
    void update(const QELString& text, const QELDOMElement* element) override
    {
        log->push_back(tag + str(text));
        QELTextLiteral::update(text, element);
    }
};

// A collection with a given name over literals it owns.
class TestCollection : public QELTextLiteralsCollection {
public:
    QELString name;
    std::vector<QELTextLiteral*> literals; // null-terminated

    TestCollection(const char* name, std::initializer_list<QELTextLiteral*> list) : name(name), literals(list)
    {
        literals.push_back(nullptr);
    }
    ~TestCollection() override
    {
        for (QELTextLiteral* l : literals)
            delete l;
    }
    QELString getCollectionName() override { return name; }
    QELTextLiteral** getTextLiterals() override { return literals.data(); }

    QELTextLiteral* find(const char* id)
    {
        for (QELTextLiteral* l : literals)
            if (l != nullptr && l->id == id)
                return l;
        return nullptr;
    }
    std::string text(const char* id)
    {
        QELTextLiteral* l = find(id);
        return l == nullptr ? std::string("<no such literal>") : str(l->text);
    }
};

// Each test starts with an empty registry, the test translations and the
// English locale, and restores the process-wide statics afterwards.
class QELTextLiteralsCollectionTest : public ::testing::Test {
protected:
    QELString savedPath;
    QELString savedLocale;
    std::string savedLang;
    bool hadLang = false;
    std::vector<std::unique_ptr<TestCollection>> owned;
    std::vector<std::string> log;

    void SetUp() override
    {
        savedPath = QELTextLiteralsCollection::translationsPath;
        savedLocale = QELTextLiteralsCollection::applicationLocale;
        const char* lang = getenv("QEL_I18N_LANG");
        hadLang = lang != nullptr;
        if (hadLang)
            savedLang = lang;
        QELTextLiteralsCollection::counOfTextLiteralsCollections = 0;
        QELTextLiteralsCollection::translationsPath = dataDir().c_str();
        QELTextLiteralsCollection::applicationLocale = "en";
    }

    void TearDown() override
    {
        QELTextLiteralsCollection::counOfTextLiteralsCollections = 0;
        QELTextLiteralsCollection::translationsPath = savedPath;
        QELTextLiteralsCollection::applicationLocale = savedLocale;
        if (hadLang)
            setenv("QEL_I18N_LANG", savedLang.c_str(), 1);
        else
            unsetenv("QEL_I18N_LANG");
        owned.clear();
    }

    TestCollection* make(const char* name, std::initializer_list<QELTextLiteral*> list)
    {
        owned.emplace_back(new TestCollection(name, list));
        return owned.back().get();
    }

    // The test collection "Basic": "region" records what it is given.
    TestCollection* makeBasic(const char* tag = "")
    {
        return make("Basic", {
            new QELTextLiteral("title", "built-in title"),
            new QELParameterizedTextLiteral("greeting", "Hi {0}"),
            new RecordingLiteral("region", "built-in region", &log, tag),
            new QELTextLiteral("enOnly", "built-in enOnly"),
            new QELTextLiteral("frOnly", "built-in frOnly"),
            new QELTextLiteral("builtinOnly", "built-in builtinOnly"),
        });
    }

    // A collection for loading single files directly.
    TestCollection* makeProbe()
    {
        return make("Probe", {
            new QELTextLiteral("title", "built-in title"),
            new QELParameterizedTextLiteral("greeting", "Hello {0}"),
            new QELParameterizedTextLiteral("region", "built-in region"),
            new QELTextLiteral("enOnly", "built-in enOnly"),
            new QELTextLiteral("frOnly", "built-in frOnly"),
            new QELTextLiteral("builtinOnly", "built-in builtinOnly"),
            new QELParameterizedTextLiteral("copy", "Copy {0} to {1}"),
            new QELParameterizedTextLiteral("twice", "{0}!"),
            new QELParameterizedTextLiteral("plainParameterized", "No params"),
        });
    }

    static bool registered(QELTextLiteralsCollection* c)
    {
        for (int i = 0; i < QELTextLiteralsCollection::counOfTextLiteralsCollections; ++i)
            if (QELTextLiteralsCollection::textLiteralsCollections[i] == c)
                return true;
        return false;
    }

    static void expectRegistryInvariant(const QELTextLiteralsCollection* c)
    {
        EXPECT_TRUE(QEL_TEXT_LITERALS_COLLECTION_INVARIANT(c));
    }
};

std::string fill(QELParameterizedTextLiteral* l, const char* value)
{
    void* values = l->prapareForParameters();
    l->setParameterValue(values, 0, value);
    return str(l->createParametrizedText(values));
}

} // namespace

// ---------------------------------------------------------------------------
// Construction

TEST_F(QELTextLiteralsCollectionTest, ConstructorTakesTheLocaleFromQelI18nLang)
{
    QELTextLiteralsCollection::applicationLocale = "";
    setenv("QEL_I18N_LANG", "fr_CA", 1);
    makeBasic();
    EXPECT_EQ(str(QELTextLiteralsCollection::applicationLocale), "fr_CA");
}

TEST_F(QELTextLiteralsCollectionTest, ConstructorTakesTheLocaleFromSetQelI18nLang)
{
    QELTextLiteralsCollection::applicationLocale = "";
    EXPECT_TRUE(setQELI18nLang("de"));
    makeBasic();
    EXPECT_EQ(str(QELTextLiteralsCollection::applicationLocale), "de");
}

TEST_F(QELTextLiteralsCollectionTest, ConstructorLeavesTheLocaleEmptyWithoutQelI18nLang)
{
    QELTextLiteralsCollection::applicationLocale = "";
    unsetenv("QEL_I18N_LANG");
    makeBasic();
    EXPECT_TRUE(QELTextLiteralsCollection::applicationLocale.isEmpty());
}

TEST_F(QELTextLiteralsCollectionTest, ConstructorKeepsLocaleAndPathThatAreSet)
{
    setenv("QEL_I18N_LANG", "de", 1);
    QELTextLiteralsCollection::applicationLocale = "it";
    QELTextLiteralsCollection::translationsPath = "/nowhere/";
    makeBasic();
    EXPECT_EQ(str(QELTextLiteralsCollection::applicationLocale), "it");
    EXPECT_EQ(str(QELTextLiteralsCollection::translationsPath), "/nowhere/");
}

TEST_F(QELTextLiteralsCollectionTest, ConstructorTakesThePathFromTheConfiguration)
{
    QELTextLiteralsCollection::translationsPath = "";
    makeBasic();
    const QELString expected = getQELTextLiteralsPath();
    EXPECT_FALSE(expected.isEmpty());
    EXPECT_EQ(str(QELTextLiteralsCollection::translationsPath), str(expected));
    EXPECT_EQ(str(QELTextLiteralsCollection::translationsPath).back(), '/');
}

TEST_F(QELTextLiteralsCollectionTest, ConstructorNeitherLoadsNorRegisters)
{
    TestCollection* c = makeBasic();
    EXPECT_EQ(c->text("title"), "built-in title");
    EXPECT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 0);
}

// The fixture empties the registry before every test, so the registry's
// starting state is checked in a fresh process: the re-executed test binary
// of a threadsafe death test, without the fixture. The registry is empty
// there, and the first collection registers at slot 0 and is re-translated.
TEST(QELTextLiteralsCollectionFreshProcess, RegistryStartsEmptyAndTakesTheFirstCollection)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            if (QELTextLiteralsCollection::counOfTextLiteralsCollections != 0)
                _exit(3);
            QELTextLiteralsCollection::translationsPath = dataDir().c_str();
            QELTextLiteralsCollection::applicationLocale = "en";
            TestCollection c("Basic", {new QELTextLiteral("title", "built-in title")});
            c.init();
            if (QELTextLiteralsCollection::counOfTextLiteralsCollections != 1 ||
                QELTextLiteralsCollection::textLiteralsCollections[0] != &c)
                _exit(4);
            QELTextLiteralsCollection::setTranslationsPath(QELString(dataDir().c_str()));
            _exit(c.text("title") == "built-in title" ? 5 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

// ---------------------------------------------------------------------------
// init: files per locale

struct LocaleCase {
    const char* locale;
    std::vector<std::string> regionTexts; // every text "region" was given, in order
    const char* title;
    const char* why;
};

TEST_F(QELTextLiteralsCollectionTest, InitAppliesTheFilesOfTheLocaleInOrder)
{
    const std::vector<LocaleCase> cases = {
        {"en", {"Region en"}, "Title en", "English only"},
        {"", {"Region en"}, "Title en", "no locale: English only"},
        {"fr", {"Region en", "Region fr"}, "Title fr", "English, then the language"},
        {"fr_FR", {"Region en", "Region fr", "Region fr_FR"}, "Title fr", "English, language, full locale"},
        {"fr_CA", {"Region en", "Region fr"}, "Title fr", "no file for the full locale"},
        {"fr_", {"Region en", "Region fr"}, "Title fr", "underscore at the end"},
        {"de_AT", {"Region en", "Region de"}, "Title de", "another language"},
        {"de", {"Region en", "Region de"}, "Title de", "German"},
        {"xx", {"Region en"}, "Title en", "no file for the language"},
        {"_x", {"Region en"}, "Title _x", "underscore first: no language file, then \"__x\""},
        {"EN", {"Region en"}, "Title en", "only \"en\" exactly is English; \"EN\" has no file"},
    };
    for (const LocaleCase& c : cases) {
        SCOPED_TRACE(std::string(c.locale) + " : " + c.why);
        log.clear();
        QELTextLiteralsCollection::counOfTextLiteralsCollections = 0;
        QELTextLiteralsCollection::applicationLocale = c.locale;
        TestCollection* basic = makeBasic();
        basic->init();
        EXPECT_EQ(log, c.regionTexts);
        EXPECT_EQ(basic->text("title"), c.title);
        EXPECT_EQ(basic->text("enOnly"), "EnOnly en");
        EXPECT_EQ(basic->text("builtinOnly"), "built-in builtinOnly");
        EXPECT_TRUE(registered(basic));
        expectRegistryInvariant(basic);
    }
}

TEST_F(QELTextLiteralsCollectionTest, FullLocaleOverridesLanguageWhichOverridesEnglish)
{
    QELTextLiteralsCollection::applicationLocale = "fr_FR";
    TestCollection* basic = makeBasic();
    basic->init();
    EXPECT_EQ(basic->text("title"), "Title fr");         // _fr over _en
    EXPECT_EQ(basic->text("region"), "Region fr_FR");    // _fr_FR over _fr
    EXPECT_EQ(basic->text("enOnly"), "EnOnly en");       // only in _en
    EXPECT_EQ(basic->text("frOnly"), "FrOnly fr");       // only in _fr
    EXPECT_EQ(basic->text("builtinOnly"), "built-in builtinOnly");
    auto* greeting = static_cast<QELParameterizedTextLiteral*>(basic->find("greeting"));
    EXPECT_EQ(fill(greeting, "Marie"), "Bonjour Marie fr");
}

TEST_F(QELTextLiteralsCollectionTest, MissingEnglishFileIsSkipped)
{
    QELTextLiteralsCollection::applicationLocale = "fr";
    TestCollection* c = make("NoEnglish", {new QELTextLiteral("title", "built-in title")});
    c->init();
    EXPECT_EQ(c->text("title"), "Title fr");
}

TEST_F(QELTextLiteralsCollectionTest, CollectionWithoutFilesKeepsItsTextsAndRegisters)
{
    QELTextLiteralsCollection::applicationLocale = "fr_FR";
    TestCollection* c = make("NoFilesAtAll", {new QELTextLiteral("title", "built-in title")});
    c->init();
    EXPECT_EQ(c->text("title"), "built-in title");
    EXPECT_TRUE(registered(c));
}

TEST_F(QELTextLiteralsCollectionTest, MissingDirectoryKeepsTheTexts)
{
    QELTextLiteralsCollection::translationsPath = (dataDir() + "no-such-directory/").c_str();
    TestCollection* c = makeBasic();
    c->init();
    EXPECT_EQ(c->text("title"), "built-in title");
    EXPECT_TRUE(log.empty());
}

TEST_F(QELTextLiteralsCollectionTest, EmptyCollectionInitialises)
{
    TestCollection* c = make("Basic", {});
    c->init();
    EXPECT_TRUE(registered(c));
}

// ---------------------------------------------------------------------------
// Registry

TEST_F(QELTextLiteralsCollectionTest, InitTwiceRegistersOnce)
{
    TestCollection* c = makeBasic();
    c->init();
    c->init();
    EXPECT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 1);
    EXPECT_EQ(QELTextLiteralsCollection::textLiteralsCollections[0], c);
    EXPECT_EQ(log, (std::vector<std::string>{"Region en", "Region en"}));
}

TEST_F(QELTextLiteralsCollectionTest, RegistryKeepsRegistrationOrder)
{
    TestCollection* a = makeBasic();
    TestCollection* b = make("NoFilesAtAll", {});
    TestCollection* c = makeBasic();
    b->init();
    a->init();
    c->init();
    a->init();
    ASSERT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 3);
    EXPECT_EQ(QELTextLiteralsCollection::textLiteralsCollections[0], b);
    EXPECT_EQ(QELTextLiteralsCollection::textLiteralsCollections[1], a);
    EXPECT_EQ(QELTextLiteralsCollection::textLiteralsCollections[2], c);
}

TEST_F(QELTextLiteralsCollectionTest, EmptyPathLoadsNothingAndDoesNotRegister)
{
    TestCollection* c = makeBasic();
    QELTextLiteralsCollection::translationsPath = "";
    c->init();
    EXPECT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 0);
    EXPECT_EQ(c->text("title"), "built-in title");
    QELTextLiteralsCollection::translationsPath = dataDir().c_str();
    QELTextLiteralsCollection::reInitAll();
    EXPECT_TRUE(log.empty()); // reInitAll does not know it
    EXPECT_EQ(c->text("title"), "built-in title");
}

TEST_F(QELTextLiteralsCollectionTest, ReInitAllInitialisesEveryCollectionInRegistrationOrder)
{
    TestCollection* a = makeBasic("a:");
    TestCollection* b = makeBasic("b:");
    b->init();
    a->init();
    log.clear();
    QELTextLiteralsCollection::applicationLocale = "fr";
    QELTextLiteralsCollection::reInitAll();
    EXPECT_EQ(log, (std::vector<std::string>{"b:Region en", "b:Region fr", "a:Region en", "a:Region fr"}));
    EXPECT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 2);
}

TEST_F(QELTextLiteralsCollectionTest, ReInitAllWithEmptyRegistryDoesNothing)
{
    QELTextLiteralsCollection::reInitAll();
    EXPECT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 0);
}

TEST_F(QELTextLiteralsCollectionTest, RegistryHolds128Collections)
{
    std::vector<TestCollection*> all;
    for (int i = 0; i < 128; ++i) {
        all.push_back(make("NoFilesAtAll", {}));
        all.back()->init();
    }
    ASSERT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 128);
    for (int i = 0; i < 128; ++i)
        EXPECT_EQ(QELTextLiteralsCollection::textLiteralsCollections[i], all[std::size_t(i)]);
    all[5]->init(); // already registered: no assertion at the limit
    EXPECT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 128);
    expectRegistryInvariant(all[0]);
}

// ---------------------------------------------------------------------------
// Changing language and directory

TEST_F(QELTextLiteralsCollectionTest, SwitchingFrenchToGermanReappliesEnglishThenGerman)
{
    TestCollection* c = makeBasic();
    c->init();
    QELTextLiteralsCollection::setApplicationLocale("fr");
    EXPECT_EQ(c->text("title"), "Title fr");
    EXPECT_EQ(c->text("frOnly"), "FrOnly fr");
    log.clear();
    QELTextLiteralsCollection::setApplicationLocale("de");
    EXPECT_EQ(str(QELTextLiteralsCollection::applicationLocale), "de");
    EXPECT_EQ(log, (std::vector<std::string>{"Region en", "Region de"}));
    EXPECT_EQ(c->text("title"), "Title de");
    EXPECT_EQ(c->text("frOnly"), "FrOnly fr"); // in neither _en nor _de
    auto* greeting = static_cast<QELParameterizedTextLiteral*>(c->find("greeting"));
    EXPECT_EQ(fill(greeting, "Jo"), "Hallo Jo de");
    QELTextLiteralsCollection::setApplicationLocale("en");
    EXPECT_EQ(c->text("title"), "Title en");
    EXPECT_EQ(fill(greeting, "Jo"), "Hello Jo en");
}

TEST_F(QELTextLiteralsCollectionTest, SetTranslationsPathRetranslatesFromTheNewDirectory)
{
    TestCollection* c = makeBasic();
    c->init();
    EXPECT_EQ(c->text("title"), "Title en");
    QELTextLiteralsCollection::setTranslationsPath((dataDir() + "alt/").c_str());
    EXPECT_EQ(str(QELTextLiteralsCollection::translationsPath), dataDir() + "alt/");
    EXPECT_EQ(c->text("title"), "Title alt");
    EXPECT_EQ(c->text("region"), "Region en"); // the alternative file lacks it
}

TEST_F(QELTextLiteralsCollectionTest, SettingAnEmptyPathStopsRetranslating)
{
    TestCollection* c = makeBasic();
    c->init();
    log.clear();
    QELTextLiteralsCollection::setTranslationsPath("");
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(QELTextLiteralsCollection::counOfTextLiteralsCollections, 1);
}

TEST_F(QELTextLiteralsCollectionTest, QelI18nLangChoosesTheLanguageOfNewCollections)
{
    EXPECT_TRUE(setQELI18nLang("de"));
    EXPECT_EQ(str(getQELI18nLang()), "de");
    QELTextLiteralsCollection::applicationLocale = "";
    TestCollection* c = makeBasic();
    c->init();
    EXPECT_EQ(c->text("title"), "Title de");
}

// ---------------------------------------------------------------------------
// addTextTranslation

TEST_F(QELTextLiteralsCollectionTest, AddTextTranslationMatchesTheExactId)
{
    TestCollection* c = make("X", {
        new QELTextLiteral("title", "t"),
        new QELTextLiteral("titles", "ts"),
        new QELTextLiteral("Title", "T"),
        new QELTextLiteral("title", "second with the same id"),
    });
    const struct {
        const char* id;
        int result;
        const char* why;
    } cases[] = {
        {"title", 1, "exact"},
        {"titl", 0, "a prefix is no match"},
        {"titlex", 0, "a longer id is no match"},
        {"TITLE", 0, "case counts"},
        {"", 0, "empty id"},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.why);
        EXPECT_EQ(c->addTextTranslation(k.id, "new", nullptr), k.result);
    }
    EXPECT_EQ(str(c->literals[0]->text), "new");
    EXPECT_EQ(str(c->literals[1]->text), "ts");
    EXPECT_EQ(str(c->literals[2]->text), "T");
    EXPECT_EQ(str(c->literals[3]->text), "second with the same id"); // the walk stops at the first
}

TEST_F(QELTextLiteralsCollectionTest, AddTextTranslationWithEmptyTextKeepsTheText)
{
    TestCollection* c = make("X", {new QELTextLiteral("title", "t")});
    c->addTextTranslation("title", "", nullptr);
    EXPECT_EQ(c->text("title"), "t");
}

TEST_F(QELTextLiteralsCollectionTest, AddTextTranslationOnEmptyArrayDoesNothing)
{
    TestCollection* c = make("X", {});
    EXPECT_EQ(c->addTextTranslation("title", "x", nullptr), 0);
}

TEST_F(QELTextLiteralsCollectionTest, AddTextTranslationPassesTheElementThrough)
{
    struct ElementLiteral : QELTextLiteral {
        const QELDOMElement* seen = nullptr;
        ElementLiteral() : QELTextLiteral("e", "x") {}
        void update(const QELString& text, const QELDOMElement* element) override
        {
            seen = element;
            QELTextLiteral::update(text, element);
        }
    };
    auto* literal = new ElementLiteral;
    TestCollection* c = make("X", {literal});
    int marker = 0;
    const QELDOMElement* element = reinterpret_cast<const QELDOMElement*>(&marker);
    c->addTextTranslation("e", "y", element);
    EXPECT_EQ(literal->seen, element);
    EXPECT_EQ(str(literal->text), "y");
}

TEST_F(QELTextLiteralsCollectionTest, TranslationRetokenisesParameterizedAndKeepsTheLevel)
{
    auto* message = new QELMessageLiteral("greeting", "Hi {0}", "WARNING");
    TestCollection* c = make("Basic", {message});
    QELTextLiteralsCollection::applicationLocale = "de";
    c->init();
    EXPECT_EQ(str(message->text), "Hallo {0} de");
    EXPECT_EQ(message->level, 3);
    EXPECT_EQ(fill(message, "Udo"), "Hallo Udo de");
}

// ---------------------------------------------------------------------------
// Translation files, good and bad, loaded one at a time

struct FileCase {
    const char* file;
    int loaderResult;
    std::vector<std::pair<const char*, const char*>> texts; // the literals that changed
    const char* why;
};

TEST_F(QELTextLiteralsCollectionTest, TranslationFilesApplyWhatCanBeRead)
{
    typedef int (*Loader)(const char*, QELTextLiteralsCollection*);
    void* library = dlopen("libQELI18n.so", RTLD_LAZY);
    ASSERT_NE(library, nullptr);
    Loader loader = reinterpret_cast<Loader>(dlsym(library, "loadTextLiteralsTranslations"));
    ASSERT_NE(loader, nullptr);

    const std::vector<FileCase> cases = {
        {"Basic_en.xml", 4,
         {{"title", "Title en"}, {"greeting", "Hello {0} en"}, {"region", "Region en"}, {"enOnly", "EnOnly en"}},
         "a good file"},
        {"Missing.xml", -1, {}, "missing file"},
        {"Empty.xml", -1, {}, "empty file"},
        {"NotXml.xml", -1, {}, "not XML"},
        {"Truncated.xml", -1, {{"title", "Title truncated"}, {"region", "Region truncated"}},
         "truncated: the complete entries apply"},
        {"BadEntity.xml", -1, {{"title", "Title before error"}}, "an undefined entity stops the parse"},
        {"Unknown.xml", 1, {{"title", "Title known"}}, "unknown, case-different and prefix ids are ignored"},
        {"Duplicate.xml", 2, {{"title", "Title first"}, {"region", "Region after empty"}},
         "the first usable entry of an id counts"},
        {"EmptyText.xml", 1, {{"enOnly", "   "}}, "empty texts are skipped, blanks are text"},
        {"Placeholders.xml", 4,
         {{"copy", "Nach {1} kopiert: {0}"}, {"twice", "{0} and again {0}"},
          {"title", "Plain {0} is fine for a plain literal"}, {"plainParameterized", "No placeholder either"}},
         "a translation must keep the set of parameter numbers"},
        {"Entities.xml", 5,
         {{"title", "<&> \"' \xc3\xa9\xe2\x9c\x93 QEL Studio"},
          {"region", "Line 1\nLine 2\nLine 3"},
          {"enOnly", "<raw> & {0}"},
          {"frOnly", "a bold word"},
          {"builtinOnly", "Gr\xc3\xb6\xc3\x9f" "e \xe2\x9c\x93 \xe6\x97\xa5\xe6\x9c\xac"}},
         "entities, references, CDATA, line breaks, nested text, UTF-8"},
        {"Latin1.xml", 1, {{"title", "caf\xc3\xa9"}}, "a declared ISO-8859-1 file arrives as UTF-8"},
        {"WrongRoot.xml", 0, {}, "another root element"},
        {"Nested.xml", 1, {{"region", "Region nested"}}, "only Text elements with an id below the root"},
    };
    for (const FileCase& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " : " + c.why);
        TestCollection* probe = makeProbe();
        std::vector<std::string> before;
        for (QELTextLiteral* l : probe->literals)
            if (l != nullptr)
                before.push_back(str(l->text));
        const std::string path = dataDir() + c.file;
        EXPECT_EQ(loader(path.c_str(), probe), c.loaderResult);

        // Again through the collection, on a fresh probe.
        TestCollection* other = makeProbe();
        other->loadTranslation(path.c_str());
        std::size_t i = 0;
        for (QELTextLiteral* l : probe->literals) {
            if (l == nullptr)
                break;
            std::string expected = before[i++];
            for (const auto& t : c.texts)
                if (l->id == t.first)
                    expected = t.second;
            EXPECT_EQ(str(l->text), expected) << "literal " << str(l->id);
            EXPECT_EQ(other->text(l->id.chars()), expected) << "literal " << str(l->id);
            auto* p = dynamic_cast<QELParameterizedTextLiteral*>(l);
            if (p != nullptr) {
                EXPECT_TRUE(QEL_PARAMETERIZED_TEXT_LITERAL_INVARIANT(p));
            }
        }
    }
    EXPECT_EQ(loader(nullptr, makeProbe()), -1);
    EXPECT_EQ(loader((dataDir() + "Basic_en.xml").c_str(), nullptr), -1);
    // A collection without literals takes none of a good file's entries.
    class NoLiterals : public TestCollection {
    public:
        NoLiterals() : TestCollection("NoLiterals", {}) {}
        QELTextLiteral** getTextLiterals() override { return nullptr; }
    } none;
    EXPECT_EQ(loader((dataDir() + "Basic_en.xml").c_str(), &none), 0);
    EXPECT_EQ(loader(dataDir().c_str(), makeProbe()), -1); // a directory
}

TEST_F(QELTextLiteralsCollectionTest, AcceptedTranslationsFillTheOldParameters)
{
    TestCollection* probe = makeProbe();
    probe->loadTranslation((dataDir() + "Placeholders.xml").c_str());
    auto* copy = static_cast<QELParameterizedTextLiteral*>(probe->find("copy"));
    void* values = copy->prapareForParameters();
    copy->setParameterValue(values, 0, "a.txt");
    copy->setParameterValue(values, 1, "/tmp");
    EXPECT_EQ(str(copy->createParametrizedText(values)), "Nach /tmp kopiert: a.txt");
    auto* greeting = static_cast<QELParameterizedTextLiteral*>(probe->find("greeting"));
    EXPECT_EQ(fill(greeting, "Ann"), "Hello Ann"); // "Hi there" was refused
}

class TemporaryDirectory {
public:
    std::string path;
    TemporaryDirectory()
    {
        const char* tmp = getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/qeli18n-XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data()) != nullptr)
            path = buffer.data();
    }
    ~TemporaryDirectory()
    {
        if (!path.empty())
            (void)system(("rm -rf '" + path + "'").c_str());
    }
};

TEST_F(QELTextLiteralsCollectionTest, LargeFileWithBomIsReadAcrossChunks)
{
    TemporaryDirectory dir;
    ASSERT_FALSE(dir.path.empty());
    std::string big;
    for (int i = 0; i < 2000; ++i)
        big += "Größe ✓ " + std::to_string(i) + "\n";
    {
        std::ofstream out(dir.path + "/Big_en.xml", std::ios::binary);
        out << "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<TextLiterals>\n";
        for (int i = 0; i < 3000; ++i)
            out << "  <Text id=\"unknown" << i << "\">padding text number " << i << "</Text>\n";
        out << "  <Text id=\"title\">" << big << "</Text>\n";
        out << "  <Text id=\"greeting\">Moin {0}</Text>\n</TextLiterals>\n";
    }
    QELTextLiteralsCollection::translationsPath = (dir.path + "/").c_str();
    TestCollection* c = make("Big", {new QELTextLiteral("title", "t"), new QELParameterizedTextLiteral("greeting", "Hi {0}")});
    c->init();
    EXPECT_EQ(c->text("title"), big);
    EXPECT_EQ(fill(static_cast<QELParameterizedTextLiteral*>(c->find("greeting")), "Kai"), "Moin Kai");
}

TEST_F(QELTextLiteralsCollectionTest, UnnamedCollectionReadsTheFileNamedByTheLocaleAlone)
{
    TemporaryDirectory dir;
    ASSERT_FALSE(dir.path.empty());
    {
        std::ofstream out(dir.path + "/_en.xml", std::ios::binary);
        out << "<?xml version=\"1.0\"?>\n<TextLiterals>\n  <Text id=\"title\">Unnamed en</Text>\n</TextLiterals>\n";
    }
    QELTextLiteralsCollection::translationsPath = (dir.path + "/").c_str();
    TestCollection* c = make("", {new QELTextLiteral("title", "t")});
    c->init();
    EXPECT_EQ(c->text("title"), "Unnamed en");
    EXPECT_TRUE(registered(c));
}

// A collection that has no literal array at all.
class ArraylessCollection : public QELTextLiteralsCollection {
public:
    QELString getCollectionName() override { return QELString("Basic"); }
    QELTextLiteral** getTextLiterals() override { return nullptr; }
};

TEST_F(QELTextLiteralsCollectionTest, CollectionWithoutAnArrayTranslatesNothing)
{
    ArraylessCollection c;
    EXPECT_EQ(c.addTextTranslation("title", "x", nullptr), 0);
    c.init(); // the Basic files are read and their entries ignored
    EXPECT_TRUE(registered(&c));
}

// ---------------------------------------------------------------------------
// Assertions

class QELTextLiteralsCollectionDeathTest : public QELTextLiteralsCollectionTest {
protected:
    void SetUp() override
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        QELTextLiteralsCollectionTest::SetUp();
    }
};

TEST_F(QELTextLiteralsCollectionDeathTest, The129thCollectionStops)
{
    EXPECT_DEATH(
        {
            for (int i = 0; i < 129; ++i)
                make("NoFilesAtAll", {})->init();
        },
        AssertionReport("QELTextLiteralsCollection.cpp", "void QELTextLiteralsCollection::init()",
                        "counOfTextLiteralsCollections < 128"));
}

TEST_F(QELTextLiteralsCollectionDeathTest, BrokenRegistryCountStops)
{
    TestCollection* c = makeBasic();
    EXPECT_DEATH(
        {
            QELTextLiteralsCollection::counOfTextLiteralsCollections = -1;
            c->init();
        },
        AssertionReport("QELTextLiteralsCollection.cpp", "void QELTextLiteralsCollection::init()",
                        "( ((this)->counOfTextLiteralsCollections>=0) && "
                        "((this)->counOfTextLiteralsCollections<=128) )"));
}

// The companion library is looked up beside libQELStd.so. These tests run a
// copy of this program next to a copy of libQELStd.so in a directory where
// libQELI18n.so is missing or lacks the entry point.
namespace {

int findLibm(struct dl_phdr_info* info, size_t, void* data)
{
    if (info->dlpi_name != nullptr && strstr(info->dlpi_name, "/libm.so") != nullptr) {
        *static_cast<std::string*>(data) = info->dlpi_name;
        return 1;
    }
    return 0;
}

bool copyFile(const std::string& from, const std::string& to)
{
    std::ifstream in(from, std::ios::binary);
    std::ofstream out(to, std::ios::binary);
    if (!in || !out)
        return false;
    out << in.rdbuf();
    return bool(out);
}

// Runs the child test in dir; returns the wait status and the output.
int runChild(const std::string& dir, std::string* output)
{
    const std::string data = dataDir();
    ChildRun run = RunChild(dir + "/test_QELTextLiteralsCollection",
                            { "test_QELTextLiteralsCollection", "--gtest_filter=QELTextLiteralsCollectionChild.*" },
                            { { "QEL_I18N_CHILD_DATA", data.c_str() } });
    *output += run.output;
    return run.status;
}

} // namespace

// Only does something in a child started by the tests below.
TEST(QELTextLiteralsCollectionChild, LoadsOneTranslation)
{
    const char* data = getenv("QEL_I18N_CHILD_DATA");
    if (data == nullptr)
        GTEST_SKIP() << "runs only as a child";
    QELTextLiteralsCollection::translationsPath = data;
    QELTextLiteralsCollection::applicationLocale = "en";
    auto* c = new TestCollection("Basic", {new QELTextLiteral("title", "built-in title")});
    c->loadTranslation((std::string(data) + "Basic_en.xml").c_str());
    printf("child title=%s\n", c->text("title").c_str());
    delete c;
}

TEST(QELTextLiteralsCollectionLibraryTest, MissingCompanionLibraryStopsWithAssertionZero)
{
    TemporaryDirectory dir;
    ASSERT_FALSE(dir.path.empty());
    ASSERT_TRUE(copyFile(SelfPath(), dir.path + "/test_QELTextLiteralsCollection"));
    ASSERT_TRUE(copyFile(std::string(QEL_TEST_BIN_DIR) + "/libQELStd.so", dir.path + "/libQELStd.so"));
    ASSERT_EQ(chmod((dir.path + "/test_QELTextLiteralsCollection").c_str(), 0755), 0);
    std::string output;
    const int status = runChild(dir.path, &output);
    SCOPED_TRACE(output);
    ASSERT_TRUE(WIFEXITED(status) || WIFSIGNALED(status));
    EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_NE(output.find(": QELTextLiteralsCollection.cpp:"), std::string::npos);
    EXPECT_NE(output.find(": void QELTextLiteralsCollection::loadTranslation(const QELString&): Assertion `0' failed."),
              std::string::npos);
    EXPECT_EQ(output.find("child title="), std::string::npos);
}

TEST(QELTextLiteralsCollectionLibraryTest, CompanionLibraryWithoutEntryPointIsSkipped)
{
    std::string libm;
    dl_iterate_phdr(findLibm, &libm);
    ASSERT_FALSE(libm.empty());
    TemporaryDirectory dir;
    ASSERT_FALSE(dir.path.empty());
    ASSERT_TRUE(copyFile(SelfPath(), dir.path + "/test_QELTextLiteralsCollection"));
    ASSERT_TRUE(copyFile(std::string(QEL_TEST_BIN_DIR) + "/libQELStd.so", dir.path + "/libQELStd.so"));
    ASSERT_TRUE(copyFile(libm, dir.path + "/libQELI18n.so"));
    ASSERT_EQ(chmod((dir.path + "/test_QELTextLiteralsCollection").c_str(), 0755), 0);
    std::string output;
    const int status = runChild(dir.path, &output);
    SCOPED_TRACE(output);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_NE(output.find("child title=built-in title"), std::string::npos);
}

TEST(QELTextLiteralsCollectionLibraryTest, CompanionLibraryBesideTheLibraryTranslates)
{
    TemporaryDirectory dir;
    ASSERT_FALSE(dir.path.empty());
    ASSERT_TRUE(copyFile(SelfPath(), dir.path + "/test_QELTextLiteralsCollection"));
    ASSERT_TRUE(copyFile(std::string(QEL_TEST_BIN_DIR) + "/libQELStd.so", dir.path + "/libQELStd.so"));
    ASSERT_TRUE(copyFile(std::string(QEL_TEST_BIN_DIR) + "/libQELI18n.so", dir.path + "/libQELI18n.so"));
    ASSERT_EQ(chmod((dir.path + "/test_QELTextLiteralsCollection").c_str(), 0755), 0);
    std::string output;
    const int status = runChild(dir.path, &output);
    SCOPED_TRACE(output);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_NE(output.find("child title=Title en"), std::string::npos);
}
