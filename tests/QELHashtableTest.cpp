// Tests of QELHashtable and QELHashtable::Iterator: lazy buckets, head
// insertion, the one-sided findLast, iterator state codes and steps,
// removal, copies and resize, assertion reports, and a randomised
// comparison against an exact model of the chains.
#include <gtest/gtest.h>

#include "QELDeathTestPatterns.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "QELContainerTestSupport.h"
#include "QELHashtable.h"
#include "QELHashtableModel.h"

namespace {

#define QEL_STR2(x) #x
#define QEL_XSTR(x) QEL_STR2(x)

std::string Report(const std::string& signature, const std::string& expression)
{
    return AssertionReport("QELHashtable.cpp", signature, expression);
}

// The table invariant exactly as reports print it.
const char* const kTableInvariant =
    "( ( ((this)->size>=0) && ((this)->table!=__null) && ((this)->table_mask>0) ) || "
    "( ((this)->size==0) && ((this)->table_mask<0) ) )";

} // namespace

// ------------------------------------------------------------ Buckets

TEST(QELHashtableTest, InvariantMacroExpandsToTheReportedText)
{
    EXPECT_STREQ(kTableInvariant, QEL_XSTR(QEL_HASHTABLE_INVARIANT(this)));
    EXPECT_STREQ("( ((this)->size>0) && ( ((e)->previous!=__null) || ((e)->next!=__null) ) && ((e)->data!=__null) )",
                 QEL_XSTR(QEL_HASHTABLE_ELEMENT_INVARIANT(this, e)));
}

TEST(QELHashtableTest, ChainElementIsThreeWords)
{
    EXPECT_EQ(3 * sizeof(void*), sizeof(QELHashtableElement));
}

TEST(QELHashtableTest, BucketArrayIsAllocatedAtFirstAdd)
{
    // Requested count -> buckets allocated.
    struct Row {
        int requested;
        int deferred;
        int allocated;
    } rows[] = {
        {0, -1024, 1024},   // default
        {-5, -1024, 1024},  // non-positive means the default
        {1, -1, 2},         // at least two buckets
        {2, -2, 2},
        {3, -3, 4},         // rounded up to a power of two
        {100, -100, 128},
        {1024, -1024, 1024},
        {1025, -1025, 2048},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.requested);
        QELHashtable t(r.requested);
        EXPECT_EQ(NULL, t.table);
        EXPECT_EQ(r.deferred, t.table_mask);
        EXPECT_EQ(0, t.size);
        Item a;
        EXPECT_TRUE(t.add(I(&a)));
        ASSERT_NE(nullptr, t.table);
        EXPECT_EQ(r.allocated, Buckets(t));
        EXPECT_TRUE(IsSoundTable(t));
    }
}

TEST(QELHashtableTest, EmptyKeepsBucketCountForNextAdd)
{
    QELHashtable t(128);
    std::vector<Item> items = MakeItems({1, 2, 3});
    for (Item& it : items)
        t.add(I(&it));
    EXPECT_EQ(128, Buckets(t));
    EXPECT_TRUE(t.empty());
    EXPECT_EQ(0, t.size);
    EXPECT_EQ(NULL, t.table);
    EXPECT_EQ(-128, t.table_mask);
    EXPECT_TRUE(IsSoundTable(t));
    t.add(I(&items[0]));
    EXPECT_EQ(128, Buckets(t));
}

TEST(QELHashtableTest, EmptyOnNeverAllocatedTableDoesNothing)
{
    QELHashtable t(5);
    EXPECT_TRUE(t.empty());
    EXPECT_EQ(-5, t.table_mask);
    EXPECT_EQ(NULL, t.table);
}

TEST(QELHashtableTest, DefaultHashIsTheTruncatedAddress)
{
    QELHashtable t;
    Item a;
    EXPECT_EQ(static_cast<unsigned int>(reinterpret_cast<uintptr_t>(&a)), t.hashObject(I(&a)));
    EXPECT_EQ(static_cast<unsigned int>(reinterpret_cast<uintptr_t>(&a)),
              t.hashKey(reinterpret_cast<const QELContainerKey*>(&a)));
}

TEST(QELHashtableTest, DefaultComparisonIsIdentity)
{
    std::vector<Item> items = MakeItems({1, 1});
    QELHashtable t;
    t.add(I(&items[0]));
    EXPECT_TRUE(t.add(I(&items[1]), true));
    EXPECT_FALSE(t.add(I(&items[0]), true));
    EXPECT_EQ(2, t.size);
    EXPECT_EQ(I(&items[1]), t.findFirst(reinterpret_cast<const QELContainerKey*>(&items[1])));
    Item other(1);
    EXPECT_FALSE(t.contains(I(&other)));
    EXPECT_EQ(NULL, t.findFirst(reinterpret_cast<const QELContainerKey*>(&other)));
}

// ------------------------------------------------------- Chains and search

TEST(QELHashtableTest, LaterItemOfABucketComesFirst)
{
    // Keys 1 and 5 share bucket 1 of a 4-bucket table.
    std::vector<Item> items = MakeItems({1, 5});
    KeyTable t(4);
    t.add(I(&items[0]));
    t.add(I(&items[1]));
    EXPECT_EQ(std::vector<const Item*>({&items[1], &items[0]}), Contents(t));
    EXPECT_TRUE(IsSoundTable(t));
}

TEST(QELHashtableTest, FindFirstFromHeadFindLastFromTail)
{
    // a then b, equal keys, same bucket: findFirst gives b, findLast a.
    std::vector<Item> items = MakeItems({3, 3});
    KeyTable t(4);
    t.add(I(&items[0]));
    t.add(I(&items[1]));
    int k = 3;
    EXPECT_EQ(I(&items[1]), t.findFirst(K(&k)));
    EXPECT_EQ(I(&items[0]), t.findLast(K(&k)));
}

TEST(QELHashtableTest, FindLastNeverSeesTheHeadOfALongerChain)
{
    // a (key 1) then b (key 5) in bucket 1: only b matches key 5, and b is
    // the head of a chain of two, so findLast misses it (deliberate).
    std::vector<Item> items = MakeItems({1, 5});
    KeyTable t(4);
    t.add(I(&items[0]));
    t.add(I(&items[1]));
    int k5 = 5, k1 = 1;
    EXPECT_EQ(I(&items[1]), t.findFirst(K(&k5)));
    EXPECT_EQ(NULL, t.findLast(K(&k5)));
    EXPECT_EQ(I(&items[0]), t.findLast(K(&k1)));
    // Alone in its chain, the head is found.
    Item c(2);
    t.add(I(&c));
    int k2 = 2;
    EXPECT_EQ(I(&c), t.findLast(K(&k2)));
    // Empty bucket and missing key.
    int k3 = 3, k9 = 9;
    EXPECT_EQ(NULL, t.findLast(K(&k3)));
    EXPECT_EQ(NULL, t.findLast(K(&k9)));
    EXPECT_EQ(NULL, t.findFirst(K(&k9)));
}

TEST(QELHashtableTest, SearchesOnEmptyTableGiveNull)
{
    KeyTable t;
    Item a(1);
    int k = 1;
    EXPECT_FALSE(t.contains(I(&a)));
    EXPECT_EQ(NULL, t.findFirst(K(&k)));
    EXPECT_EQ(NULL, t.findLast(K(&k)));
    t.add(I(&a));
    QELHashtable::Iterator it(t);
    t.remove(&it);
    EXPECT_EQ(NULL, t.findFirst(K(&k)));
    EXPECT_EQ(NULL, t.findLast(K(&k)));
    EXPECT_FALSE(t.contains(I(&a)));
}

TEST(QELHashtableTest, UniqueAddRefusesEqualItem)
{
    std::vector<Item> items = MakeItems({7, 7, 11});
    KeyTable t(4);
    EXPECT_TRUE(t.add(I(&items[0]), true));
    EXPECT_FALSE(t.add(I(&items[1]), true));
    EXPECT_EQ(1, t.size);
    // 11 shares bucket 3 with 7 but is not equal.
    EXPECT_TRUE(t.add(I(&items[2]), true));
    EXPECT_TRUE(t.add(I(&items[1]), false));
    EXPECT_EQ(3, t.size);
}

TEST(QELHashtableTest, ContainsIsIdentityAndPlacesIterator)
{
    std::vector<Item> items = MakeItems({4, 4});
    KeyTable t(4);
    t.add(I(&items[0]));
    EXPECT_TRUE(t.contains(I(&items[0])));
    EXPECT_FALSE(t.contains(I(&items[1])));
    QELHashtable::Iterator it;
    EXPECT_TRUE(t.contains(I(&items[0]), &it));
    EXPECT_EQ(&t, it.container);
    EXPECT_EQ(0, it.index);
    EXPECT_EQ(I(&items[0]), it.get());
}

TEST(QELHashtableTest, AddAndFindPlaceTheIterator)
{
    std::vector<Item> items = MakeItems({6, 2});
    KeyTable t(4);
    QELHashtable::Iterator it;
    EXPECT_TRUE(t.add(I(&items[0]), false, &it));
    EXPECT_EQ(&t, it.container);
    EXPECT_EQ(2, it.index);
    EXPECT_EQ(I(&items[0]), it.get());
    t.add(I(&items[1]));
    QELHashtable::Iterator f, l;
    int k = 6;
    EXPECT_EQ(I(&items[0]), t.findFirst(K(&k), &f));
    EXPECT_EQ(I(&items[0]), f.get());
    EXPECT_EQ(I(&items[0]), t.findLast(K(&k), &l));
    EXPECT_EQ(I(&items[0]), l.get());
}

TEST(QELHashtableTest, ItemsAreNeverFreed)
{
    int before = Item::alive;
    {
        std::vector<Item> items = MakeItems({1, 2, 3, 4});
        {
            KeyTable t(2);
            for (Item& it : items)
                t.add(I(&it));
            t.empty();
            for (Item& it : items)
                t.add(I(&it));
            QELHashtable::Iterator it(t);
            t.remove(&it);
        }
        EXPECT_EQ(before + 4, Item::alive);
    }
    EXPECT_EQ(before, Item::alive);
}

// ---------------------------------------------------------------- Removal

TEST(QELHashtableTest, RemovingLastItemLeavesIteratorOnItemBefore)
{
    std::vector<Item> items = MakeItems({0, 1, 2});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    QELHashtable::Iterator it(t, false);
    EXPECT_EQ(I(&items[2]), t.remove(&it));
    EXPECT_EQ(I(&items[1]), it.get());
    EXPECT_EQ(1, it.index);
    EXPECT_EQ(2, t.size);
    EXPECT_TRUE(IsSoundTable(t));
}

TEST(QELHashtableTest, RemovingOnlyItemLeavesIteratorOnNoItem)
{
    KeyTable t(4);
    Item a(1);
    t.add(I(&a));
    QELHashtable::Iterator it(t, true);
    EXPECT_EQ(I(&a), t.remove(&it));
    EXPECT_EQ(-1, it.index);
    EXPECT_EQ(NULL, it.get());
    EXPECT_EQ(0, t.size);
    // The table is not shrunk.
    EXPECT_EQ(4, Buckets(t));
    EXPECT_TRUE(IsSoundTable(t));
    EXPECT_EQ(NULL, t.remove(&it));
}

TEST(QELHashtableTest, RemovingMovesIteratorToNextItem)
{
    // Bucket 1 holds 9, 5, 1 (head first); bucket 2 holds 2.
    std::vector<Item> items = MakeItems({1, 5, 9, 2});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    EXPECT_EQ(std::vector<const Item*>({&items[2], &items[1], &items[0], &items[3]}), Contents(t));
    // Remove the head of bucket 1.
    QELHashtable::Iterator it(t, true);
    EXPECT_EQ(I(&items[2]), t.remove(&it));
    EXPECT_EQ(I(&items[1]), it.get());
    EXPECT_TRUE(IsSoundTable(t));
    // Remove the middle element... now the head: 5, then 1 (tail).
    it.next();
    EXPECT_EQ(I(&items[0]), it.get());
    EXPECT_EQ(I(&items[0]), t.remove(&it));
    EXPECT_EQ(I(&items[3]), it.get());
    EXPECT_TRUE(IsSoundTable(t));
    EXPECT_EQ(std::vector<const Item*>({&items[1], &items[3]}), Contents(t));
    EXPECT_EQ(std::vector<const Item*>({&items[3], &items[1]}), ReverseContents(t));
}

TEST(QELHashtableTest, RemovingMiddleOfChainKeepsLinks)
{
    std::vector<Item> items = MakeItems({0, 4, 8, 12});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    int k = 8;
    QELHashtable::Iterator it;
    t.findFirst(K(&k), &it);
    EXPECT_EQ(I(&items[2]), t.remove(&it));
    EXPECT_EQ(I(&items[1]), it.get());
    EXPECT_TRUE(IsSoundTable(t));
    EXPECT_EQ(std::vector<const Item*>({&items[3], &items[1], &items[0]}), Contents(t));
}

TEST(QELHashtableTest, RemoveThroughForeignNullOrUnplacedIteratorGivesNull)
{
    std::vector<Item> items = MakeItems({1, 2});
    KeyTable a, b;
    a.add(I(&items[0]));
    b.add(I(&items[1]));
    QELHashtable::Iterator it(b, true);
    EXPECT_EQ(NULL, a.remove(&it));
    EXPECT_EQ(NULL, a.remove(NULL));
    QELHashtable::Iterator none;
    EXPECT_EQ(NULL, a.remove(&none));
    QELHashtable::Iterator unplaced(a, true);
    unplaced.index = -1;
    EXPECT_EQ(NULL, a.remove(&unplaced));
    EXPECT_EQ(1, a.size);
    EXPECT_EQ(1, b.size);
}

TEST(QELHashtableTest, RemoveLocatesAStateCode)
{
    std::vector<Item> items = MakeItems({1, 2});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    QELHashtable::Iterator first(t, true);
    EXPECT_EQ(-2, first.index);
    EXPECT_EQ(I(&items[0]), t.remove(&first));
    EXPECT_EQ(I(&items[1]), first.get());
    QELHashtable::Iterator last(t, false);
    EXPECT_EQ(-3, last.index);
    EXPECT_EQ(I(&items[1]), t.remove(&last));
    EXPECT_EQ(-1, last.index);
}

// ------------------------------------------------------ Copies and resize

TEST(QELHashtableTest, CopyKeepsSourceBucketCountAndIgnoresArgument)
{
    std::vector<Item> items = MakeItems({1, 2, 3});
    QELHashtable t;
    for (Item& it : items)
        t.add(I(&it));
    QELHashtable c(t, 16);
    EXPECT_EQ(1024, Buckets(c));
    EXPECT_EQ(3, c.size);
    EXPECT_TRUE(c == t);
    EXPECT_TRUE(IsSoundTable(c));
    // An unallocated source passes on its deferred request.
    QELHashtable u(100);
    QELHashtable cu(u, 7);
    EXPECT_EQ(-100, cu.table_mask);
    EXPECT_EQ(NULL, cu.table);
}

TEST(QELHashtableTest, CopyReversesEachBucket)
{
    std::vector<Item> items = MakeItems({1, 5, 9, 2, 6});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    EXPECT_EQ(std::vector<const Item*>({&items[2], &items[1], &items[0], &items[4], &items[3]}), Contents(t));
    KeyTable c(t);
    EXPECT_EQ(4, Buckets(c));
    EXPECT_EQ(std::vector<const Item*>({&items[0], &items[1], &items[2], &items[3], &items[4]}), Contents(c));
    EXPECT_TRUE(IsSoundTable(c));
}

TEST(QELHashtableTest, AssignmentTakesOtherBucketCountAndItems)
{
    std::vector<Item> items = MakeItems({1, 5, 2});
    KeyTable t(4), a(64);
    for (Item& it : items)
        t.add(I(&it));
    Item extra(3);
    a.add(I(&extra));
    a = t;
    EXPECT_EQ(4, Buckets(a));
    EXPECT_EQ(3, a.size);
    EXPECT_FALSE(a.contains(I(&extra)));
    EXPECT_EQ(std::vector<const Item*>({&items[0], &items[1], &items[2]}), Contents(a));
    EXPECT_TRUE(a == t);
    // Assigning an empty table empties and keeps the own bucket count.
    KeyTable e(8);
    a = e;
    EXPECT_EQ(0, a.size);
    EXPECT_EQ(-4, a.table_mask);
    // Self-assignment keeps the content.
    KeyTable& self = t;
    t = self;
    EXPECT_EQ(3, t.size);
    EXPECT_TRUE(IsSoundTable(t));
}

TEST(QELHashtableTest, EqualityIsSameSizeAndSameItems)
{
    std::vector<Item> items = MakeItems({1, 2, 1});
    KeyTable a, b;
    a.add(I(&items[0]));
    a.add(I(&items[1]));
    b.add(I(&items[1]));
    b.add(I(&items[2]));
    // Equal keys are not enough: the very items must be held.
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    b.add(I(&items[0]));
    EXPECT_FALSE(a == b);
    a.add(I(&items[2]));
    EXPECT_TRUE(a == b);
    KeyTable e1(2), e2(8);
    EXPECT_TRUE(e1 == e2);
}

TEST(QELHashtableTest, ResizeRefusesNonPositiveCounts)
{
    KeyTable t(4);
    Item a(1);
    t.add(I(&a));
    EXPECT_FALSE(t.resize(0));
    EXPECT_FALSE(t.resize(-3));
    EXPECT_EQ(4, Buckets(t));
    EXPECT_EQ(1, t.size);
}

TEST(QELHashtableTest, ResizeRehashesEveryItem)
{
    std::vector<Item> items;
    items.reserve(40);
    for (int i = 0; i < 40; i++)
        items.emplace_back(i);
    KeyTable t(2);
    for (Item& it : items)
        t.add(I(&it));
    EXPECT_TRUE(t.resize(30));
    EXPECT_EQ(32, Buckets(t));
    EXPECT_EQ(40, t.size);
    EXPECT_TRUE(IsSoundTable(t));
    for (Item& it : items)
        EXPECT_TRUE(t.contains(I(&it)));
    // Resizing an unallocated table just records the request.
    KeyTable u(8);
    EXPECT_TRUE(u.resize(100));
    EXPECT_EQ(-100, u.table_mask);
    u.add(I(&items[0]));
    EXPECT_EQ(128, Buckets(u));
}

TEST(QELHashtableTest, ResizeToSameCountReversesEachBucket)
{
    std::vector<Item> items = MakeItems({1, 5, 9});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    t.resize(4);
    EXPECT_EQ(std::vector<const Item*>({&items[0], &items[1], &items[2]}), Contents(t));
}

// --------------------------------------------------------------- Iterator

TEST(QELHashtableIteratorTest, ConstructorSetsStateCodes)
{
    KeyTable t(4);
    QELHashtable::Iterator e1(t, true), e2(t, false);
    EXPECT_EQ(-1, e1.index);
    EXPECT_EQ(-1, e2.index);
    Item a(1);
    t.add(I(&a));
    QELHashtable::Iterator f(t, true), l(t, false);
    EXPECT_EQ(-2, f.index);
    EXPECT_EQ(-3, l.index);
    EXPECT_EQ(I(&a), f.get());
    EXPECT_EQ(1, f.index);
    EXPECT_EQ(I(&a), *l);
    EXPECT_EQ(1, l.index);
}

TEST(QELHashtableIteratorTest, MoveToLocatesStateCodes)
{
    std::vector<Item> items = MakeItems({1, 5, 3});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    QELHashtable::Iterator it(t);
    EXPECT_FALSE(it._moveTo(-1));
    EXPECT_EQ(-1, it.index);
    EXPECT_TRUE(it._moveTo(-2));
    EXPECT_EQ(1, it.index);
    EXPECT_EQ(I(&items[1]), it.get());
    EXPECT_TRUE(it._moveTo(-3));
    EXPECT_EQ(3, it.index);
    EXPECT_EQ(I(&items[2]), it.get());
    // A non-negative index is taken as it stands.
    EXPECT_TRUE(it._moveTo(3));
    KeyTable empty(4);
    QELHashtable::Iterator e(empty);
    EXPECT_FALSE(e._moveTo(-2));
    EXPECT_EQ(-1, e.index);
    EXPECT_FALSE(e._moveTo(-3));
}

TEST(QELHashtableIteratorTest, LastInBucketIsReachedThroughHeadPrevious)
{
    std::vector<Item> items = MakeItems({3, 7, 11});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    QELHashtable::Iterator it(t, false);
    EXPECT_EQ(I(&items[0]), it.get());
    EXPECT_EQ(I(&items[1]), it.previous());
    EXPECT_EQ(I(&items[2]), it.previous());
    EXPECT_EQ(NULL, it.previous());
    EXPECT_EQ(I(&items[2]), it.get());
}

TEST(QELHashtableIteratorTest, NextPastLastReturnsNullAndStays)
{
    std::vector<Item> items = MakeItems({0, 1, 2});
    KeyTable t(8);
    for (Item& it : items)
        t.add(I(&it));
    QELHashtable::Iterator it(t, false);
    EXPECT_EQ(NULL, it.next(1));
    EXPECT_EQ(I(&items[2]), it.get());
    it.moveToFirst();
    EXPECT_EQ(NULL, it.next(7));
    EXPECT_EQ(I(&items[2]), it.get());
    EXPECT_EQ(I(&items[0]), it.previous(2));
    EXPECT_EQ(NULL, it.previous(1));
    EXPECT_EQ(I(&items[0]), it.get());
    EXPECT_EQ(I(&items[2]), it.next(2));
    EXPECT_EQ(I(&items[2]), it.next(0));
    EXPECT_EQ(I(&items[2]), it.previous(-1));
}

TEST(QELHashtableIteratorTest, StepsFromTheWrongStateCodeGiveNull)
{
    std::vector<Item> items = MakeItems({0, 1});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    // next locates only -2 and previous only -3 (deliberate).
    QELHashtable::Iterator last(t, false);
    EXPECT_EQ(NULL, last.next());
    EXPECT_EQ(-3, last.index);
    QELHashtable::Iterator first(t, true);
    EXPECT_EQ(NULL, first.previous());
    EXPECT_EQ(-2, first.index);
    EXPECT_EQ(I(&items[1]), first.next());
    EXPECT_EQ(I(&items[0]), last.previous());
}

TEST(QELHashtableIteratorTest, MoveToFirstOnEmptyTableStandsOnNoItem)
{
    KeyTable t(4);
    Item a(1);
    t.add(I(&a));
    QELHashtable::Iterator it(t);
    it.get();
    t.empty();
    t.add(I(&a));
    QELHashtable::Iterator j(t);
    QELHashtable::Iterator k2(t);
    t.remove(&k2);
    EXPECT_EQ(NULL, j.moveToFirst());
    EXPECT_EQ(-1, j.index);
    EXPECT_EQ(NULL, j.moveToLast());
    EXPECT_EQ(NULL, j.get());
}

TEST(QELHashtableIteratorTest, DetachedIteratorReturnsNullEverywhere)
{
    QELHashtable::Iterator it;
    int k = 0;
    EXPECT_EQ(NULL, it.container);
    EXPECT_EQ(-1, it.index);
    EXPECT_EQ(NULL, it.get());
    EXPECT_EQ(NULL, *it);
    EXPECT_EQ(NULL, it.moveToFirst());
    EXPECT_EQ(NULL, it.moveToLast());
    EXPECT_EQ(NULL, it.next());
    EXPECT_EQ(NULL, it.previous());
    EXPECT_EQ(NULL, it.findFirst(K(&k)));
    EXPECT_EQ(NULL, it.findLast(K(&k)));
    EXPECT_EQ(NULL, it.findNext(K(&k)));
    EXPECT_EQ(NULL, it.findPrevious(K(&k)));
    EXPECT_FALSE(it == it);
}

TEST(QELHashtableIteratorTest, FindNextStaysInTheCurrentBucket)
{
    // Bucket 1: 1' (head), 5, 1 ; bucket 2: 1 cannot be; use key 1 twice.
    std::vector<Item> items = MakeItems({1, 5, 1});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    int k = 1, k5 = 5;
    QELHashtable::Iterator it(t);
    EXPECT_EQ(I(&items[2]), it.findFirst(K(&k)));
    EXPECT_EQ(I(&items[0]), it.findNext(K(&k)));
    EXPECT_EQ(NULL, it.findNext(K(&k)));
    EXPECT_EQ(I(&items[0]), it.get());
    EXPECT_EQ(I(&items[1]), it.findPrevious(K(&k5)));
    EXPECT_EQ(I(&items[2]), it.findPrevious(K(&k)));
    // At the head findPrevious gives null at once.
    EXPECT_EQ(NULL, it.findPrevious(K(&k)));
    EXPECT_EQ(I(&items[2]), it.get());
    // From the tail, findPrevious walks back over a non-matching item.
    QELHashtable::Iterator tail(t);
    tail.findFirst(K(&k));
    EXPECT_EQ(I(&items[0]), tail.findNext(K(&k)));
    EXPECT_EQ(I(&items[2]), tail.findPrevious(K(&k)));
    // An unlocated iterator finds nothing.
    QELHashtable::Iterator fresh(t, true);
    EXPECT_EQ(NULL, fresh.findNext(K(&k)));
    EXPECT_EQ(NULL, fresh.findPrevious(K(&k)));
}

TEST(QELHashtableIteratorTest, IteratorFindLastKeepsTheHeadBlindSpot)
{
    std::vector<Item> items = MakeItems({1, 5});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    int k5 = 5, k1 = 1;
    QELHashtable::Iterator it(t, false);
    EXPECT_EQ(NULL, it.findLast(K(&k5)));
    EXPECT_EQ(-3, it.index);
    EXPECT_EQ(I(&items[0]), it.findLast(K(&k1)));
}

TEST(QELHashtableIteratorTest, IteratorsOnNoItemAreUnequal)
{
    std::vector<Item> items = MakeItems({1, 2});
    KeyTable t(4), empty(4);
    for (Item& it : items)
        t.add(I(&it));
    QELHashtable::Iterator a(empty), b(empty);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    QELHashtable::Iterator f1(t, true), f2(t, true), l(t, false);
    EXPECT_TRUE(f1 == f2);
    EXPECT_FALSE(f1 == l);
    f2.next();
    EXPECT_TRUE(f2 == l);
    QELHashtable::Iterator c;
    c = f1;
    EXPECT_EQ(&t, c.container);
    EXPECT_TRUE(c == f1);
    QELHashtable::Iterator d(l);
    EXPECT_TRUE(d == l);
    QELHashtable::Iterator other(empty);
    EXPECT_FALSE(other == f1);
    QELHashtable::Iterator detached;
    EXPECT_FALSE(f1 == detached);
    // An iterator made on the empty table stays on no item once items arrive.
    QELHashtable::Iterator early(empty);
    Item late{3};
    empty.add(I(&late));
    QELHashtable::Iterator onLate(empty, true);
    EXPECT_EQ(-1, early.index);
    EXPECT_FALSE(onLate == early);
    EXPECT_TRUE(onLate != early);
}

TEST(QELHashtableIteratorTest, MoveToAttachesToAnotherTable)
{
    std::vector<Item> items = MakeItems({1, 2});
    KeyTable t(4), u(4), empty(4);
    t.add(I(&items[0]));
    u.add(I(&items[1]));
    QELHashtable::Iterator it(t);
    EXPECT_EQ(I(&items[1]), it.moveTo(u, true));
    EXPECT_EQ(&u, it.container);
    EXPECT_EQ(I(&items[1]), it.moveTo(u, false));
    EXPECT_EQ(NULL, it.moveTo(empty));
    EXPECT_EQ(-1, it.index);
}

TEST(QELHashtableIteratorTest, NewIteratorIsAHashtableIterator)
{
    std::vector<Item> items = MakeItems({1, 2});
    KeyTable t(4);
    for (Item& it : items)
        t.add(I(&it));
    QELContainer::Iterator* f = t.newIterator();
    QELContainer::Iterator* l = t.newIterator(false);
    EXPECT_NE(nullptr, dynamic_cast<QELHashtable::Iterator*>(f));
    EXPECT_EQ(I(&items[0]), f->get());
    EXPECT_EQ(I(&items[1]), l->get());
    t.deleteIterator(f);
    t.deleteIterator(l);
    t.deleteIterator(NULL);
}

// ------------------------------------------------------ Randomised model

TEST(QELHashtableModelTest, CrowdedBucketsAgainstChainModel)
{
    for (unsigned seed : {1u, 2u, 3u})
        RunAgainstChainModel(seed, 4000, 40, 4);
}

TEST(QELHashtableModelTest, SparseBucketsAgainstChainModel)
{
    for (unsigned seed : {7u, 8u})
        RunAgainstChainModel(seed, 4000, 500, 64);
}

// -------------------------------------------------------- Assertion reports

class QELHashtableDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(QELHashtableDeathTest, ZeroMaskIsReportedByResize)
{
    QELHashtable t;
    t.table_mask = 0;
    EXPECT_DEATH(t.resize(8), Report("virtual QELBoolean QELHashtable::resize(int)", kTableInvariant));
    t.table_mask = -1024;
}

TEST_F(QELHashtableDeathTest, NegativeSizeIsReportedByAdd)
{
    KeyTable t(4);
    Item a(1);
    t.add(I(&a));
    t.size = -1;
    EXPECT_DEATH(t.add(I(&a)),
                 Report("virtual QELBoolean QELHashtable::add(const QELContainerItem*, bool, QELContainer::Iterator*)",
                        kTableInvariant));
    t.size = 1;
}

TEST_F(QELHashtableDeathTest, MissingTableIsReportedByFindFirst)
{
    KeyTable t(4);
    Item a(1);
    t.add(I(&a));
    QELHashtableElement** saved = t.table;
    t.table = NULL;
    int k = 1;
    EXPECT_DEATH(t.findFirst(K(&k)),
                 Report("virtual QELContainerItem* QELHashtable::findFirst(const QELContainerKey*, QELContainer::Iterator*) const",
                        kTableInvariant));
    t.table = saved;
}

TEST_F(QELHashtableDeathTest, SizeWithoutTableIsReportedByEmpty)
{
    QELHashtable t;
    t.size = 2;
    EXPECT_DEATH(t.empty(), Report("virtual QELBoolean QELHashtable::empty()", kTableInvariant));
    t.size = 0;
}

TEST_F(QELHashtableDeathTest, NullItemIsReportedAfterLinking)
{
    QELHashtable t;
    EXPECT_DEATH(t.add(NULL),
                 Report("virtual QELBoolean QELHashtable::add(const QELContainerItem*, bool, QELContainer::Iterator*)",
                        QEL_XSTR(QEL_HASHTABLE_ELEMENT_INVARIANT(this, e))));
}

TEST_F(QELHashtableDeathTest, BadStateCodeIsReportedByIterator)
{
    KeyTable t(4);
    Item a(1);
    t.add(I(&a));
    QELHashtable::Iterator it(t);
    it.index = -7;
    EXPECT_DEATH(it.next(),
                 Report("virtual QELContainerItem* QELHashtable::Iterator::next(int)",
                        QEL_XSTR(QEL_HASHTABLE_ITERATOR_INVARIANT(this))));
    it.index = -1;
}

TEST_F(QELHashtableDeathTest, IndexBeyondMaskIsReportedByRemove)
{
    KeyTable t(4);
    Item a(1);
    t.add(I(&a));
    QELHashtable::Iterator it(t);
    it.get();
    it.index = 9;
    EXPECT_DEATH(t.remove(&it),
                 Report("virtual QELContainerItem* QELHashtable::remove(QELContainer::Iterator*)",
                        QEL_XSTR(QEL_HASHTABLE_ITERATOR_INVARIANT(it))));
    it.index = 1;
}
