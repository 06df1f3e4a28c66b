// Tests of QELStringList: an ordered vector of strings compared as text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QELStringList.h"
#include "QELDeathTestPatterns.h"

namespace {

const QELContainerItem* item(const QELString& s)
{
    return reinterpret_cast<const QELContainerItem*>(&s);
}

const QELContainerKey* key(const QELString& s)
{
    return reinterpret_cast<const QELContainerKey*>(&s);
}

std::vector<std::string> texts(const QELStringList& l)
{
    std::vector<std::string> out;
    for (int i = 0; i < l.size; ++i)
        out.push_back(reinterpret_cast<const QELString*>(l[i])->p);
    return out;
}

int sign(int v)
{
    return (v > 0) - (v < 0);
}

} // namespace

TEST(QELStringListTest, ComparisonsAreStrcmpOfTheTexts)
{
    struct Case {
        const char* a;
        const char* b;
        int sign;
        const char* note;
    } cases[] = {
        {"a", "b", -1, ""},
        {"b", "a", 1, ""},
        {"abc", "abc", 0, "equal texts"},
        {"A", "a", -1, "case-sensitive"},
        {"abc", "ABC", 1, ""},
        {"", "a", -1, "empty first"},
        {"", "", 0, ""},
        {"ab", "abc", -1, "prefix"},
        {"\xff", "a", 1, "byte-wise, unsigned"},
    };
    QELStringList l;
    for (const Case& c : cases) {
        QELString a(c.a), b(c.b);
        EXPECT_EQ(c.sign, sign(l.compare2Object(item(a), item(b)))) << c.a << " " << c.b << " " << c.note;
        EXPECT_EQ(c.sign, sign(l.compare2Key(item(a), key(b)))) << c.a << " " << c.b << " " << c.note;
    }
}

TEST(QELStringListTest, UniqueAddRefusesEqualTextOfAnotherObject)
{
    QELString a("alpha"), b("beta"), a2("alpha"), upper("ALPHA");
    QELStringList l;
    EXPECT_EQ(0, l.addElement(item(a), true));
    EXPECT_EQ(1, l.addElement(item(b), true));
    EXPECT_EQ(-1, l.addElement(item(a2), true));
    EXPECT_FALSE(l.add(item(a2), true));
    EXPECT_EQ(2, l.size);
    EXPECT_EQ(2, l.addElement(item(upper), true)); // case matters
    EXPECT_TRUE(QEL_VECTOR_INVARIANT((&l)));
}

TEST(QELStringListTest, FindByTextWhileContainsIsIdentity)
{
    QELString a("x"), b("y"), c("x"), probe("x"), absent("z");
    QELStringList l;
    l.addElement(item(a));
    l.addElement(item(b));
    l.addElement(item(c));
    EXPECT_FALSE(l.contains(item(probe)));
    EXPECT_EQ(-1, l.containsElement(item(probe)));
    EXPECT_EQ(2, l.containsElement(item(c)));
    EXPECT_EQ(item(a), l.findFirst(key(probe)));
    EXPECT_EQ(0, l.findFirstElement(key(probe)));
    EXPECT_EQ(2, l.findLastElement(key(probe)));
    EXPECT_EQ(2, l.findNextElement(key(probe), 0));
    EXPECT_EQ(0, l.findPreviousElement(key(probe), 2));
    EXPECT_EQ(-1, l.findFirstElement(key(absent)));

    QELVector::Iterator it(l, true);
    EXPECT_EQ(item(c), it.findNext(key(probe)));
    EXPECT_EQ(2, it.getPosition());
    EXPECT_EQ(item(a), it.findPrevious(key(probe)));
}

TEST(QELStringListTest, KeepsOrderAsAnOrderedVector)
{
    QELString s[5] = {"a", "b", "c", "d", "e"};
    QELStringList l;
    for (QELString& x : s)
        l.addElement(item(x));
    QELOrderedVector& o = l;
    EXPECT_EQ(item(s[1]), o.remove(1));
    EXPECT_EQ((std::vector<std::string>{"a", "c", "d", "e"}), texts(l));
    QELString n("new");
    EXPECT_TRUE(o.insertElement(item(n), 0));
    EXPECT_FALSE(o.insertElement(item(n), l.size));
    EXPECT_EQ((std::vector<std::string>{"new", "a", "c", "d", "e"}), texts(l));
    QELVector::Iterator it(l, 2);
    QELContainer& c = l;
    EXPECT_EQ(item(s[2]), c.remove(&it));
    EXPECT_EQ((std::vector<std::string>{"new", "a", "d", "e"}), texts(l));
    EXPECT_EQ(item(s[3]), it.get());
}

TEST(QELStringListTest, NeverDeletesItsStrings)
{
    QELString* a = new QELString("kept");
    {
        QELStringList l;
        l.addElement(item(*a));
        QELStringList copy(l);
        EXPECT_EQ(item(*a), copy[0]);
        l.empty();
    }
    EXPECT_STREQ("kept", a->p);
    EXPECT_EQ(4, a->len);
    delete a;
}

TEST(QELStringListTest, CapacityConstructorDefers)
{
    QELStringList l(8);
    EXPECT_EQ(-8, l.array_size);
    QELString a("a");
    l.addElement(item(a));
    EXPECT_EQ(8, l.array_size);
}

TEST(QELStringListDeathTest, CorruptListReportsTheVectorOperation)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QELStringList l;
            QELString a("a");
            l.size = 1;
            l.findFirst(key(a));
        },
        AssertionReport("QELVector.cpp",
                        "virtual QELContainerItem* QELVector::findFirst(const QELContainerKey*, "
                        "QELContainer::Iterator*) const",
                        "( ( ((this)->size==0) && ( ((this)->array_size>0) || ( ((this)->array_size<=0) && "
                        "((this)->array==__null) ) ) ) || ( ((this)->size>0) && ((this)->size<=(this)->array_size) "
                        "&& ((this)->array!=__null) ) )"));
}
