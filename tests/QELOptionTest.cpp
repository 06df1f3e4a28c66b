// Tests of QELOption, QELOptionVector and QELOptionList.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QELOption.h"

namespace {

const QELContainerItem* item(const QELOption* o)
{
    return reinterpret_cast<const QELContainerItem*>(o);
}

const QELContainerKey* key(const QELString& s)
{
    return reinterpret_cast<const QELContainerKey*>(&s);
}

std::string str(const QELString& s)
{
    return s.p;
}

// An option that counts its lives, to see which ones the list deletes.
struct CountedOption : QELOption {
    static int alive;
    explicit CountedOption(const char* n) : QELOption(QELString(n)) { ++alive; }
    ~CountedOption() override { --alive; }
};
int CountedOption::alive = 0;

// An option whose effective value is computed, to see that the display
// texts go through the virtual operations.
struct ComputedOption : QELOption {
    explicit ComputedOption(const char* n) : QELOption(QELString(n)) {}
    const QELString& getValue() const override
    {
        static QELString computed("b");
        return computed;
    }
};

std::vector<std::string> names(const QELOptionList& l)
{
    std::vector<std::string> out;
    for (int i = 0; i < l.options.size; ++i)
        out.push_back(reinterpret_cast<const QELOption*>(l.options[i])->name.p);
    return out;
}

} // namespace

// ---------------------------------------------------------------------------
// QELOption
// ---------------------------------------------------------------------------

TEST(QELOptionTest, NewOptionHasOnlyItsName)
{
    QELOption o(QELString("format"));
    EXPECT_EQ("format", str(o.getName()));
    EXPECT_EQ("format", str(o.getDisplayName())); // empty display name shows the name
    EXPECT_EQ("", str(o.getType()));
    EXPECT_EQ("", str(o.getDefaultValue()));
    EXPECT_EQ("", str(o.getDescription()));
    EXPECT_EQ("", str(o.getSpecifiedValue()));
    EXPECT_EQ("", str(o.getOpenMode()));
    EXPECT_FALSE(o.isMandatory());
    EXPECT_FALSE(o.isTransferable());
    EXPECT_EQ(0, o.possibleValues.size);
    EXPECT_EQ(0, o.displayPossibleValues.size);
}

TEST(QELOptionTest, SettersCopyAndGettersReturn)
{
    QELOption o(QELString("n"));
    {
        QELString t("temporary");
        o.setName(t);
        o.setDisplayName(QELString("Label"));
        o.setType(QELString("Free"));
        o.setDefaultValue(QELString("def"));
        o.setDescription(QELString("What it does"));
        o.setValue(QELString("val"));
        o.setOpenMode(QELString("rb"));
        o.setMandatory(true);
        o.setTransferable(true);
    }
    EXPECT_EQ("temporary", str(o.getName()));
    EXPECT_EQ("Label", str(o.getDisplayName()));
    EXPECT_EQ("Free", str(o.getType()));
    EXPECT_EQ("def", str(o.getDefaultValue()));
    EXPECT_EQ("What it does", str(o.getDescription()));
    EXPECT_EQ("val", str(o.getSpecifiedValue()));
    EXPECT_EQ("val", str(o.getValue()));
    EXPECT_EQ("rb", str(o.getOpenMode()));
    EXPECT_TRUE(o.isMandatory());
    EXPECT_TRUE(o.isTransferable());
    o.setDisplayName(QELString(""));
    EXPECT_EQ("temporary", str(o.getDisplayName()));
}

TEST(QELOptionTest, BooleanShowsTheDisplayTextOfTheDefault)
{
    QELOption o(QELString("verbose"));
    o.setType(QELString("Boolean"));
    o.addPossibleValue(QELString("true"), QELString("Yes"));
    o.addPossibleValue(QELString("false"), QELString("No"));
    o.setDefaultValue(QELString("true"));
    EXPECT_EQ("true", str(o.getValue()));
    EXPECT_EQ("Yes", str(o.getDisplayValue()));
    EXPECT_EQ("Yes", str(o.getDisplayDefaultValue()));
    o.setValue(QELString("false"));
    EXPECT_EQ("false", str(o.getValue()));
    EXPECT_EQ("No", str(o.getDisplayValue()));
    EXPECT_EQ("Yes", str(o.getDisplayDefaultValue()));
}

TEST(QELOptionTest, EmptyPossibleValueWinsOverTheDefault)
{
    QELOption o(QELString("mode"));
    o.setType(QELString("Enumerated"));
    o.setDefaultValue(QELString("fast"));
    o.addPossibleValue(QELString("fast"));
    EXPECT_EQ("fast", str(o.getValue())); // empty is not possible yet
    o.addPossibleValue(QELString(""), QELString("Automatic"));
    EXPECT_EQ("", str(o.getValue()));
    EXPECT_EQ(&o.value, &o.getValue());
    EXPECT_EQ("Automatic", str(o.getDisplayValue()));
}

TEST(QELOptionTest, GetValueTable)
{
    struct Case {
        const char* type;
        bool mandatory;
        const char* value;
        const char* expected;
        const char* note;
    } cases[] = {
        {"Enumerated", false, "", "def", "unset: the default"},
        {"Enumerated", false, "x", "x", "set: the value, possible or not"},
        {"Boolean", false, "", "def", ""},
        {"File", true, "", "def", "mandatory file: empty is not possible"},
        {"File", false, "", "", "optional file: empty is possible, not the default"},
        {"Free", false, "", "", "free-form: empty is always possible, so never the default"},
        {"", false, "", "", ""},
        {"enumerated", false, "", "", "type names are matched with case"},
        {"Free", false, "v", "v", ""},
    };
    for (const Case& c : cases) {
        QELOption o(QELString("o"));
        o.setType(QELString(c.type));
        o.setMandatory(c.mandatory);
        o.setDefaultValue(QELString("def"));
        o.setValue(QELString(c.value));
        o.addPossibleValue(QELString("a"));
        EXPECT_EQ(c.expected, str(o.getValue())) << c.type << " '" << c.value << "': " << c.note;
    }
}

TEST(QELOptionTest, FileOptionAcceptsListedExtensionsWithoutRegardToCase)
{
    QELOption o(QELString("input"));
    o.setType(QELString("File"));
    o.addPossibleValue(QELString("xml"));
    o.addPossibleValue(QELString("XMI"));
    struct Case {
        const char* value;
        bool mandatory;
        bool accepted;
    } cases[] = {
        {"a.XML", false, true},
        {"b.xmi", false, true},
        {"dir/c.Xml", true, true},
        {"c.txt", false, false},
        {"xml", false, false},     // no dot
        {"a.xmlx", false, false},  // longer extension
        {"axml", false, false},    // no dot before the extension
        {"a.b.xml", false, true},
        {".xml", false, true},
        {"", false, true},         // empty: accepted when not mandatory
        {"", true, false},         // ... and only then
    };
    for (const Case& c : cases) {
        o.setMandatory(c.mandatory);
        EXPECT_EQ(c.accepted, o.valueIsPossibleValue(QELString(c.value))) << c.value << " " << c.mandatory;
    }
}

TEST(QELOptionTest, FileOptionWithoutExtensionsAcceptsNoName)
{
    QELOption o(QELString("input"));
    o.setType(QELString("File"));
    EXPECT_FALSE(o.valueIsPossibleValue(QELString("a.xml")));
    EXPECT_FALSE(o.valueIsPossibleValue(QELString("a")));
    EXPECT_TRUE(o.valueIsPossibleValue(QELString("")));
    o.setMandatory(true);
    EXPECT_FALSE(o.valueIsPossibleValue(QELString("")));
}

TEST(QELOptionTest, ValueIsPossibleValueTable)
{
    struct Case {
        const char* type;
        const char* value;
        bool possible;
    } cases[] = {
        {"Enumerated", "red", true},
        {"Enumerated", "Red", false}, // case-sensitive
        {"Enumerated", "blue", false},
        {"Enumerated", "", false},
        {"Boolean", "green", true},
        {"Free", "anything", true},
        {"Free", "", true},
    };
    for (const Case& c : cases) {
        QELOption o(QELString("o"));
        o.setType(QELString(c.type));
        o.addPossibleValue(QELString("red"));
        o.addPossibleValue(QELString("green"));
        EXPECT_EQ(c.possible, o.valueIsPossibleValue(QELString(c.value))) << c.type << " " << c.value;
    }
    QELOption none(QELString("o"));
    none.setType(QELString("Enumerated"));
    EXPECT_FALSE(none.valueIsPossibleValue(QELString("")));
}

TEST(QELOptionTest, PossibleValueIsItsOwnDisplayTextByDefault)
{
    QELOption o(QELString("o"));
    EXPECT_TRUE(o.addPossibleValue(QELString("one")));
    EXPECT_TRUE(o.addPossibleValue(QELString("two"), QELString("")));
    EXPECT_TRUE(o.addPossibleValue(QELString("three"), QELString("Three")));
    EXPECT_EQ("one", str(o.getDisplayPossibleValue(0)));
    EXPECT_EQ("two", str(o.getDisplayPossibleValue(1)));
    EXPECT_EQ("Three", str(o.getDisplayPossibleValue(2)));
    EXPECT_EQ("three", str(o.getPossibleValue(2)));
    EXPECT_EQ("Three", str(o.getDisplayPossibleValue(QELString("three"))));
    // The lists hold copies, owned by the option.
    EXPECT_NE(nullptr, o.possibleValues[0]);
    EXPECT_EQ(3, o.possibleValues.size);
    EXPECT_EQ(3, o.displayPossibleValues.size);
}

TEST(QELOptionTest, DuplicatePossibleValueIsRefused)
{
    QELOption o(QELString("o"));
    EXPECT_TRUE(o.addPossibleValue(QELString("a"), QELString("A")));
    EXPECT_FALSE(o.addPossibleValue(QELString("a"), QELString("Other")));
    EXPECT_EQ(1, o.possibleValues.size);
    EXPECT_EQ(1, o.displayPossibleValues.size);
    EXPECT_EQ("A", str(o.getDisplayPossibleValue(QELString("a"))));
    EXPECT_TRUE(o.addPossibleValue(QELString("A"))); // case matters
}

TEST(QELOptionTest, OutOfRangeIndexesGiveTheSharedEmptyString)
{
    QELOption o(QELString("o"));
    o.addPossibleValue(QELString("a"));
    for (int i : {-5, -1, 1, 2, 100}) {
        EXPECT_EQ(&emptyString, &o.getPossibleValue(i)) << i;
        EXPECT_EQ(&emptyString, &o.getDisplayPossibleValue(i)) << i;
    }
    EXPECT_EQ("a", str(o.getPossibleValue(0)));
}

TEST(QELOptionTest, UnknownValueIsItsOwnDisplayText)
{
    QELOption o(QELString("o"));
    o.addPossibleValue(QELString("a"), QELString("Ay"));
    QELString probe("zzz");
    EXPECT_EQ(&probe, &o.getDisplayPossibleValue(probe));
    QELString a("a");
    EXPECT_EQ("Ay", str(o.getDisplayPossibleValue(a)));
}

TEST(QELOptionTest, DisplayTextsTable)
{
    struct Case {
        const char* type;
        const char* def;
        const char* value;
        const char* displayDefault;
        const char* displayValue;
        const char* note;
    } cases[] = {
        {"Enumerated", "b", "", "Bee", "Bee", "unset: the default's text"},
        {"Enumerated", "b", "a", "Bee", "Ay", "set: the value's text"},
        {"Enumerated", "zz", "", "zz", "zz", "default not possible: itself"},
        {"Enumerated", "b", "q", "Bee", "q", "value not possible: itself"},
        {"Enumerated", "", "", "", "", "no default, nothing to show"},
        {"Boolean", "a", "b", "Ay", "Bee", ""},
        {"Free", "b", "", "b", "", "free-form: raw default, and the empty value"},
        {"Free", "b", "a", "b", "a", "free-form: raw texts"},
        {"File", "b", "x.a", "b", "x.a", ""},
    };
    for (const Case& c : cases) {
        QELOption o(QELString("o"));
        o.setType(QELString(c.type));
        o.addPossibleValue(QELString("a"), QELString("Ay"));
        o.addPossibleValue(QELString("b"), QELString("Bee"));
        o.setDefaultValue(QELString(c.def));
        o.setValue(QELString(c.value));
        EXPECT_EQ(c.displayDefault, str(o.getDisplayDefaultValue())) << c.type << " " << c.note;
        EXPECT_EQ(c.displayValue, str(o.getDisplayValue())) << c.type << " " << c.note;
    }
}

TEST(QELOptionTest, EmptyDisplayTextFallsBackToTheDisplayDefault)
{
    QELOption o(QELString("o"));
    o.setType(QELString("Enumerated"));
    o.addPossibleValue(QELString(""), QELString(""));
    o.addPossibleValue(QELString("b"), QELString("Bee"));
    o.setDefaultValue(QELString("b"));
    // getValue is "" (a possible value) whose display text is empty.
    EXPECT_EQ("", str(o.getValue()));
    EXPECT_EQ("Bee", str(o.getDisplayValue()));
}

TEST(QELOptionTest, DisplayValueGoesThroughTheVirtualGetValue)
{
    ComputedOption o("o");
    o.setType(QELString("Enumerated"));
    o.addPossibleValue(QELString("a"), QELString("Ay"));
    o.addPossibleValue(QELString("b"), QELString("Bee"));
    o.setValue(QELString("a"));
    EXPECT_EQ("Bee", str(o.getDisplayValue()));
    o.setType(QELString("Free"));
    EXPECT_EQ("b", str(o.getDisplayValue()));
}

TEST(QELOptionTest, RemovePossibleValueKeepsBothListsParallel)
{
    QELOption o(QELString("o"));
    o.addPossibleValue(QELString("a"), QELString("A"));
    o.addPossibleValue(QELString("b"), QELString("B"));
    o.addPossibleValue(QELString("c"), QELString("C"));
    EXPECT_FALSE(o.removePossibleValue(3));
    EXPECT_FALSE(o.removePossibleValue(-1));
    EXPECT_TRUE(o.removePossibleValue(1));
    EXPECT_EQ(2, o.possibleValues.size);
    EXPECT_EQ(2, o.displayPossibleValues.size);
    EXPECT_EQ("a", str(o.getPossibleValue(0)));
    EXPECT_EQ("c", str(o.getPossibleValue(1)));
    EXPECT_EQ("A", str(o.getDisplayPossibleValue(0)));
    EXPECT_EQ("C", str(o.getDisplayPossibleValue(1)));
    EXPECT_TRUE(o.removePossibleValue(0));
    EXPECT_TRUE(o.removePossibleValue(0));
    EXPECT_FALSE(o.removePossibleValue(0));
    EXPECT_EQ(0, o.possibleValues.size);
}

TEST(QELOptionTest, RemovePossibleValuesEmptiesBothLists)
{
    QELOption o(QELString("o"));
    o.addPossibleValue(QELString("a"));
    o.addPossibleValue(QELString("b"));
    o.removePossibleValues();
    EXPECT_EQ(0, o.possibleValues.size);
    EXPECT_EQ(0, o.displayPossibleValues.size);
    o.removePossibleValues();
    EXPECT_TRUE(o.addPossibleValue(QELString("a")));
}

// ---------------------------------------------------------------------------
// QELOptionVector
// ---------------------------------------------------------------------------

TEST(QELOptionVectorTest, ComparesNamesWithoutRegardToCase)
{
    QELOption a(QELString("Format")), b(QELString("format")), c(QELString("other"));
    QELOptionVector v;
    EXPECT_EQ(0, v.compare2Object(item(&a), item(&b)));
    EXPECT_LT(v.compare2Object(item(&a), item(&c)), 0);
    EXPECT_GT(v.compare2Object(item(&c), item(&b)), 0);
    QELString k("FORMAT");
    EXPECT_EQ(0, v.compare2Key(item(&a), key(k)));
    EXPECT_NE(0, v.compare2Key(item(&c), key(k)));
    EXPECT_EQ(0, v.addElement(item(&a), true));
    EXPECT_EQ(-1, v.addElement(item(&b), true));
    EXPECT_EQ(item(&a), v.findFirst(key(k)));
}

// ---------------------------------------------------------------------------
// QELOptionList
// ---------------------------------------------------------------------------

TEST(QELOptionListTest, GetValueIgnoresCaseButRemoveDoesNot)
{
    QELOptionList l;
    QELOption* o = new QELOption(QELString("format"));
    o->setValue(QELString("xml"));
    l.options.addElement(item(o));
    EXPECT_EQ("xml", str(l.getValue(QELString("FORMAT"))));
    EXPECT_EQ("xml", str(l.getValue(QELString("format"))));
    EXPECT_EQ(nullptr, l.remove(QELString("FORMAT")));
    EXPECT_EQ(1, l.options.size);
    EXPECT_EQ(o, l.remove(QELString("format")));
    EXPECT_EQ(0, l.options.size);
    delete o; // the caller owns what it removed
}

TEST(QELOptionListTest, GetValueOfUnknownNameIsTheSharedEmptyString)
{
    QELOptionList l;
    EXPECT_EQ(&emptyString, &l.getValue(QELString("x")));
    QELOption* o = new QELOption(QELString("y"));
    o->setDefaultValue(QELString("d"));
    o->setType(QELString("Enumerated"));
    l.options.addElement(item(o));
    EXPECT_EQ(&emptyString, &l.getValue(QELString("x")));
    EXPECT_EQ("d", str(l.getValue(QELString("Y"))));
}

TEST(QELOptionListTest, GetValueTakesTheFirstMatch)
{
    QELOptionList l;
    QELOption* a = new QELOption(QELString("Name"));
    QELOption* b = new QELOption(QELString("name"));
    a->setValue(QELString("first"));
    b->setValue(QELString("second"));
    l.options.addElement(item(a));
    l.options.addElement(item(b));
    EXPECT_EQ("first", str(l.getValue(QELString("NAME"))));
    EXPECT_EQ(b, l.remove(QELString("name"))); // exact name: the second one
    delete b;
}

TEST(QELOptionListTest, RemoveByPointerKeepsOrder)
{
    QELOptionList l;
    QELOption* o[4];
    const char* n[4] = {"a", "b", "c", "d"};
    for (int i = 0; i < 4; ++i) {
        o[i] = new QELOption(QELString(n[i]));
        l.options.addElement(item(o[i]));
    }
    QELOption stranger(QELString("b"));
    EXPECT_EQ(nullptr, l.remove(&stranger));
    EXPECT_EQ(nullptr, l.remove(static_cast<QELOption*>(nullptr)));
    EXPECT_EQ(o[1], l.remove(o[1]));
    EXPECT_EQ((std::vector<std::string>{"a", "c", "d"}), names(l));
    EXPECT_EQ(nullptr, l.remove(o[1]));
    EXPECT_EQ(o[0], l.remove(QELString("a")));
    EXPECT_EQ((std::vector<std::string>{"c", "d"}), names(l));
    delete o[0];
    delete o[1];
}

TEST(QELOptionListTest, RemoveAllAndDestructionDeleteEveryOption)
{
    CountedOption::alive = 0;
    {
        QELOptionList l;
        l.removeAll(); // nothing on an empty list
        for (const char* n : {"a", "b", "c"})
            l.options.addElement(item(new CountedOption(n)));
        EXPECT_EQ(3, CountedOption::alive);
        l.removeAll();
        EXPECT_EQ(0, CountedOption::alive);
        EXPECT_EQ(0, l.options.size);
        for (const char* n : {"d", "e"})
            l.options.addElement(item(new CountedOption(n)));
        CountedOption* taken = static_cast<CountedOption*>(l.remove(QELString("d")));
        EXPECT_EQ(2, CountedOption::alive);
        delete taken;
    }
    EXPECT_EQ(0, CountedOption::alive);
}

TEST(QELOptionListTest, OptionDestructorFreesItsPossibleValues)
{
    // Run under the leak checker, a leak here fails the sanitizer build.
    QELOption* o = new QELOption(QELString("o"));
    for (int i = 0; i < 10; ++i)
        o->addPossibleValue(QELString(i), QELString("display"));
    EXPECT_EQ(10, o->possibleValues.size);
    delete o;
}
