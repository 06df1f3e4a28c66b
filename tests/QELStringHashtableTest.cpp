// Tests of QELStringHashtable: a set of QELString items compared by text and
// found by a plain character key, checked against std::unordered_multimap.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "QELStringHashtable.h"

namespace {

const QELContainerItem* SI(const QELString* s) { return reinterpret_cast<const QELContainerItem*>(s); }
const QELString* StringOf(const QELContainerItem* p) { return reinterpret_cast<const QELString*>(p); }
const QELContainerKey* CK(const char* s) { return reinterpret_cast<const QELContainerKey*>(s); }

std::vector<const QELString*> Contents(const QELHashtable& t)
{
    std::vector<const QELString*> v;
    QELHashtable::Iterator it(t, true);
    for (QELContainerItem* p = it.get(); p != NULL; p = it.next())
        v.push_back(StringOf(p));
    return v;
}

} // namespace

TEST(QELStringHashtableTest, FindsStringsByPlainText)
{
    QELString a("alpha"), b("beta");
    QELStringHashtable t;
    t.add(SI(&a));
    t.add(SI(&b));
    EXPECT_EQ(SI(&a), t.findFirst(CK("alpha")));
    EXPECT_EQ(SI(&b), t.findFirst(CK("beta")));
    EXPECT_EQ(NULL, t.findFirst(CK("gamma")));
    EXPECT_EQ(NULL, t.findFirst(CK("Alpha")));
    EXPECT_EQ(SI(&a), t.findLast(CK("alpha")));
}

TEST(QELStringHashtableTest, HashOfKeyEqualsHashOfString)
{
    QELStringHashtable t;
    const char* words[] = {"", "a", "ab", "longer text with spaces", "\xff\x80 high bytes"};
    for (const char* w : words) {
        SCOPED_TRACE(w);
        QELString s(w);
        EXPECT_EQ(s.hashCode(), t.hashObject(SI(&s)));
        EXPECT_EQ(s.hashCode(), t.hashKey(CK(w)));
        EXPECT_EQ(stringHashCode(w), t.hashKey(CK(w)));
    }
    QELString ab("ab");
    EXPECT_EQ(3107u, t.hashObject(SI(&ab)));
}

TEST(QELStringHashtableTest, NullKeyMatchesTheEmptyString)
{
    QELString empty;
    QELStringHashtable t;
    t.add(SI(&empty));
    EXPECT_EQ(SI(&empty), t.findFirst(NULL));
    EXPECT_EQ(0, t.compare2Key(SI(&empty), NULL));
}

TEST(QELStringHashtableTest, ComparisonsAreStrcmp)
{
    QELString a("abc"), b("abd"), c("abc");
    QELStringHashtable t;
    EXPECT_LT(t.compare2Object(SI(&a), SI(&b)), 0);
    EXPECT_GT(t.compare2Object(SI(&b), SI(&a)), 0);
    EXPECT_EQ(0, t.compare2Object(SI(&a), SI(&c)));
    EXPECT_EQ(0, t.compare2Key(SI(&a), CK("abc")));
    EXPECT_LT(t.compare2Key(SI(&a), CK("abd")), 0);
}

TEST(QELStringHashtableTest, EqualTextsAreDistinctItems)
{
    QELString a("same"), b("same");
    QELStringHashtable t;
    EXPECT_TRUE(t.add(SI(&a), true));
    EXPECT_FALSE(t.add(SI(&b), true));
    EXPECT_TRUE(t.add(SI(&b)));
    EXPECT_EQ(2, t.size);
    EXPECT_TRUE(t.contains(SI(&a)));
    EXPECT_TRUE(t.contains(SI(&b)));
    QELString c("same");
    EXPECT_FALSE(t.contains(SI(&c)));
    // Most recent first; findLast skips the head of the chain of two.
    EXPECT_EQ(SI(&b), t.findFirst(CK("same")));
    EXPECT_EQ(SI(&a), t.findLast(CK("same")));
    QELHashtable::Iterator it;
    t.findFirst(CK("same"), &it);
    EXPECT_EQ(SI(&a), it.findNext(CK("same")));
}

TEST(QELStringHashtableTest, TextsWithEqualHashesAreFoundApart)
{
    // "Aa" and "BB" weigh alike in the hash, so all four share a bucket.
    QELString s[] = {QELString("AaAa"), QELString("AaBB"), QELString("BBAa"), QELString("BBBB")};
    QELStringHashtable t;
    for (QELString& x : s) {
        ASSERT_EQ(s[0].hashCode(), x.hashCode()) << x.p;
        t.add(SI(&x));
    }
    for (QELString& x : s)
        EXPECT_EQ(SI(&x), t.findFirst(CK(x.p)));
    EXPECT_EQ(NULL, t.findFirst(CK("AaA")));
    QELHashtable::Iterator it;
    EXPECT_EQ(SI(&s[2]), t.findFirst(CK("BBAa"), &it));
    EXPECT_EQ(SI(&s[2]), t.remove(&it));
    EXPECT_EQ(NULL, t.findFirst(CK("BBAa")));
    for (int i : {0, 1, 3})
        EXPECT_EQ(SI(&s[i]), t.findFirst(CK(s[i].p)));
}

TEST(QELStringHashtableTest, EmptyTextIsFoundLikeAnyOther)
{
    QELString empty, a("a");
    QELStringHashtable t(2);
    t.add(SI(&a));
    EXPECT_EQ(NULL, t.findFirst(CK("")));
    t.add(SI(&empty));
    EXPECT_EQ(SI(&empty), t.findFirst(CK("")));
    EXPECT_EQ(SI(&a), t.findFirst(CK("a")));
}

namespace {

// Texts that match by their first letter alone, through overridden hooks.
class FirstLetterSet : public QELStringHashtable {
public:
    int compare2Key(const QELContainerItem* item, const QELContainerKey* key) const override
    {
        return StringOf(item)->p[0] - reinterpret_cast<const char*>(key)[0];
    }
    unsigned int hashObject(const QELContainerItem* item) const override
    {
        return static_cast<unsigned char>(StringOf(item)->p[0]);
    }
    unsigned int hashKey(const QELContainerKey* key) const override
    {
        return static_cast<unsigned char>(reinterpret_cast<const char*>(key)[0]);
    }
};

} // namespace

TEST(QELStringHashtableTest, SubclassHooksDecideLookups)
{
    QELString a("alpha"), b("beta");
    FirstLetterSet t;
    t.add(SI(&a));
    t.add(SI(&b));
    QELHashtable::Iterator it;
    EXPECT_EQ(SI(&a), t.findFirst(CK("axe"), &it));
    EXPECT_EQ(SI(&a), it.get());
    EXPECT_EQ(SI(&b), t.findFirst(CK("blue")));
    EXPECT_EQ(NULL, t.findFirst(CK("gamma")));
}

TEST(QELStringHashtableTest, CopyRehashesByTextWithTheSameBuckets)
{
    std::vector<std::unique_ptr<QELString>> strings;
    QELStringHashtable t(16);
    for (int i = 0; i < 50; i++) {
        strings.emplace_back(new QELString(i));
        t.add(SI(strings.back().get()));
    }
    QELStringHashtable c(t);
    EXPECT_EQ(16, c.table_mask + 1);
    EXPECT_EQ(50, c.size);
    EXPECT_TRUE(c == t);
    for (auto& s : strings)
        EXPECT_EQ(SI(s.get()), c.findFirst(CK(s->p)));
    QELStringHashtable d(4);
    d = t;
    EXPECT_EQ(16, d.table_mask + 1);
    for (auto& s : strings)
        EXPECT_EQ(SI(s.get()), d.findFirst(CK(s->p)));
    // The strings are never copied or freed.
    std::vector<const QELString*> v = Contents(d);
    for (const QELString* s : v)
        EXPECT_TRUE(std::any_of(strings.begin(), strings.end(), [&](const std::unique_ptr<QELString>& p) { return p.get() == s; }));
}

TEST(QELStringHashtableTest, ResizeKeepsEveryStringFindable)
{
    std::vector<std::unique_ptr<QELString>> strings;
    QELStringHashtable t(2);
    for (int i = 0; i < 100; i++) {
        strings.emplace_back(new QELString(i * 7));
        t.add(SI(strings.back().get()));
    }
    EXPECT_TRUE(t.resize(200));
    EXPECT_EQ(256, t.table_mask + 1);
    for (auto& s : strings)
        EXPECT_EQ(SI(s.get()), t.findFirst(CK(s->p)));
}

TEST(QELStringHashtableModelTest, AgainstUnorderedMultimap)
{
    std::mt19937 rng(42);
    std::vector<std::unique_ptr<QELString>> pool;
    const char* syllables[] = {"ka", "lo", "mi", "", "\xc3\xa9"};
    for (int i = 0; i < 200; i++) {
        std::string s;
        int n = static_cast<int>(rng() % 3);
        for (int j = 0; j < n; j++)
            s += syllables[rng() % 5];
        pool.emplace_back(new QELString(s.c_str()));
    }
    QELStringHashtable t(32);
    std::unordered_multimap<std::string, const QELString*> m;
    for (int step = 0; step < 5000; step++) {
        SCOPED_TRACE(testing::Message() << "step " << step);
        const QELString* s = pool[rng() % pool.size()].get();
        unsigned op = rng() % 10;
        if (op < 4) {
            bool unique = rng() % 3 == 0;
            bool has = m.count(s->p) > 0;
            QELBoolean ok = t.add(SI(s), unique);
            if (unique && has) {
                ASSERT_FALSE(ok);
            } else {
                ASSERT_TRUE(ok);
                m.emplace(s->p, s);
            }
        } else if (op < 7) {
            // findFirst gives the most recently added string with that text.
            QELContainerItem* found = t.findFirst(CK(s->p));
            ASSERT_EQ(m.count(s->p) > 0, found != NULL);
            if (found != NULL) {
                ASSERT_STREQ(s->p, StringOf(found)->p);
            }
            bool held = false;
            auto range = m.equal_range(s->p);
            for (auto e = range.first; e != range.second; ++e)
                held = held || e->second == s;
            ASSERT_EQ(held, t.contains(SI(s)) != 0);
        } else {
            QELHashtable::Iterator it;
            QELContainerItem* found = t.findFirst(CK(s->p), &it);
            if (found == NULL) {
                ASSERT_EQ(0u, m.count(s->p));
                continue;
            }
            ASSERT_EQ(found, t.remove(&it));
            auto range = m.equal_range(s->p);
            auto e = range.first;
            while (e != range.second && SI(e->second) != found)
                ++e;
            ASSERT_NE(range.second, e);
            m.erase(e);
        }
        ASSERT_EQ(static_cast<int>(m.size()), t.size);
        ASSERT_TRUE(QEL_HASHTABLE_INVARIANT(&t));
    }
    std::vector<const QELString*> v = Contents(t);
    ASSERT_EQ(m.size(), v.size());
    std::unordered_multimap<std::string, const QELString*> seen;
    for (const QELString* s : v)
        seen.emplace(s->p, s);
    for (auto& e : m)
        ASSERT_EQ(m.count(e.first), seen.count(e.first));
}
