// Tests of the keyed hashtables QELSimpleStringHashtable and
// QELSimpleLongHashtable: replace and case rules, values handed out by
// lookups, removal and iterators, copies, assertion reports, and randomised
// comparisons against std::map and std::unordered_map.
#include <gtest/gtest.h>

#include "QELDeathTestPatterns.h"

#include <cctype>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "QELContainerTestSupport.h"
#include "QELSimpleHashtable.h"

namespace {

const QELContainerKey* SK(const QELString& s) { return reinterpret_cast<const QELContainerKey*>(&s); }
const QELContainerKey* LK(const long* k) { return reinterpret_cast<const QELContainerKey*>(k); }

const char* const kTableInvariant =
    "( ( ((this)->size>=0) && ((this)->table!=__null) && ((this)->table_mask>0) ) || "
    "( ((this)->size==0) && ((this)->table_mask<0) ) )";

// The key text of every entry, through an iterator.
std::map<std::string, void*> Entries(const QELSimpleStringHashtable& t)
{
    std::map<std::string, void*> m;
    QELSimpleHashtable::Iterator it(t, true);
    for (bool on = it.QELHashtable::Iterator::get() != NULL; on; on = it.QELHashtable::Iterator::next() != NULL) {
        const QELString* key = static_cast<const QELString*>(it.getKey());
        EXPECT_TRUE(m.emplace(key->p, it.get()).second) << "duplicate key " << key->p;
    }
    return m;
}

std::map<long, void*> Entries(const QELSimpleLongHashtable& t)
{
    std::map<long, void*> m;
    QELSimpleHashtable::Iterator it(t, true);
    for (bool on = it.QELHashtable::Iterator::get() != NULL; on; on = it.QELHashtable::Iterator::next() != NULL) {
        const long* key = static_cast<const long*>(it.getKey());
        EXPECT_TRUE(m.emplace(*key, it.get()).second) << "duplicate key " << *key;
    }
    return m;
}

std::string Upper(const std::string& s)
{
    std::string r = s;
    for (char& c : r)
        c = static_cast<char>(toupper(c));
    return r;
}

} // namespace

// ------------------------------------------------------------- Nodes

TEST(QELSimpleHashtableTest, NodesHandOutTheirKeyFields)
{
    Item v;
    QELSimpleStringHashtableNode s(QELString("abc"), &v);
    QELSimpleLongHashtableNode l(-42, &v);
    QELSimpleHashtableNode& base = s;
    EXPECT_EQ(&s.key, base.getKey());
    EXPECT_STREQ("abc", static_cast<const QELString*>(base.getKey())->p);
    EXPECT_EQ(&l.key, l.getKey());
    EXPECT_EQ(-42, *static_cast<const long*>(l.getKey()));
    EXPECT_EQ(&v, s.value);
    QELSimpleHashtableNode plain(&v);
    EXPECT_EQ(NULL, plain.getKey());
}

TEST(QELSimpleHashtableTest, CreatedStringNodeKeepsItsTextInItsOwnBlock)
{
    Item v;
    QELString k("a key of some length");
    QELSimpleStringHashtableNode* n = QELSimpleStringHashtableNode::create(k, &v);
    EXPECT_STREQ(k.p, n->key.p);
    EXPECT_EQ(k.len, n->key.len);
    EXPECT_NE(k.p, n->key.p);
    EXPECT_EQ(reinterpret_cast<char*>(n + 1), n->key.p);
    EXPECT_EQ(0u, n->key.alloc);
    EXPECT_EQ(&v, n->value);
    EXPECT_EQ(&n->key, n->getKey());
    QELSimpleHashtableNode* base = n;
    delete base;
    QELSimpleStringHashtableNode* e = QELSimpleStringHashtableNode::create(QELString(), NULL);
    EXPECT_EQ(0, e->key.len);
    EXPECT_STREQ("", e->key.p);
    delete e;
}

TEST(QELSimpleHashtableTest, KeyedAddCopiesTheKey)
{
    Item v;
    QELSimpleStringHashtable t;
    {
        QELString k("transient");
        t.add(k, &v);
        k.toUpper();
    }
    EXPECT_EQ(&v, MutableItemOf(t.findFirst(SK(QELString("transient")))));
    QELSimpleHashtable::Iterator it(t);
    EXPECT_STREQ("transient", static_cast<const QELString*>(it.getKey())->p);
}

// --------------------------------------------------- Replace and lookups

TEST(QELSimpleHashtableTest, SecondAddOfAKeyFailsWithoutReplace)
{
    Item a(1), b(2);
    QELSimpleStringHashtable t;
    EXPECT_FALSE(t.replace);
    EXPECT_FALSE(t.ignoreCase);
    EXPECT_TRUE(t.add(QELString("key"), &a));
    EXPECT_FALSE(t.add(QELString("key"), &b));
    EXPECT_EQ(1, t.size);
    EXPECT_EQ(&a, MutableItemOf(t.findFirst(SK(QELString("key")))));
}

TEST(QELSimpleHashtableTest, SecondAddOfAKeyReplacesWithReplace)
{
    Item a(1), b(2);
    QELSimpleStringHashtable t(false, true);
    EXPECT_TRUE(t.replace);
    EXPECT_TRUE(t.add(QELString("key"), &a));
    EXPECT_TRUE(t.add(QELString("key"), &b));
    EXPECT_EQ(1, t.size);
    EXPECT_EQ(&b, MutableItemOf(t.findFirst(SK(QELString("key")))));
    EXPECT_EQ(&b, MutableItemOf(t.findLast(SK(QELString("key")))));
}

TEST(QELSimpleHashtableTest, LongTableReplaceRules)
{
    Item a(1), b(2);
    QELSimpleLongHashtable keep, repl(true);
    EXPECT_TRUE(keep.add(7L, &a));
    EXPECT_FALSE(keep.add(7L, &b));
    EXPECT_TRUE(repl.add(7L, &a));
    EXPECT_TRUE(repl.add(7L, &b));
    long k = 7;
    EXPECT_EQ(&a, MutableItemOf(keep.findFirst(LK(&k))));
    EXPECT_EQ(&b, MutableItemOf(repl.findFirst(LK(&k))));
    EXPECT_EQ(1, keep.size);
    EXPECT_EQ(1, repl.size);
}

TEST(QELSimpleHashtableTest, CaseInsensitiveTableMatchesAnyCase)
{
    Item a(1), b(2);
    QELSimpleStringHashtable t(true);
    EXPECT_TRUE(t.ignoreCase);
    EXPECT_TRUE(t.add(QELString("HELLO"), &a));
    EXPECT_EQ(&a, MutableItemOf(t.findFirst(SK(QELString("hElLo")))));
    EXPECT_FALSE(t.add(QELString("hello"), &b));
    EXPECT_EQ(1, t.size);
    QELSimpleStringHashtable r(true, true);
    r.add(QELString("HELLO"), &a);
    EXPECT_TRUE(r.add(QELString("hello"), &b));
    EXPECT_EQ(1, r.size);
    EXPECT_EQ(&b, MutableItemOf(r.findFirst(SK(QELString("Hello")))));
    // The stored key keeps the spelling of the first add.
    QELSimpleHashtable::Iterator it(r);
    EXPECT_STREQ("HELLO", static_cast<const QELString*>(it.getKey())->p);
}

TEST(QELSimpleHashtableTest, CaseSensitiveTableKeepsSpellingsApart)
{
    Item a(1), b(2);
    QELSimpleStringHashtable t;
    EXPECT_TRUE(t.add(QELString("HELLO"), &a));
    EXPECT_TRUE(t.add(QELString("hello"), &b));
    EXPECT_EQ(2, t.size);
    EXPECT_EQ(&a, MutableItemOf(t.findFirst(SK(QELString("HELLO")))));
    EXPECT_EQ(&b, MutableItemOf(t.findFirst(SK(QELString("hello")))));
    EXPECT_EQ(NULL, t.findFirst(SK(QELString("Hello"))));
}

TEST(QELSimpleHashtableTest, CaseInsensitiveHashIsThatOfTheUpperCasedKey)
{
    QELSimpleStringHashtable t(true), s(false);
    Item v;
    const char* words[] = {"", "a", "MiXeD", "already UPPER", "with-digits 123", "\xc3\xa9t\xc3\xa9"};
    for (const char* w : words) {
        SCOPED_TRACE(w);
        QELString key(w);
        QELString upper(w);
        upper.toUpper();
        EXPECT_EQ(upper.hashCode(), t.hashKey(SK(key)));
        EXPECT_EQ(key.hashCode(), s.hashKey(SK(key)));
        QELSimpleStringHashtableNode node(key, &v);
        EXPECT_EQ(upper.hashCode(), t.hashObject(QELSimpleHashtable::itemOf(&node)));
        EXPECT_EQ(key.hashCode(), s.hashObject(QELSimpleHashtable::itemOf(&node)));
    }
    EXPECT_EQ(t.hashKey(SK(QELString("abc"))), t.hashKey(SK(QELString("ABC"))));
    EXPECT_NE(s.hashKey(SK(QELString("abc"))), s.hashKey(SK(QELString("ABC"))));
}

TEST(QELSimpleHashtableTest, StringComparisons)
{
    Item v;
    QELSimpleStringHashtableNode a(QELString("abc"), &v), b(QELString("ABD"), &v);
    QELSimpleStringHashtable cs, ci(true);
    const QELContainerItem* ia = QELSimpleHashtable::itemOf(&a);
    const QELContainerItem* ib = QELSimpleHashtable::itemOf(&b);
    EXPECT_GT(cs.compare2Object(ia, ib), 0);  // 'a' > 'A'
    EXPECT_LT(ci.compare2Object(ia, ib), 0);  // "abc" < "abd"
    EXPECT_EQ(0, ci.compare2Key(ia, SK(QELString("ABC"))));
    EXPECT_NE(0, cs.compare2Key(ia, SK(QELString("ABC"))));
    EXPECT_EQ(0, cs.compare2Key(ia, SK(QELString("abc"))));
}

TEST(QELSimpleHashtableTest, LongComparisonsAreSigns)
{
    Item v;
    QELSimpleLongHashtable t;
    QELSimpleLongHashtableNode lo(-5000000000L, &v), hi(4000000000L, &v), z(0, &v);
    const QELContainerItem* il = QELSimpleHashtable::itemOf(&lo);
    const QELContainerItem* ih = QELSimpleHashtable::itemOf(&hi);
    const QELContainerItem* iz = QELSimpleHashtable::itemOf(&z);
    EXPECT_EQ(-1, t.compare2Object(il, ih));
    EXPECT_EQ(1, t.compare2Object(ih, il));
    EXPECT_EQ(0, t.compare2Object(iz, iz));
    long k = 4000000000L;
    EXPECT_EQ(0, t.compare2Key(ih, LK(&k)));
    EXPECT_EQ(-1, t.compare2Key(iz, LK(&k)));
    // The hash is the key truncated to 32 bits.
    EXPECT_EQ(static_cast<unsigned int>(4000000000L), t.hashObject(ih));
    EXPECT_EQ(static_cast<unsigned int>(-5000000000L), t.hashKey(LK(&lo.key)));
}

TEST(QELSimpleHashtableTest, LongKeysFillBucketsOfTheSameNumber)
{
    std::vector<Item> values(10);
    QELSimpleLongHashtable t(false, 16);
    for (long k = 0; k < 10; k++)
        EXPECT_TRUE(t.add(k, &values[k]));
    ASSERT_EQ(15, t.table_mask);
    for (long k = 0; k < 10; k++) {
        ASSERT_NE(nullptr, t.table[k]);
        EXPECT_EQ(k, static_cast<const QELSimpleLongHashtableNode*>(QELSimpleHashtable::nodeOf(t.table[k]->data))->key);
        QELSimpleHashtable::Iterator it;
        EXPECT_EQ(&values[k], MutableItemOf(t.findFirst(LK(&k), &it)));
        EXPECT_EQ(k, it.index);
    }
    for (int b = 10; b < 16; b++)
        EXPECT_EQ(NULL, t.table[b]);
}

TEST(QELSimpleHashtableTest, KeysThatShareLow32BitsStayDistinct)
{
    Item a(1), b(2);
    QELSimpleLongHashtable t(false, 8);
    long k1 = 5, k2 = (1L << 32) + 5;
    EXPECT_TRUE(t.add(k1, &a));
    EXPECT_TRUE(t.add(k2, &b));
    EXPECT_EQ(2, t.size);
    EXPECT_EQ(&a, MutableItemOf(t.findFirst(LK(&k1))));
    EXPECT_EQ(&b, MutableItemOf(t.findFirst(LK(&k2))));
}

TEST(QELSimpleHashtableTest, MissingKeysGiveNull)
{
    QELSimpleStringHashtable s;
    QELSimpleLongHashtable l;
    long k = 1;
    EXPECT_EQ(NULL, s.findFirst(SK(QELString("x"))));
    EXPECT_EQ(NULL, s.findLast(SK(QELString("x"))));
    EXPECT_EQ(NULL, l.findFirst(LK(&k)));
    Item v;
    s.add(QELString("y"), &v);
    l.add(2L, &v);
    EXPECT_EQ(NULL, s.findFirst(SK(QELString("x"))));
    EXPECT_EQ(NULL, l.findFirst(LK(&k)));
}

TEST(QELSimpleHashtableTest, EmptyStringKeyIsAKeyLikeAnyOther)
{
    Item v;
    QELSimpleStringHashtable t;
    EXPECT_TRUE(t.add(QELString(""), &v));
    EXPECT_EQ(&v, MutableItemOf(t.findFirst(SK(QELString()))));
}

// ------------------------------------------------------------ Removal

TEST(QELSimpleHashtableTest, RemoveReturnsTheValueWhichStaysAlive)
{
    int before = Item::alive;
    Item* a = new Item(1);
    Item* b = new Item(2);
    {
        QELSimpleStringHashtable t;
        t.add(QELString("a"), a);
        t.add(QELString("b"), b);
        QELSimpleHashtable::Iterator it;
        EXPECT_EQ(a, MutableItemOf(t.findFirst(SK(QELString("a")), &it)));
        EXPECT_EQ(a, MutableItemOf(t.remove(&it)));
        EXPECT_EQ(1, t.size);
        EXPECT_EQ(1, a->key);
        EXPECT_EQ(b, MutableItemOf(it.get()));
        EXPECT_EQ(b, MutableItemOf(t.remove(&it)));
        EXPECT_EQ(-1, it.index);
        EXPECT_EQ(NULL, t.remove(&it));
        t.add(QELString("a"), a);
        t.add(QELString("b"), b);
    }
    // Destruction deleted the nodes, not the values.
    EXPECT_EQ(before + 2, Item::alive);
    delete a;
    delete b;
    EXPECT_EQ(before, Item::alive);
}

TEST(QELSimpleHashtableTest, RemoveOfNullValueMovesIteratorCorrectly)
{
    // A null value must not be taken for the end of the table.
    QELSimpleLongHashtable t(false, 4);
    Item v;
    t.add(1L, NULL);
    t.add(2L, &v);
    QELSimpleHashtable::Iterator it(t, true);
    EXPECT_EQ(NULL, t.remove(&it));
    EXPECT_EQ(1, t.size);
    EXPECT_EQ(2L, *static_cast<const long*>(it.getKey()));
    EXPECT_EQ(&v, MutableItemOf(it.get()));
}

TEST(QELSimpleHashtableTest, RemoveThroughForeignIteratorGivesNull)
{
    Item v;
    QELSimpleLongHashtable a, b;
    a.add(1L, &v);
    b.add(1L, &v);
    QELSimpleHashtable::Iterator it(b);
    EXPECT_EQ(NULL, a.remove(&it));
    EXPECT_EQ(NULL, a.remove(NULL));
    EXPECT_EQ(1, a.size);
    EXPECT_EQ(1, b.size);
}

TEST(QELSimpleHashtableTest, EmptyForgetsEntriesAndKeepsValues)
{
    int before = Item::alive;
    std::vector<Item> values(5);
    QELSimpleStringHashtable t(false, false, 8);
    for (int i = 0; i < 5; i++)
        t.add(QELString(i), &values[i]);
    EXPECT_TRUE(t.empty());
    EXPECT_EQ(0, t.size);
    EXPECT_EQ(-8, t.table_mask);
    EXPECT_EQ(before + 5, Item::alive);
    EXPECT_TRUE(t.add(QELString(1), &values[1]));
    EXPECT_EQ(8, t.table_mask + 1);
}

// ------------------------------------- Searches, collisions, subclasses

// Texts whose hash codes are all equal ("Aa" and "BB" weigh alike), so that
// they share one bucket of any table.
const char* const kCollidingTexts[] = {"AaAa", "AaBB", "BBAa", "BBBB"};

TEST(QELSimpleHashtableTest, KeysWithEqualHashesAreFoundApart)
{
    for (const char* text : kCollidingTexts)
        ASSERT_EQ(QELString("AaAa").hashCode(), QELString(text).hashCode()) << text;
    Item v[4];
    QELSimpleStringHashtable t;
    for (int i = 0; i < 4; i++)
        ASSERT_TRUE(t.add(QELString(kCollidingTexts[i]), &v[i]));
    EXPECT_FALSE(t.add(QELString("BBAa"), &v[0]));
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(&v[i], MutableItemOf(t.findFirst(SK(QELString(kCollidingTexts[i])))));
    EXPECT_EQ(NULL, t.findFirst(SK(QELString("AaA"))));
    EXPECT_EQ(NULL, t.findFirst(SK(QELString("AaAaAa"))));
}

TEST(QELSimpleHashtableTest, FindFirstPlacesTheIteratorOnTheEntryInItsChain)
{
    // All four share a bucket; the one found in the middle of the chain is
    // the one removed, and the others stay findable.
    Item v[4];
    QELSimpleStringHashtable t;
    for (int i = 0; i < 4; i++)
        t.add(QELString(kCollidingTexts[i]), &v[i]);
    QELSimpleHashtable::Iterator it;
    ASSERT_EQ(&v[1], MutableItemOf(t.findFirst(SK(QELString("AaBB")), &it)));
    EXPECT_EQ(&t, it.container);
    EXPECT_STREQ("AaBB", static_cast<const QELString*>(it.getKey())->p);
    EXPECT_EQ(&v[1], MutableItemOf(t.remove(&it)));
    EXPECT_EQ(3, t.size);
    EXPECT_EQ(NULL, t.findFirst(SK(QELString("AaBB"))));
    for (int i : {0, 2, 3})
        EXPECT_EQ(&v[i], MutableItemOf(t.findFirst(SK(QELString(kCollidingTexts[i])))));
}

TEST(QELSimpleHashtableTest, MissLeavesTheIteratorWhereItStood)
{
    Item a, b;
    QELSimpleLongHashtable t(false, 4);
    t.add(1L, &a);
    t.add(5L, &b);
    QELSimpleHashtable::Iterator it(t, true);
    EXPECT_EQ(&b, MutableItemOf(it.get()));
    long missing = 9;
    EXPECT_EQ(NULL, t.findFirst(LK(&missing), &it));
    EXPECT_EQ(&b, MutableItemOf(it.get()));
    long one = 1;
    ASSERT_EQ(&a, MutableItemOf(t.findFirst(LK(&one), &it)));
    EXPECT_EQ(1L, *static_cast<const long*>(it.getKey()));
    EXPECT_EQ(1, it.index);
}

TEST(QELSimpleHashtableTest, LongKeysSharingABucketAreFoundApart)
{
    // Every key below lies in bucket 5 of 16, the negative one included.
    const long keys[] = {5, 21, -11, 37, (1L << 40) + 5};
    Item v[5];
    QELSimpleLongHashtable t(false, 16);
    for (int i = 0; i < 5; i++)
        ASSERT_TRUE(t.add(keys[i], &v[i]));
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(&v[i], MutableItemOf(t.findFirst(LK(&keys[i])))) << keys[i];
    QELSimpleHashtable::Iterator it;
    t.findFirst(LK(&keys[2]), &it);
    EXPECT_EQ(&v[2], MutableItemOf(t.remove(&it)));
    EXPECT_EQ(NULL, t.findFirst(LK(&keys[2])));
    for (int i : {0, 1, 3, 4})
        EXPECT_EQ(&v[i], MutableItemOf(t.findFirst(LK(&keys[i])))) << keys[i];
}

TEST(QELSimpleHashtableTest, RemovingEveryEntryDuringAnIterationTakesEachOnce)
{
    std::vector<Item> values(40);
    QELSimpleLongHashtable t(false, 8);
    for (long k = 0; k < 40; k++)
        t.add(k * 3, &values[k]);
    QELSimpleHashtable::Iterator it(t, true);
    std::vector<int> taken(40);
    while (t.size > 0) {
        Item* v = MutableItemOf(t.remove(&it));
        ASSERT_NE(nullptr, v);
        taken[v - &values[0]]++;
    }
    EXPECT_EQ(std::vector<int>(40, 1), taken);
    EXPECT_EQ(NULL, it.get());
}

namespace {

char FirstLetterOfNode(const QELContainerItem* item)
{
    return static_cast<const QELSimpleStringHashtableNode*>(QELSimpleHashtable::nodeOf(item))->key.p[0];
}

// Keys that match by their first letter alone, through overridden hooks.
class FirstLetterTable : public QELSimpleStringHashtable {
public:
    FirstLetterTable() : QELSimpleStringHashtable(false, false, 16) { }
    int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const override
    {
        return FirstLetterOfNode(a) - FirstLetterOfNode(b);
    }
    int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const override
    {
        return FirstLetterOfNode(item) - reinterpret_cast<const QELString*>(key)->p[0];
    }
    unsigned int hashObject(const QELContainerItem* item) const override
    {
        return static_cast<unsigned char>(FirstLetterOfNode(item));
    }
    unsigned int hashKey(const QELContainerKey* key) const override
    {
        return static_cast<unsigned char>(reinterpret_cast<const QELString*>(key)->p[0]);
    }
};

long LongKeyOfNode(const QELContainerItem* item)
{
    return static_cast<const QELSimpleLongHashtableNode*>(QELSimpleHashtable::nodeOf(item))->key;
}

// Keys that match by their last decimal digit, through overridden hooks.
class LastDigitTable : public QELSimpleLongHashtable {
public:
    LastDigitTable() : QELSimpleLongHashtable(true, 64) { }
    int compare2Object(const QELContainerItem* a, const QELContainerItem* b) const override
    {
        return static_cast<int>(LongKeyOfNode(a) % 10 - LongKeyOfNode(b) % 10);
    }
    int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const override
    {
        return static_cast<int>(LongKeyOfNode(item) % 10 - *reinterpret_cast<const long*>(key) % 10);
    }
    unsigned int hashObject(const QELContainerItem* item) const override
    {
        return static_cast<unsigned int>(LongKeyOfNode(item) % 10);
    }
    unsigned int hashKey(const QELContainerKey* key) const override
    {
        return static_cast<unsigned int>(*reinterpret_cast<const long*>(key) % 10);
    }
};

} // namespace

TEST(QELSimpleHashtableTest, SubclassHooksDecideStringLookups)
{
    Item a, b;
    FirstLetterTable t;
    EXPECT_TRUE(t.add(QELString("apple"), &a));
    EXPECT_FALSE(t.add(QELString("avocado"), &b));
    EXPECT_TRUE(t.add(QELString("banana"), &b));
    EXPECT_EQ(2, t.size);
    QELSimpleHashtable::Iterator it;
    ASSERT_EQ(&a, MutableItemOf(t.findFirst(SK(QELString("axe")), &it)));
    EXPECT_STREQ("apple", static_cast<const QELString*>(it.getKey())->p);
    EXPECT_EQ(&b, MutableItemOf(t.findFirst(SK(QELString("blue")))));
    EXPECT_EQ(NULL, t.findFirst(SK(QELString("cherry"))));
}

TEST(QELSimpleHashtableTest, SubclassHooksDecideLongLookups)
{
    Item a, b;
    LastDigitTable t;
    EXPECT_TRUE(t.add(3L, &a));
    EXPECT_TRUE(t.add(23L, &b)); // replace: the entry of 3 takes the value
    EXPECT_EQ(1, t.size);
    long k = 1003;
    EXPECT_EQ(&b, MutableItemOf(t.findFirst(LK(&k))));
    k = 4;
    EXPECT_EQ(NULL, t.findFirst(LK(&k)));
}

// ------------------------------------------------------------ Iterator

TEST(QELSimpleHashtableIteratorTest, EveryMoveHandsOutValues)
{
    // Keys 1, 5 share bucket 1 of 4 (5 at the head); key 2 in bucket 2.
    Item v1(1), v5(5), v2(2);
    QELSimpleLongHashtable t(false, 4);
    t.add(1L, &v1);
    t.add(5L, &v5);
    t.add(2L, &v2);
    QELSimpleHashtable::Iterator it(t, true);
    EXPECT_EQ(&v5, MutableItemOf(it.get()));
    EXPECT_EQ(&v5, MutableItemOf(*it));
    EXPECT_EQ(&v1, MutableItemOf(it.next()));
    EXPECT_EQ(&v2, MutableItemOf(it.next()));
    EXPECT_EQ(NULL, it.next());
    EXPECT_EQ(&v2, MutableItemOf(it.get()));
    EXPECT_EQ(&v1, MutableItemOf(it.previous()));
    EXPECT_EQ(&v5, MutableItemOf(it.moveToFirst()));
    EXPECT_EQ(&v2, MutableItemOf(it.moveToLast()));
    long k1 = 1, k5 = 5;
    EXPECT_EQ(&v1, MutableItemOf(it.findFirst(LK(&k1))));
    EXPECT_EQ(&v1, MutableItemOf(it.findLast(LK(&k1))));
    // 5 is the head of a chain of two: findLast does not see it.
    EXPECT_EQ(NULL, it.findLast(LK(&k5)));
    EXPECT_EQ(&v5, MutableItemOf(it.findPrevious(LK(&k5))));
    EXPECT_EQ(&v1, MutableItemOf(it.findNext(LK(&k1))));
    EXPECT_EQ(NULL, it.findNext(LK(&k1)));
    QELSimpleLongHashtable u;
    Item w;
    u.add(9L, &w);
    EXPECT_EQ(&w, MutableItemOf(it.moveTo(u, true)));
    EXPECT_EQ(9L, *static_cast<const long*>(it.getKey()));
}

TEST(QELSimpleHashtableIteratorTest, GetKeyOnEmptyTableIsNull)
{
    QELSimpleStringHashtable t;
    QELSimpleHashtable::Iterator it(t);
    EXPECT_EQ(NULL, it.getKey());
    EXPECT_EQ(NULL, it.get());
    QELSimpleHashtable::Iterator detached;
    EXPECT_EQ(NULL, detached.getKey());
    EXPECT_EQ(NULL, detached.next());
}

TEST(QELSimpleHashtableIteratorTest, NewIteratorIsASimpleIterator)
{
    Item v;
    QELSimpleStringHashtable t;
    t.add(QELString("k"), &v);
    QELContainer::Iterator* it = t.newIterator();
    EXPECT_NE(nullptr, dynamic_cast<QELSimpleHashtable::Iterator*>(it));
    EXPECT_EQ(&v, MutableItemOf(it->get()));
    t.deleteIterator(it);
    QELContainer::Iterator* last = t.newIterator(false);
    EXPECT_EQ(&v, MutableItemOf(last->get()));
    t.deleteIterator(last);
}

// --------------------------------------------------------------- Copies

TEST(QELSimpleHashtableTest, CopyHasItsOwnNodesAndSharesValues)
{
    std::vector<Item> values(4);
    QELSimpleStringHashtable t(true, true, 32);
    const char* keys[] = {"One", "two", "THREE", "four"};
    for (int i = 0; i < 4; i++)
        t.add(QELString(keys[i]), &values[i]);
    QELSimpleStringHashtable c(t);
    EXPECT_TRUE(c.ignoreCase);
    EXPECT_TRUE(c.replace);
    EXPECT_EQ(32, c.table_mask + 1);
    EXPECT_EQ(Entries(t), Entries(c));
    QELSimpleHashtable::Iterator a(t), b(c);
    EXPECT_NE(a.getKey(), b.getKey());
    // Changing the copy leaves the source alone.
    Item extra;
    c.add(QELString("ONE"), &extra);
    EXPECT_EQ(&values[0], MutableItemOf(t.findFirst(SK(QELString("one")))));
    EXPECT_EQ(&extra, MutableItemOf(c.findFirst(SK(QELString("one")))));
    QELSimpleStringHashtable d;
    d = c;
    EXPECT_TRUE(d.ignoreCase);
    EXPECT_EQ(Entries(c), Entries(d));
    QELSimpleStringHashtable& self = d;
    d = self;
    EXPECT_EQ(Entries(c), Entries(d));
    // Through the base class the entries are copied too.
    QELSimpleStringHashtable e;
    static_cast<QELHashtable&>(e) = c;
    EXPECT_FALSE(e.ignoreCase);
    EXPECT_EQ(Entries(c), Entries(e));
}

// Copies of tables of every small size, the one-entry table included, hold
// the same entries; an empty table's copy is empty.
TEST(QELSimpleHashtableTest, CopiesOfSmallTablesHoldEveryEntry)
{
    std::vector<Item> values(3);
    const char* keys[] = {"a", "b", "c"};
    for (int n = 0; n <= 3; n++) {
        SCOPED_TRACE(n);
        QELSimpleStringHashtable t;
        QELSimpleLongHashtable l;
        for (int i = 0; i < n; i++) {
            t.add(QELString(keys[i]), &values[i]);
            l.add(static_cast<long>(i), &values[i]);
        }
        QELSimpleStringHashtable c(t);
        QELSimpleLongHashtable lc(l);
        EXPECT_EQ(n, c.size);
        EXPECT_EQ(n, lc.size);
        EXPECT_EQ(Entries(t), Entries(c));
        EXPECT_EQ(Entries(l), Entries(lc));
    }
}

TEST(QELSimpleHashtableTest, LongCopyAndAssignment)
{
    std::vector<Item> values(20);
    QELSimpleLongHashtable t(true, 8);
    for (long k = 0; k < 20; k++)
        t.add(k * 3 - 10, &values[k]);
    QELSimpleLongHashtable c(t);
    EXPECT_TRUE(c.replace);
    EXPECT_EQ(Entries(t), Entries(c));
    QELSimpleLongHashtable d;
    d = t;
    EXPECT_EQ(8, d.table_mask + 1);
    EXPECT_EQ(Entries(t), Entries(d));
    QELSimpleLongHashtable empty;
    d = empty;
    EXPECT_EQ(0, d.size);
}

TEST(QELSimpleHashtableTest, CopiesOfEmptyTablesAreEmptyAndSelfAssignmentKeepsEntries)
{
    QELSimpleStringHashtable emptyStrings(true, false, 16);
    QELSimpleStringHashtable stringCopy(emptyStrings);
    EXPECT_EQ(0, stringCopy.size);
    EXPECT_TRUE(stringCopy.ignoreCase);
    EXPECT_EQ(16, stringCopy.bucketCount()); // allocated by the first add
    QELSimpleLongHashtable emptyLongs(true, 4);
    QELSimpleLongHashtable longCopy(emptyLongs);
    EXPECT_EQ(0, longCopy.size);
    EXPECT_TRUE(longCopy.replace);

    std::vector<Item> values(3);
    QELSimpleStringHashtable strings;
    strings.add(QELString("a"), &values[0]);
    QELHashtable& stringBase = strings;
    const QELHashtable& sameStrings = strings;
    stringBase = sameStrings;
    EXPECT_EQ(&values[0], MutableItemOf(strings.findFirst(SK(QELString("a")))));
    stringBase = emptyStrings; // through the base: the entries go, the flags stay
    EXPECT_EQ(0, strings.size);
    EXPECT_FALSE(strings.ignoreCase);

    QELSimpleLongHashtable longs;
    const long one = 1, two = 2;
    longs.add(one, &values[1]);
    QELSimpleLongHashtable& sameLongs = longs;
    longs = sameLongs;
    QELHashtable& longBase = longs;
    const QELHashtable& sameLongBase = longs;
    longBase = sameLongBase;
    EXPECT_EQ(1, longs.size);
    EXPECT_EQ(&values[1], MutableItemOf(longs.findFirst(LK(&one))));
    longs.add(two, &values[2]);
    longBase = emptyLongs;
    EXPECT_EQ(0, longs.size);
}

// Tables of a class that derives from the keyed tables, copied whole.
struct QELCountedStringTable : QELSimpleStringHashtable {
    int copies = 0;
    QELCountedStringTable() : QELSimpleStringHashtable(true) {}
    QELCountedStringTable(const QELCountedStringTable& other) : QELSimpleStringHashtable(other), copies(other.copies + 1) {}
};
struct QELCountedLongTable : QELSimpleLongHashtable {
    int copies = 0;
    QELCountedLongTable() = default;
    QELCountedLongTable(const QELCountedLongTable& other) : QELSimpleLongHashtable(other), copies(other.copies + 1) {}
};

TEST(QELSimpleHashtableTest, SubclassCopiesCarryTheEntries)
{
    std::vector<Item> values(2);
    QELCountedStringTable strings;
    QELCountedStringTable emptyStringCopy(strings);
    EXPECT_EQ(0, emptyStringCopy.size);
    strings.add(QELString("Key"), &values[0]);
    QELCountedStringTable stringCopy(strings);
    EXPECT_EQ(1, stringCopy.copies);
    EXPECT_TRUE(stringCopy.ignoreCase);
    EXPECT_EQ(Entries(strings), Entries(stringCopy));
    EXPECT_EQ(&values[0], MutableItemOf(stringCopy.findFirst(SK(QELString("KEY")))));

    QELCountedLongTable longs;
    QELCountedLongTable emptyLongCopy(longs);
    EXPECT_EQ(0, emptyLongCopy.size);
    longs.add(-7, &values[1]);
    QELCountedLongTable longCopy(longs);
    EXPECT_EQ(1, longCopy.copies);
    EXPECT_EQ(Entries(longs), Entries(longCopy));
}

// ------------------------------------------------------ Randomised model

TEST(QELSimpleHashtableModelTest, StringTableAgainstStdMap)
{
    for (int variant = 0; variant < 4; variant++) {
        bool ignoreCase = variant & 1;
        bool replace = variant & 2;
        std::mt19937 rng(100 + variant);
        std::vector<Item> values(64);
        QELSimpleStringHashtable t(ignoreCase, replace, 16);
        std::map<std::string, void*> m;
        const char* letters = "aAbBcC";
        for (int step = 0; step < 3000; step++) {
            SCOPED_TRACE(testing::Message() << "variant " << variant << " step " << step);
            std::string key;
            int len = static_cast<int>(rng() % 4);
            for (int i = 0; i < len; i++)
                key += letters[rng() % 6];
            std::string mkey = ignoreCase ? Upper(key) : key;
            Item* v = &values[rng() % values.size()];
            unsigned op = rng() % 10;
            if (op < 5) {
                auto found = m.find(mkey);
                QELBoolean ok = t.add(QELString(key.c_str()), v);
                if (found == m.end()) {
                    ASSERT_TRUE(ok);
                    m[mkey] = v;
                } else if (replace) {
                    ASSERT_TRUE(ok);
                    found->second = v;
                } else {
                    ASSERT_FALSE(ok);
                }
            } else if (op < 8) {
                auto found = m.find(mkey);
                QELString k(key.c_str());
                ASSERT_EQ(found == m.end() ? NULL : found->second, static_cast<void*>(t.findFirst(SK(k))));
            } else {
                QELString k(key.c_str());
                QELSimpleHashtable::Iterator it;
                QELContainerItem* value = t.findFirst(SK(k), &it);
                auto found = m.find(mkey);
                if (found == m.end()) {
                    ASSERT_EQ(NULL, value);
                    ASSERT_EQ(NULL, t.remove(&it));
                } else {
                    ASSERT_EQ(found->second, static_cast<void*>(t.remove(&it)));
                    m.erase(found);
                }
            }
            ASSERT_EQ(static_cast<int>(m.size()), t.size);
            ASSERT_TRUE(QEL_HASHTABLE_INVARIANT(&t));
        }
        std::map<std::string, void*> seen;
        for (auto& e : Entries(t))
            seen[ignoreCase ? Upper(e.first) : e.first] = e.second;
        ASSERT_EQ(m, seen);
    }
}

TEST(QELSimpleHashtableModelTest, LongTableAgainstUnorderedMap)
{
    for (int variant = 0; variant < 2; variant++) {
        bool replace = variant == 1;
        std::mt19937_64 rng(7 + variant);
        std::vector<Item> values(64);
        QELSimpleLongHashtable t(replace, 32);
        std::unordered_map<long, void*> m;
        for (int step = 0; step < 4000; step++) {
            SCOPED_TRACE(testing::Message() << "variant " << variant << " step " << step);
            // Small keys, negative keys and keys equal in their low 32 bits.
            long key = static_cast<long>(rng() % 50) - 25;
            if (rng() % 4 == 0)
                key += static_cast<long>(rng() % 3) << 32;
            Item* v = &values[rng() % values.size()];
            unsigned op = rng() % 10;
            if (op < 5) {
                auto found = m.find(key);
                QELBoolean ok = t.add(key, v);
                if (found == m.end()) {
                    ASSERT_TRUE(ok);
                    m[key] = v;
                } else if (replace) {
                    ASSERT_TRUE(ok);
                    found->second = v;
                } else {
                    ASSERT_FALSE(ok);
                }
            } else if (op < 8) {
                auto found = m.find(key);
                ASSERT_EQ(found == m.end() ? NULL : found->second, static_cast<void*>(t.findFirst(LK(&key))));
            } else if (op < 9) {
                QELSimpleHashtable::Iterator it;
                QELContainerItem* value = t.findFirst(LK(&key), &it);
                auto found = m.find(key);
                if (found == m.end()) {
                    ASSERT_EQ(NULL, value);
                } else {
                    ASSERT_EQ(found->second, static_cast<void*>(t.remove(&it)));
                    m.erase(found);
                }
            } else if (step % 50 == 0) {
                QELSimpleLongHashtable c(t);
                std::map<long, void*> a = Entries(t), b = Entries(c);
                ASSERT_EQ(a, b);
            }
            ASSERT_EQ(static_cast<int>(m.size()), t.size);
            ASSERT_TRUE(QEL_HASHTABLE_INVARIANT(&t));
        }
        std::map<long, void*> expected(m.begin(), m.end());
        ASSERT_EQ(expected, Entries(t));
    }
}

// -------------------------------------------------------- Assertion reports

class QELSimpleHashtableDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(QELSimpleHashtableDeathTest, CorruptTableIsReportedByKeyedAdd)
{
    Item v;
    QELSimpleStringHashtable t;
    t.add(QELString("a"), &v);
    int saved = t.table_mask;
    t.table_mask = -3;
    EXPECT_DEATH(t.add(QELString("b"), &v),
                 AssertionReport("QELHashtable.cpp",
                                 "virtual QELContainerItem* QELHashtable::findFirst(const QELContainerKey*, "
                                 "QELContainer::Iterator*) const",
                                 kTableInvariant));
    t.table_mask = saved;
}

TEST_F(QELSimpleHashtableDeathTest, CorruptTableIsReportedByFindFirst)
{
    Item v;
    QELSimpleLongHashtable t;
    t.add(1L, &v);
    long k = 1;
    const char* const signature =
        "virtual QELContainerItem* QELHashtable::findFirst(const QELContainerKey*, QELContainer::Iterator*) const";
    int saved = t.size;
    t.size = -1;
    EXPECT_DEATH(t.findFirst(LK(&k)), AssertionReport("QELHashtable.cpp", signature, kTableInvariant));
    t.size = saved;
    QELSimpleStringHashtable s;
    s.add(QELString("a"), &v);
    QELHashtableElement** table = s.table;
    s.table = NULL;
    EXPECT_DEATH(s.findFirst(SK(QELString("a"))), AssertionReport("QELHashtable.cpp", signature, kTableInvariant));
    s.table = table;
}

TEST_F(QELSimpleHashtableDeathTest, CorruptTableIsReportedByEmpty)
{
    Item v;
    QELSimpleLongHashtable t;
    t.add(1L, &v);
    int saved = t.size;
    t.size = -2;
    EXPECT_DEATH(t.empty(),
                 AssertionReport("QELSimpleHashtable.cpp", "virtual QELBoolean QELSimpleHashtable::empty()",
                                 kTableInvariant));
    t.size = saved;
}
