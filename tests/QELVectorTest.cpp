// Tests of QELVector, QELOrderedVector, QELConstVector and the vector iterator.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "QELVector.h"
#include "QELDeathTestPatterns.h"
#include "QELVectorModel.h"

namespace {

#define EXPECT_VECTOR_SOUND(v) EXPECT_TRUE(QEL_VECTOR_INVARIANT((&(v))))
#define EXPECT_ITERATOR_SOUND(it) EXPECT_TRUE(QEL_VECTOR_ITERATOR_INVARIANT((&(it))))

std::vector<const QELContainerItem*> contents(const QELVector& v)
{
    std::vector<const QELContainerItem*> out;
    for (int i = 0; i < v.size; ++i)
        out.push_back(v.array[i]);
    return out;
}

std::vector<const QELContainerItem*> items(std::initializer_list<int> ks)
{
    std::vector<const QELContainerItem*> out;
    for (int k : ks)
        out.push_back(I(k));
    return out;
}

template <class V>
void fill(V& v, std::initializer_list<int> ks)
{
    for (int k : ks)
        ASSERT_NE(-1, v.addElement(I(k)));
}

// An item that counts the live objects of its kind.
struct Counted {
    static int alive;
    Counted() { ++alive; }
    ~Counted() { --alive; }
};
int Counted::alive = 0;

// The invariant of a vector, as the assertion report prints it for `this`.
const char* const kVectorInvariant =
    "( ( ((this)->size==0) && ( ((this)->array_size>0) || ( ((this)->array_size<=0) && ((this)->array==__null) ) ) ) "
    "|| ( ((this)->size>0) && ((this)->size<=(this)->array_size) && ((this)->array!=__null) ) )";

// A macro's text with its parameter "(x)" replaced by "(operand)", as the
// preprocessor writes the expansion.
std::string expandParameter(const std::string& text, const std::string& operand)
{
    std::string out;
    for (size_t i = 0; i < text.size(); i++) {
        if (text.compare(i, 3, "(x)") == 0) {
            out += "(" + operand + ")";
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

// The iterator invariant over the iterator expression `operand`, as the
// assertion report prints it.
std::string iteratorInvariant(const std::string& operand)
{
    const std::string vector = expandParameter(
        "( ( ((x)->size==0) && ( ((x)->array_size>0) || ( ((x)->array_size<=0) && ((x)->array==__null) ) ) ) "
        "|| ( ((x)->size>0) && ((x)->size<=(x)->array_size) && ((x)->array!=__null) ) )",
        "static_cast<const QELVector*>((x)->container)");
    return expandParameter("( ((x)->container==__null) || ( " + vector +
                               " && ( ((x)->position==-1) || ( ((x)->position>=0) && "
                               "((x)->position<(x)->container->size) ) ) ) )",
                           operand);
}

std::string report(const std::string& signature, const std::string& expression)
{
    return AssertionReport("QELVector.cpp", signature, expression);
}

} // namespace

// ---------------------------------------------------------------------------
// Construction, capacity and growth
// ---------------------------------------------------------------------------

TEST(QELVectorTest, DefaultConstructionAllocatesNothing)
{
    QELVector v;
    EXPECT_EQ(0, v.size);
    EXPECT_EQ(0, v.array_size);
    EXPECT_EQ(nullptr, v.array);
    EXPECT_VECTOR_SOUND(v);
}

TEST(QELVectorTest, RequestedCapacityIsDeferredFromTwoUp)
{
    struct Case {
        int capacity;
        int arraySize;
    } cases[] = {
        {-7, 0}, // negative: nothing reserved
        {0, 0},  // zero: nothing reserved
        {1, 0},  // one: deliberately nothing reserved
        {2, -2}, // two and more: deferred
        {5, -5},
        {1000, -1000},
    };
    for (const Case& c : cases) {
        QELVector v(c.capacity);
        EXPECT_EQ(c.arraySize, v.array_size) << c.capacity;
        EXPECT_EQ(nullptr, v.array);
        EXPECT_EQ(0, v.size);
        EXPECT_VECTOR_SOUND(v);
    }
}

TEST(QELVectorTest, CapacityOneFirstInsertionAllocatesThreeSlots)
{
    QELVector v(1);
    EXPECT_EQ(0, v.addElement(I(0)));
    EXPECT_EQ(3, v.array_size);
    EXPECT_VECTOR_SOUND(v);
}

TEST(QELVectorTest, DeferredCapacityIsAllocatedExactlyThenGrowsByTheRule)
{
    QELVector v(5);
    EXPECT_EQ(0, v.addElement(I(0)));
    EXPECT_EQ(5, v.array_size);
    for (int k = 1; k < 5; ++k)
        v.addElement(I(k));
    EXPECT_EQ(5, v.array_size);
    v.addElement(I(5));
    EXPECT_EQ(5 + 0 + 3, v.array_size);
    EXPECT_VECTOR_SOUND(v);
}

TEST(QELVectorTest, GrowthSequenceIsAPlusAEighthPlusThree)
{
    const int expected[] = {3, 6, 9, 13, 17, 22, 27, 33, 40, 48, 57, 67, 78};
    QELVector v;
    std::vector<int> seen;
    for (int n = 0; n < 78; ++n) {
        v.addElement(I(n % 64));
        if (seen.empty() || seen.back() != v.array_size)
            seen.push_back(v.array_size);
        EXPECT_VECTOR_SOUND(v);
    }
    EXPECT_EQ(std::vector<int>(std::begin(expected), std::end(expected)), seen);
}

TEST(QELVectorTest, CopyHasExactlyTheSourceSizeAndItsOwnArray)
{
    QELVector v;
    fill(v, {1, 2, 3, 4});
    QELVector c(v);
    EXPECT_EQ(4, c.size);
    EXPECT_EQ(4, c.array_size);
    EXPECT_NE(v.array, c.array);
    EXPECT_EQ(contents(v), contents(c));
    EXPECT_TRUE(c == v);
    EXPECT_VECTOR_SOUND(c);
}

TEST(QELVectorTest, CopyOfEmptyVectorAllocatesNothing)
{
    QELVector v(10);
    QELVector c(v);
    EXPECT_EQ(0, c.size);
    EXPECT_EQ(0, c.array_size);
    EXPECT_EQ(nullptr, c.array);
    EXPECT_VECTOR_SOUND(c);
}

TEST(QELVectorTest, AssignmentReplacesArrayWithExactCopy)
{
    QELVector a, b;
    fill(a, {1, 2, 3, 4, 5, 6, 7});
    fill(b, {9, 8});
    a = b;
    EXPECT_EQ(2, a.size);
    EXPECT_EQ(2, a.array_size);
    EXPECT_EQ(items({9, 8}), contents(a));
    EXPECT_NE(a.array, b.array);
    EXPECT_VECTOR_SOUND(a);

    QELVector empty(8);
    a = empty;
    EXPECT_EQ(0, a.size);
    EXPECT_EQ(0, a.array_size);
    EXPECT_EQ(nullptr, a.array);
    EXPECT_VECTOR_SOUND(a);
}

TEST(QELVectorTest, SelfAssignmentChangesNothing)
{
    QELVector a;
    fill(a, {1, 2, 3});
    const QELContainerItem** before = a.array;
    QELVector& same = a;
    a = same;
    EXPECT_EQ(before, a.array);
    EXPECT_EQ(items({1, 2, 3}), contents(a));
    EXPECT_EQ(3, a.array_size);
}

TEST(QELVectorTest, AssignmentIsVirtual)
{
    QELOrderedVector o;
    fill(o, {4, 5});
    QELVector src;
    fill(src, {7});
    QELVector& base = o;
    base = src;
    EXPECT_EQ(items({7}), contents(o));
}

TEST(QELVectorTest, EqualityComparesPointersInOrder)
{
    struct Case {
        std::initializer_list<int> a, b;
        bool equal;
    } cases[] = {
        {{}, {}, true},
        {{1, 2, 3}, {1, 2, 3}, true},
        {{1, 2, 3}, {3, 2, 1}, false}, // order matters
        {{1, 2}, {1, 2, 3}, false},    // sizes differ
        {{1, 2, 3}, {1, 2}, false},
    };
    for (const Case& c : cases) {
        QELVector a, b;
        fill(a, c.a);
        fill(b, c.b);
        EXPECT_EQ(c.equal, bool(a == b));
        EXPECT_EQ(!c.equal, bool(a != b));
    }
}

TEST(QELVectorTest, EqualityDoesNotUseCompare2Object)
{
    // pool[1] and copy carry the same value but are distinct objects.
    Obj copy = {1};
    ValueVector a, b;
    a.addElement(I(1));
    b.addElement(reinterpret_cast<const QELContainerItem*>(&copy));
    EXPECT_EQ(0, a.compare2Object(a[0], b[0]));
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
}

TEST(QELVectorTest, DestructionAndEmptyNeverFreeItems)
{
    Counted* objs[5];
    for (Counted*& c : objs)
        c = new Counted;
    ASSERT_EQ(5, Counted::alive);
    {
        QELVector v;
        QELOrderedVector o;
        for (Counted* c : objs) {
            v.addElement(reinterpret_cast<const QELContainerItem*>(c));
            o.addElement(reinterpret_cast<const QELContainerItem*>(c));
        }
        v.removeElement(0);
        o.remove(0);
        v.empty();
        EXPECT_EQ(5, Counted::alive);
    }
    EXPECT_EQ(5, Counted::alive);
    for (Counted* c : objs)
        delete c;
    EXPECT_EQ(0, Counted::alive);
}

// ---------------------------------------------------------------------------
// empty, resize, shrink
// ---------------------------------------------------------------------------

TEST(QELVectorTest, EmptyReleasesArrayButKeepsDeferredCapacity)
{
    QELVector deferred(5);
    EXPECT_TRUE(deferred.empty());
    EXPECT_EQ(-5, deferred.array_size);
    EXPECT_VECTOR_SOUND(deferred);

    QELVector v(5);
    fill(v, {1, 2});
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(0, v.size);
    EXPECT_EQ(0, v.array_size);
    EXPECT_EQ(nullptr, v.array);
    EXPECT_VECTOR_SOUND(v);
    // The requested capacity is forgotten: the next insertion allocates 3.
    v.addElement(I(1));
    EXPECT_EQ(3, v.array_size);
}

TEST(QELVectorTest, ResizeTable)
{
    struct Case {
        int capacity;     // constructor argument
        int fillCount;    // items added first
        int n;            // resize argument
        int arraySize;    // array_size afterwards
        const char* note;
    } cases[] = {
        {0, 0, 0, 0, "n <= 0 does nothing"},
        {5, 0, -3, -5, "n <= 0 keeps a deferred capacity"},
        {0, 0, 7, -7, "unallocated: becomes deferred"},
        {0, 0, 1, 0, "unallocated: 1 reserves nothing"},
        {5, 0, 1, 0, "deferred: 1 forgets the capacity"},
        {5, 0, 9, -9, "deferred: replaced"},
        {0, 2, 10, 10, "allocated: exactly n slots"},
        {0, 3, 3, 3, "allocated: down to size"},
        {20, 4, 6, 6, "allocated: shrinks as well"},
    };
    for (const Case& c : cases) {
        QELVector v(c.capacity);
        for (int k = 0; k < c.fillCount; ++k)
            v.addElement(I(k));
        v.resize(c.n);
        EXPECT_EQ(c.arraySize, v.array_size) << c.note;
        EXPECT_EQ(c.fillCount, v.size) << c.note;
        EXPECT_VECTOR_SOUND(v);
        for (int k = 0; k < c.fillCount; ++k)
            EXPECT_EQ(I(k), v[k]) << c.note;
    }
}

TEST(QELVectorTest, ShrinkTable)
{
    QELVector v;
    fill(v, {1, 2, 3, 4});
    EXPECT_EQ(6, v.array_size);
    v.shrink();
    EXPECT_EQ(4, v.array_size);
    EXPECT_EQ(items({1, 2, 3, 4}), contents(v));
    EXPECT_VECTOR_SOUND(v);
    v.shrink(); // already exact
    EXPECT_EQ(4, v.array_size);

    QELVector deferred(8);
    deferred.shrink();
    EXPECT_EQ(-8, deferred.array_size);
    EXPECT_VECTOR_SOUND(deferred);

    QELVector none;
    none.shrink();
    EXPECT_EQ(0, none.array_size);
    EXPECT_EQ(nullptr, none.array);
}

TEST(QELVectorTest, ShrinkWithNoItemsReleasesTheArray)
{
    // An allocated array without items (size 0, array_size > 0) is sound but
    // no operation leaves one behind; build it by hand.
    QELVector w;
    w.addElement(I(1));
    w.array_size = 10;
    w.array = static_cast<const QELContainerItem**>(realloc(w.array, 10 * sizeof(void*)));
    w.size = 0;
    EXPECT_VECTOR_SOUND(w);
    w.shrink();
    EXPECT_EQ(0, w.array_size);
    EXPECT_EQ(nullptr, w.array);
    EXPECT_VECTOR_SOUND(w);
}

// ---------------------------------------------------------------------------
// Container operations
// ---------------------------------------------------------------------------

TEST(QELVectorTest, AddPlacesIteratorOnNewItem)
{
    QELVector v;
    QELVector::Iterator where;
    EXPECT_TRUE(v.add(I(1)));
    EXPECT_TRUE(v.add(I(2), false, &where));
    EXPECT_EQ(static_cast<const QELContainer*>(&v), where.container);
    EXPECT_EQ(1, where.position);
    EXPECT_EQ(I(2), *where);
    EXPECT_ITERATOR_SOUND(where);
}

TEST(QELVectorTest, AddUniqueRefusesEqualItemAndLeavesIteratorAlone)
{
    Obj twin = {3};
    const QELContainerItem* t = reinterpret_cast<const QELContainerItem*>(&twin);
    ValueVector v;
    fill(v, {1, 3, 5});
    QELVector::Iterator where(v, 0);
    EXPECT_FALSE(v.add(t, true, &where));
    EXPECT_EQ(3, v.size);
    EXPECT_EQ(0, where.position);
    EXPECT_EQ(-1, v.addElement(t, true));
    EXPECT_EQ(3, v.size);
    // Without unique the equal item goes in again.
    EXPECT_EQ(3, v.addElement(t, false));
    EXPECT_TRUE(v.add(t));
    EXPECT_EQ(5, v.size);
    EXPECT_VECTOR_SOUND(v);
}

TEST(QELVectorTest, AddUniqueWithDefaultComparisonIsIdentity)
{
    Obj twin = {3};
    QELVector v;
    fill(v, {3});
    EXPECT_EQ(-1, v.addElement(I(3), true));
    EXPECT_EQ(1, v.addElement(reinterpret_cast<const QELContainerItem*>(&twin), true));
}

TEST(QELVectorTest, ContainsIsIdentityWhileFindFirstMatchesKey)
{
    Obj twin = {3};
    const QELContainerItem* t = reinterpret_cast<const QELContainerItem*>(&twin);
    ValueVector v;
    fill(v, {1, 3, 5});
    QELVector::Iterator where;
    EXPECT_FALSE(v.contains(t, &where));
    EXPECT_EQ(nullptr, where.container);
    EXPECT_EQ(-1, v.containsElement(t));
    int key = 3;
    EXPECT_EQ(I(3), v.findFirst(K(&key), &where));
    EXPECT_EQ(1, where.position);
    EXPECT_TRUE(v.contains(I(5), &where));
    EXPECT_EQ(2, where.position);
    EXPECT_EQ(2, v.containsElement(I(5)));
    key = 4;
    EXPECT_EQ(nullptr, v.findFirst(K(&key), &where));
    EXPECT_EQ(2, where.position);
}

TEST(QELVectorTest, FindFirstWithDefaultComparisonFindsThatVeryItem)
{
    Obj twin = {3};
    QELVector v;
    fill(v, {1, 3, 5});
    EXPECT_EQ(I(3), v.findFirst(K(I(3))));
    EXPECT_EQ(nullptr, v.findFirst(K(&twin)));
}

TEST(QELVectorTest, RemoveThroughForeignOrDetachedIteratorChangesNothing)
{
    QELVector a, b;
    fill(a, {1, 2, 3});
    fill(b, {4, 5});
    QELVector::Iterator onB(b, true);
    QELVector::Iterator detached;
    QELVector::Iterator offItem(a, 7);
    EXPECT_EQ(nullptr, a.remove(&onB));
    EXPECT_EQ(nullptr, a.remove(&detached));
    EXPECT_EQ(nullptr, a.remove(&offItem));
    EXPECT_EQ(nullptr, a.remove(nullptr));
    EXPECT_EQ(items({1, 2, 3}), contents(a));
    EXPECT_EQ(items({4, 5}), contents(b));
    EXPECT_EQ(0, onB.position);
}

// An iterator left past the end by removals through the vector itself hands
// out nothing and removes nothing, for both kinds of vector.
TEST(QELVectorTest, IteratorLeftPastTheEndByRemovalsGivesAndRemovesNothing)
{
    QELVector v;
    QELOrderedVector o;
    fill(v, {1, 2, 3});
    fill(o, {1, 2, 3});
    QELVector::Iterator onV(v, false), onO(o, false);
    v.removeElement(0);
    v.removeElement(0);
    o.remove(0);
    o.remove(0);
    ASSERT_EQ(2, onV.position);
    EXPECT_EQ(nullptr, onV.get());
    EXPECT_EQ(nullptr, *onV);
    EXPECT_EQ(nullptr, v.remove(&onV));
    EXPECT_EQ(nullptr, o.remove(&onO));
    EXPECT_EQ(items({2}), contents(v)); // the last item filled each gap
    EXPECT_EQ(items({3}), contents(o));
}

TEST(QELVectorTest, RemoveThroughIteratorFillsGapWithLastItem)
{
    QELVector v;
    fill(v, {1, 2, 3, 4});
    QELVector::Iterator it(v, 1);
    EXPECT_EQ(I(2), v.remove(&it));
    EXPECT_EQ(items({1, 4, 3}), contents(v));
    EXPECT_EQ(1, it.position);
    EXPECT_EQ(I(4), *it);
    it.moveToLast();
    EXPECT_EQ(I(3), v.remove(&it));
    EXPECT_EQ(1, it.position); // moved back to the new last item
    EXPECT_EQ(I(4), it.get());
    EXPECT_ITERATOR_SOUND(it);
}

TEST(QELVectorTest, RemovingOnlyItemReleasesArrayAndDetachesPosition)
{
    QELVector v;
    v.addElement(I(1));
    QELVector::Iterator it(v, true);
    EXPECT_EQ(I(1), v.remove(&it));
    EXPECT_EQ(-1, it.position);
    EXPECT_EQ(0, v.size);
    EXPECT_EQ(0, v.array_size);
    EXPECT_EQ(nullptr, v.array);
    EXPECT_EQ(nullptr, *it);
    EXPECT_ITERATOR_SOUND(it);
    EXPECT_VECTOR_SOUND(v);
}

TEST(QELVectorTest, NewIteratorIsAVectorIteratorAtEitherEnd)
{
    QELVector v;
    fill(v, {1, 2, 3});
    QELContainer::Iterator* first = v.newIterator(true);
    QELContainer::Iterator* last = v.newIterator(false);
    ASSERT_NE(nullptr, dynamic_cast<QELVector::Iterator*>(first));
    EXPECT_EQ(I(1), first->get());
    EXPECT_EQ(I(3), last->get());
    EXPECT_EQ(static_cast<const QELContainer*>(&v), first->getContainer());
    v.deleteIterator(first);
    v.deleteIterator(last);
    v.deleteIterator(nullptr);
}

// ---------------------------------------------------------------------------
// Element operations
// ---------------------------------------------------------------------------

TEST(QELVectorTest, IndexOutOfRangeGivesNull)
{
    QELVector v;
    EXPECT_EQ(nullptr, v[0]);
    fill(v, {1, 2});
    struct Case {
        int index;
        const QELContainerItem* item;
    } cases[] = {{-100, nullptr}, {-1, nullptr}, {0, I(1)}, {1, I(2)}, {2, nullptr}, {1000, nullptr}};
    for (const Case& c : cases)
        EXPECT_EQ(c.item, v[c.index]) << c.index;
}

TEST(QELVectorTest, FindElementTable)
{
    // Values: index 0..6 -> 7 3 7 5 7 3 9 (item objects distinct).
    Obj objs[7] = {{7}, {3}, {7}, {5}, {7}, {3}, {9}};
    ValueVector v;
    for (Obj& o : objs)
        v.addElement(reinterpret_cast<const QELContainerItem*>(&o));
    enum Op { First, Last, Next, Previous };
    struct Case {
        Op op;
        int key;
        int from;
        int expected;
        const char* note;
    } cases[] = {
        {First, 7, 0, 0, "first match"},
        {First, 9, 0, 6, "only at end"},
        {First, 4, 0, -1, "absent"},
        {Last, 7, 0, 4, "last match"},
        {Last, 9, 0, 6, "last item"},
        {Last, 4, 0, -1, "absent"},
        {Next, 7, 0, 2, "strictly above from"},
        {Next, 7, 2, 4, ""},
        {Next, 7, 4, -1, "no later match"},
        {Next, 7, -1, -1, "negative from gives -1 though item 0 matches"},
        {Next, 7, -5, -1, ""},
        {Next, 9, 5, 6, ""},
        {Next, 9, 6, -1, "from the last index"},
        {Next, 9, 7, -1, "from beyond the end"},
        {Next, 9, 100, -1, ""},
        {Previous, 7, 4, 2, "strictly below from"},
        {Previous, 7, 2, 0, ""},
        {Previous, 7, 1, 0, ""},
        {Previous, 7, 0, -1, "from 0"},
        {Previous, 7, -1, -1, "negative from"},
        {Previous, 3, 6, 5, "from the last index"},
        {Previous, 9, 7, -1, "from == size gives -1 though the last item matches"},
        {Previous, 3, 7, -1, ""},
        {Previous, 3, 100, -1, ""},
        {Previous, 5, 3, -1, "the from index itself is not searched"},
    };
    for (const Case& c : cases) {
        int result = -2;
        switch (c.op) {
        case First: result = v.findFirstElement(K(&c.key)); break;
        case Last: result = v.findLastElement(K(&c.key)); break;
        case Next: result = v.findNextElement(K(&c.key), c.from); break;
        case Previous: result = v.findPreviousElement(K(&c.key), c.from); break;
        }
        EXPECT_EQ(c.expected, result) << "op " << c.op << " key " << c.key << " from " << c.from << ": " << c.note;
    }
    EXPECT_VECTOR_SOUND(v);
}

TEST(QELVectorTest, FindElementsOnEmptyVectorGiveMinusOne)
{
    QELVector v;
    EXPECT_EQ(-1, v.findFirstElement(K(I(1))));
    EXPECT_EQ(-1, v.findLastElement(K(I(1))));
    EXPECT_EQ(-1, v.findNextElement(K(I(1)), 0));
    EXPECT_EQ(-1, v.findPreviousElement(K(I(1)), 0));
    EXPECT_EQ(-1, v.containsElement(I(1)));
}

TEST(QELVectorTest, ArrayInterfaceDispatchesToTheSameOperations)
{
    ValueVector v;
    QELArrayInterface& a = v;
    EXPECT_EQ(0, a.addElement(I(4)));
    EXPECT_EQ(1, a.addElement(I(6), true));
    EXPECT_EQ(-1, a.addElement(I(6), true));
    EXPECT_EQ(1, a.containsElement(I(6)));
    EXPECT_EQ(I(6), a[1]);
    int key = 4;
    EXPECT_EQ(0, a.findFirstElement(K(&key)));
    EXPECT_EQ(0, a.findLastElement(K(&key)));
    EXPECT_EQ(-1, a.findNextElement(K(&key), 0));
    EXPECT_EQ(0, a.findPreviousElement(K(&key), 1));
    EXPECT_EQ(I(4), a.removeElement(0));
    EXPECT_EQ(1, a.size);
    EXPECT_EQ(1, static_cast<QELContainer&>(v).size);
}

TEST(QELVectorTest, RemoveElementMovesLastItemIntoGap)
{
    struct Case {
        int index;
        std::initializer_list<int> after;
        const QELContainerItem* removed;
    } cases[] = {
        {1, {1, 4, 3}, I(2)},       // a b c d -> a d c
        {0, {4, 2, 3}, I(1)},
        {3, {1, 2, 3}, I(4)},       // the last: nothing moves
        {-1, {1, 2, 3, 4}, nullptr}, // out of range
        {4, {1, 2, 3, 4}, nullptr},
    };
    for (const Case& c : cases) {
        QELVector v;
        fill(v, {1, 2, 3, 4});
        EXPECT_EQ(c.removed, v.removeElement(c.index)) << c.index;
        EXPECT_EQ(items(c.after), contents(v)) << c.index;
        EXPECT_VECTOR_SOUND(v);
    }
}

TEST(QELVectorTest, RemovalShrinksToThreeQuartersWhenBelow)
{
    QELVector v;
    for (int k = 0; k < 40; ++k)
        v.addElement(I(k));
    ASSERT_EQ(40, v.array_size);
    while (v.size > 30) {
        v.removeElement(0);
        EXPECT_EQ(40, v.array_size) << v.size;
    }
    v.removeElement(0); // 29 < 30
    EXPECT_EQ(30, v.array_size);
    // Next threshold: 30 * 3 / 4 = 22.
    while (v.size > 22) {
        v.removeElement(v.size - 1);
        EXPECT_EQ(30, v.array_size);
    }
    v.removeElement(0);
    EXPECT_EQ(22, v.array_size);
    EXPECT_VECTOR_SOUND(v);
    while (v.size > 1)
        v.removeElement(0);
    EXPECT_GE(v.array_size, 1);
    v.removeElement(0);
    EXPECT_EQ(0, v.array_size);
    EXPECT_EQ(nullptr, v.array);
}

TEST(QELVectorTest, RemovingLastItemForgetsDeferredCapacity)
{
    QELVector v(10);
    v.addElement(I(1));
    EXPECT_EQ(10, v.array_size);
    v.removeElement(0);
    EXPECT_EQ(0, v.array_size);
    v.addElement(I(1));
    EXPECT_EQ(3, v.array_size);
}

// ---------------------------------------------------------------------------
// Iterator
// ---------------------------------------------------------------------------

TEST(QELVectorIteratorTest, DefaultIteratorMovesNowhere)
{
    QELVector::Iterator it;
    int key = 1;
    EXPECT_EQ(nullptr, it.container);
    EXPECT_EQ(nullptr, it.getContainer());
    EXPECT_EQ(nullptr, *it);
    EXPECT_EQ(nullptr, it.get());
    EXPECT_EQ(nullptr, it.moveToFirst());
    EXPECT_EQ(nullptr, it.moveToLast());
    EXPECT_EQ(nullptr, it.next());
    EXPECT_EQ(nullptr, it.previous());
    EXPECT_EQ(nullptr, it.findFirst(K(&key)));
    EXPECT_EQ(nullptr, it.findLast(K(&key)));
    EXPECT_EQ(nullptr, it.findNext(K(&key)));
    EXPECT_EQ(nullptr, it.findPrevious(K(&key)));
    EXPECT_EQ(nullptr, it.moveTo(0));
    EXPECT_ITERATOR_SOUND(it);
}

TEST(QELVectorIteratorTest, ConstructionPlacesPosition)
{
    QELVector empty, v;
    fill(v, {1, 2, 3});
    struct Case {
        const QELVector* vec;
        bool byIndex;
        bool first;
        int pos;
        int expected;
    } cases[] = {
        {&empty, false, true, 0, -1},
        {&empty, false, false, 0, -1},
        {&v, false, true, 0, 0},
        {&v, false, false, 0, 2},
        {&v, true, false, 1, 1},
        {&v, true, false, 2, 2},
        {&v, true, false, 3, -1},
        {&v, true, false, -1, -1},
        {&v, true, false, -9, -1},
        {&empty, true, false, 0, -1},
    };
    for (const Case& c : cases) {
        QELVector::Iterator it = c.byIndex ? QELVector::Iterator(*c.vec, c.pos) : QELVector::Iterator(*c.vec, c.first);
        EXPECT_EQ(c.expected, it.getPosition());
        EXPECT_EQ(static_cast<const QELContainer*>(c.vec), it.container);
        EXPECT_ITERATOR_SOUND(it);
    }
}

TEST(QELVectorIteratorTest, StepTable)
{
    // Items 10..14 at positions 0..4.
    QELVector v;
    fill(v, {10, 11, 12, 13, 14});
    enum Dir { Next, Previous };
    struct Case {
        int start;
        Dir dir;
        int count;
        int position;
        const QELContainerItem* result;
        const char* note;
    } cases[] = {
        {0, Next, 1, 1, I(11), "one step"},
        {0, Next, 4, 4, I(14), "to the last"},
        {0, Next, 2, 2, I(12), ""},
        {4, Next, 1, 4, nullptr, "past the end: clamped on the last item"},
        {2, Next, 100, 4, nullptr, "far past the end"},
        {2, Next, 0x7fffffff, 4, nullptr, "no overflow"},
        {2, Next, -1, 1, I(11), "negative count steps back"},
        {1, Next, -3, 0, nullptr, "before the start: clamped on item 0"},
        {0, Previous, 1, 0, nullptr, "before the start: stays on index 0"},
        {4, Previous, 1, 3, I(13), ""},
        {4, Previous, 4, 0, I(10), ""},
        {4, Previous, 5, 0, nullptr, ""},
        {1, Previous, -2, 3, I(13), "negative count steps forward"},
        {1, Previous, -9, 4, nullptr, ""},
        {2, Previous, -0x7fffffff - 1, 4, nullptr, "no overflow"},
        {-1, Next, 1, 0, I(10), "from no item, next(1) reaches item 0"},
        {-1, Next, 5, 4, I(14), ""},
        {-1, Next, 6, 4, nullptr, ""},
        {-1, Previous, 1, 0, nullptr, "from no item, previous clamps on item 0"},
        {3, Next, 0, 3, I(13), "zero count"},
    };
    for (const Case& c : cases) {
        QELVector::Iterator it(v, c.start);
        const QELContainerItem* r = c.dir == Next ? it.next(c.count) : it.previous(c.count);
        EXPECT_EQ(c.result, r) << c.start << " " << c.dir << " " << c.count << ": " << c.note;
        EXPECT_EQ(c.position, it.position) << c.start << " " << c.dir << " " << c.count << ": " << c.note;
        EXPECT_ITERATOR_SOUND(it);
    }
}

TEST(QELVectorIteratorTest, StepOnEmptyVectorReturnsNullWithoutMoving)
{
    QELVector v;
    QELVector::Iterator it(v, true);
    EXPECT_EQ(nullptr, it.next(1));
    EXPECT_EQ(nullptr, it.previous(1));
    EXPECT_EQ(nullptr, it.moveToFirst());
    EXPECT_EQ(nullptr, it.moveToLast());
    EXPECT_EQ(-1, it.position);
}

TEST(QELVectorIteratorTest, MoveToFirstAndLast)
{
    QELVector v;
    fill(v, {1, 2, 3});
    QELVector::Iterator it(v, 1);
    EXPECT_EQ(I(1), it.moveToFirst());
    EXPECT_EQ(0, it.position);
    EXPECT_EQ(I(3), it.moveToLast());
    EXPECT_EQ(2, it.position);
}

TEST(QELVectorIteratorTest, MoveToVectorAndIndex)
{
    QELVector a, b, empty;
    fill(a, {1, 2, 3});
    fill(b, {4, 5});
    QELVector::Iterator it(a, 2);
    EXPECT_EQ(I(4), it.moveTo(b, true));
    EXPECT_EQ(static_cast<const QELContainer*>(&b), it.container);
    EXPECT_EQ(0, it.position);
    EXPECT_EQ(I(5), it.moveTo(b, false));
    EXPECT_EQ(1, it.position);
    EXPECT_EQ(nullptr, it.moveTo(empty, true));
    EXPECT_EQ(static_cast<const QELContainer*>(&empty), it.container);
    EXPECT_EQ(-1, it.position);
    EXPECT_EQ(nullptr, it.moveTo(0));
    EXPECT_EQ(-1, it.position);

    EXPECT_EQ(I(1), it.moveTo(a, true));
    EXPECT_EQ(I(3), it.moveTo(2));
    EXPECT_EQ(nullptr, it.moveTo(3));
    EXPECT_EQ(2, it.position);
    EXPECT_EQ(nullptr, it.moveTo(-1));
    EXPECT_EQ(2, it.position);
    EXPECT_EQ(I(2), it.moveTo(1));
    EXPECT_ITERATOR_SOUND(it);
}

TEST(QELVectorIteratorTest, FindMovesToMatchesOrStays)
{
    // Values 7 3 7 5 7 at positions 0..4.
    Obj objs[5] = {{7}, {3}, {7}, {5}, {7}};
    ValueVector v;
    for (Obj& o : objs)
        v.addElement(reinterpret_cast<const QELContainerItem*>(&o));
    auto item = [&](int i) { return reinterpret_cast<const QELContainerItem*>(&objs[i]); };
    int seven = 7, five = 5, absent = 1;
    QELVector::Iterator it(v, 1);
    EXPECT_EQ(item(0), it.findFirst(K(&seven)));
    EXPECT_EQ(0, it.position);
    EXPECT_EQ(item(2), it.findNext(K(&seven)));
    EXPECT_EQ(item(4), it.findNext(K(&seven)));
    EXPECT_EQ(nullptr, it.findNext(K(&seven)));
    EXPECT_EQ(4, it.position);
    EXPECT_EQ(item(2), it.findPrevious(K(&seven)));
    EXPECT_EQ(item(0), it.findPrevious(K(&seven)));
    EXPECT_EQ(nullptr, it.findPrevious(K(&seven)));
    EXPECT_EQ(0, it.position);
    EXPECT_EQ(item(4), it.findLast(K(&seven)));
    EXPECT_EQ(item(3), it.findPrevious(K(&five)));
    EXPECT_EQ(nullptr, it.findFirst(K(&absent)));
    EXPECT_EQ(nullptr, it.findLast(K(&absent)));
    EXPECT_EQ(3, it.position);
    EXPECT_ITERATOR_SOUND(it);
}

TEST(QELVectorIteratorTest, FindNextFromNoItemFindsNothing)
{
    QELVector v;
    fill(v, {1, 2});
    QELVector::Iterator it(v, 5); // position -1
    EXPECT_EQ(nullptr, it.findNext(K(I(1))));
    EXPECT_EQ(nullptr, it.findPrevious(K(I(1))));
    EXPECT_EQ(-1, it.position);
}

TEST(QELVectorIteratorTest, EqualityAndAssignment)
{
    QELVector a, b;
    fill(a, {1, 2});
    fill(b, {1, 2});
    QELVector::Iterator x(a, 0), y(a, 0), z(a, 1), w(b, 0), d1, d2;
    EXPECT_TRUE(x == y);
    EXPECT_FALSE(x != y);
    EXPECT_FALSE(x == z);
    EXPECT_TRUE(x != w); // other vector, same position
    EXPECT_TRUE(d1 == d2);
    QELVector::Iterator& r = (z = w);
    EXPECT_EQ(&z, &r);
    EXPECT_TRUE(z == w);
    QELVector::Iterator copy(z);
    EXPECT_TRUE(copy == w);
    EXPECT_ITERATOR_SOUND(copy);
}

TEST(QELVectorIteratorTest, WalksEveryItemInOrderBothWays)
{
    QELVector v;
    for (int k = 0; k < 20; ++k)
        v.addElement(I(k));
    QELVector::Iterator it(v, true);
    std::vector<const QELContainerItem*> seen;
    for (QELContainerItem* p = it.get(); p != nullptr; p = it.next())
        seen.push_back(p);
    EXPECT_EQ(contents(v), seen);
    seen.clear();
    for (QELContainerItem* p = it.moveToLast(); p != nullptr; p = it.previous())
        seen.push_back(p);
    std::reverse(seen.begin(), seen.end());
    EXPECT_EQ(contents(v), seen);
}

// ---------------------------------------------------------------------------
// QELOrderedVector
// ---------------------------------------------------------------------------

TEST(QELOrderedVectorTest, ConstructorsBehaveAsVector)
{
    QELOrderedVector a, b(1), c(6);
    EXPECT_EQ(0, a.array_size);
    EXPECT_EQ(0, b.array_size);
    EXPECT_EQ(-6, c.array_size);
    QELOrderedVector emptyCopy(c); // an empty source: nothing allocated
    EXPECT_EQ(0, emptyCopy.size);
    EXPECT_EQ(0, emptyCopy.array_size);
    EXPECT_EQ(nullptr, emptyCopy.array);
    fill(a, {1, 2, 3});
    QELOrderedVector d(a);
    EXPECT_EQ(3, d.array_size);
    EXPECT_EQ(items({1, 2, 3}), contents(d));
    c = a;
    EXPECT_EQ(items({1, 2, 3}), contents(c));
    EXPECT_EQ(3, c.array_size);
}

TEST(QELOrderedVectorTest, RemoveIndexKeepsOrder)
{
    struct Case {
        int index;
        std::initializer_list<int> after;
        const QELContainerItem* removed;
    } cases[] = {
        {1, {1, 3, 4}, I(2)}, // a b c d -> a c d
        {0, {2, 3, 4}, I(1)},
        {3, {1, 2, 3}, I(4)},
        {-1, {1, 2, 3, 4}, nullptr},
        {4, {1, 2, 3, 4}, nullptr},
    };
    for (const Case& c : cases) {
        QELOrderedVector v;
        fill(v, {1, 2, 3, 4});
        EXPECT_EQ(c.removed, v.remove(c.index)) << c.index;
        EXPECT_EQ(items(c.after), contents(v)) << c.index;
        EXPECT_VECTOR_SOUND(v);
    }
}

TEST(QELOrderedVectorTest, RemoveElementIsNotOverridden)
{
    QELOrderedVector v;
    fill(v, {1, 2, 3, 4});
    EXPECT_EQ(I(2), v.removeElement(1));
    EXPECT_EQ(items({1, 4, 3}), contents(v));
}

TEST(QELOrderedVectorTest, RemoveIndexAppliesShrinkRuleAndReleasesWhenEmpty)
{
    QELOrderedVector v;
    for (int k = 0; k < 40; ++k)
        v.addElement(I(k));
    while (v.size > 30)
        v.remove(0);
    EXPECT_EQ(40, v.array_size);
    v.remove(0);
    EXPECT_EQ(30, v.array_size);
    for (int i = 0; i < v.size; ++i)
        EXPECT_EQ(I(11 + i), v[i]);
    while (v.size > 0)
        v.remove(v.size - 1);
    EXPECT_EQ(0, v.array_size);
    EXPECT_EQ(nullptr, v.array);
    EXPECT_EQ(nullptr, v.remove(0));
}

TEST(QELOrderedVectorTest, InsertElementTable)
{
    struct Case {
        std::initializer_list<int> before;
        int pos;
        bool ok;
        std::initializer_list<int> after;
        const char* note;
    } cases[] = {
        {{}, 0, false, {}, "never into an empty vector"},
        {{1, 2, 3}, 3, false, {1, 2, 3}, "never at the end"},
        {{1, 2, 3}, 4, false, {1, 2, 3}, ""},
        {{1, 2, 3}, -1, false, {1, 2, 3}, ""},
        {{1, 2, 3}, 0, true, {9, 1, 2, 3}, "in front"},
        {{1, 2, 3}, 1, true, {1, 9, 2, 3}, ""},
        {{1, 2, 3}, 2, true, {1, 2, 9, 3}, "before the last"},
        {{1}, 0, true, {9, 1}, ""},
    };
    for (const Case& c : cases) {
        QELOrderedVector v;
        fill(v, c.before);
        EXPECT_EQ(c.ok, bool(v.insertElement(I(9), c.pos))) << c.note;
        EXPECT_EQ(items(c.after), contents(v)) << c.note;
        EXPECT_VECTOR_SOUND(v);
    }
}

TEST(QELOrderedVectorTest, InsertElementGrowsLikeAddElement)
{
    QELOrderedVector v;
    fill(v, {1, 2, 3});
    EXPECT_EQ(3, v.array_size);
    EXPECT_TRUE(v.insertElement(I(1), 0)); // no uniqueness test
    EXPECT_EQ(6, v.array_size);
    EXPECT_EQ(items({1, 1, 2, 3}), contents(v));

    QELOrderedVector d(4);
    d.addElement(I(1));
    EXPECT_EQ(4, d.array_size);
}

TEST(QELOrderedVectorTest, RemoveThroughIteratorKeepsOrderAndStandsOnFollower)
{
    QELOrderedVector v;
    fill(v, {1, 2, 3, 4});
    QELVector::Iterator it(v, 1);
    EXPECT_EQ(I(2), v.remove(&it));
    EXPECT_EQ(items({1, 3, 4}), contents(v));
    EXPECT_EQ(1, it.position);
    EXPECT_EQ(I(3), *it);
    it.moveToLast();
    EXPECT_EQ(I(4), v.remove(&it));
    EXPECT_EQ(1, it.position);
    EXPECT_EQ(I(3), *it);
    QELContainer& c = v;
    EXPECT_EQ(I(3), c.remove(&it)); // through the virtual table
    EXPECT_EQ(0, it.position);
    EXPECT_EQ(I(1), c.remove(&it));
    EXPECT_EQ(-1, it.position);
    EXPECT_EQ(nullptr, v.array);
    EXPECT_EQ(nullptr, c.remove(&it));
}

TEST(QELOrderedVectorTest, RemoveThroughForeignIteratorChangesNothing)
{
    QELOrderedVector a, b;
    fill(a, {1, 2});
    fill(b, {1, 2});
    QELVector::Iterator it(b, 0);
    EXPECT_EQ(nullptr, a.remove(&it));
    EXPECT_EQ(items({1, 2}), contents(a));
    EXPECT_EQ(items({1, 2}), contents(b));
    EXPECT_EQ(nullptr, a.remove(static_cast<QELContainer::Iterator*>(nullptr)));
}

// ---------------------------------------------------------------------------
// QELConstVector
// ---------------------------------------------------------------------------

TEST(QELConstVectorTest, UsesCallersArrayInPlace)
{
    const QELContainerItem* arr[3] = {I(1), I(2), I(3)};
    QELConstVector v(arr, 3);
    EXPECT_EQ(arr, v.array);
    EXPECT_EQ(3, v.size);
    EXPECT_EQ(3, v.array_size);
    EXPECT_VECTOR_SOUND(v);
}

TEST(QELConstVectorTest, MutationsDoNothing)
{
    const QELContainerItem* arr[3] = {I(1), I(2), I(3)};
    QELConstVector v(arr, 3);
    QELVector::Iterator it(v, 1);
    QELContainer& c = v;
    QELArrayInterface& a = v;
    EXPECT_FALSE(c.empty());
    EXPECT_FALSE(c.add(I(4)));
    EXPECT_FALSE(c.add(I(4), false, &it));
    EXPECT_EQ(nullptr, c.remove(&it));
    EXPECT_EQ(-1, a.addElement(I(4)));
    EXPECT_EQ(nullptr, a.removeElement(0));
    EXPECT_EQ(3, v.size);
    EXPECT_EQ(arr, v.array);
    EXPECT_EQ(1, it.position);
    EXPECT_EQ(I(1), arr[0]);
    EXPECT_EQ(I(2), arr[1]);
    EXPECT_EQ(I(3), arr[2]);
}

TEST(QELConstVectorTest, SearchesAndIterationWork)
{
    const QELContainerItem* arr[4] = {I(1), I(2), I(3), I(2)};
    QELConstVector v(arr, 4);
    QELVector::Iterator where;
    EXPECT_TRUE(v.contains(I(3), &where));
    EXPECT_EQ(2, where.position);
    EXPECT_EQ(1, v.findFirstElement(K(I(2))));
    EXPECT_EQ(3, v.findLastElement(K(I(2))));
    EXPECT_EQ(I(2), v.findFirst(K(I(2))));
    EXPECT_EQ(I(4 - 1), v[2]);
    QELVector::Iterator it(v, true);
    EXPECT_EQ(I(2), it.next());
    EXPECT_EQ(I(2), it.findNext(K(I(2))));
    EXPECT_EQ(3, it.position);
    QELVector copy(v);
    EXPECT_TRUE(copy == v);
    EXPECT_NE(copy.array, v.array);
}

TEST(QELConstVectorTest, DestructionLeavesCallersArrayAndItemsUntouched)
{
    Counted c1, c2;
    const QELContainerItem** arr = static_cast<const QELContainerItem**>(malloc(2 * sizeof(void*)));
    arr[0] = reinterpret_cast<const QELContainerItem*>(&c1);
    arr[1] = reinterpret_cast<const QELContainerItem*>(&c2);
    {
        QELConstVector v(arr, 2);
        QELConstVector copy(v);
        EXPECT_EQ(arr, copy.array);
    }
    // Still ours: readable, and freed here exactly once.
    EXPECT_EQ(reinterpret_cast<const QELContainerItem*>(&c1), arr[0]);
    EXPECT_EQ(reinterpret_cast<const QELContainerItem*>(&c2), arr[1]);
    EXPECT_EQ(2, Counted::alive);
    free(arr);
}

TEST(QELConstVectorTest, AssignmentThroughBaseChangesNothing)
{
    const QELContainerItem* arr[2] = {I(1), I(2)};
    QELConstVector v(arr, 2);
    QELVector other;
    fill(other, {5, 6, 7});
    QELVector& base = v;
    base = other;
    EXPECT_EQ(arr, v.array);
    EXPECT_EQ(2, v.size);
    EXPECT_EQ(I(1), arr[0]);
}

TEST(QELConstVectorTest, EmptyCallerArrayWithoutPointerIsSound)
{
    QELConstVector v(nullptr, 0);
    EXPECT_EQ(0, v.size);
    EXPECT_VECTOR_SOUND(v);
    QELVector::Iterator it(v, true);
    EXPECT_EQ(nullptr, it.get());
}

// ---------------------------------------------------------------------------
// Differential tests against std::vector
// ---------------------------------------------------------------------------

TEST(QELVectorTest, DifferentialAgainstStdVector)
{
    for (unsigned seed : {1u, 2u, 3u, 42u, 4242u})
        differential<ValueVector>(seed, false, 4000);
}

TEST(QELOrderedVectorTest, DifferentialAgainstStdVector)
{
    for (unsigned seed : {7u, 8u, 9u, 77u, 7777u})
        differential<ValueOrderedVector>(seed, true, 4000);
}

// ---------------------------------------------------------------------------
// Assertion reports
// ---------------------------------------------------------------------------

TEST(QELVectorDeathTest, CorruptVectorReportsAddElement)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QELVector v;
            v.size = 2; // items without an array
            v.addElement(I(1));
        },
        report("virtual int QELVector::addElement(const QELContainerItem*, bool)", kVectorInvariant));
}

TEST(QELVectorDeathTest, CorruptOrderedVectorReportsInsertElement)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QELOrderedVector v;
            v.size = 1;
            v.insertElement(I(1), 0);
        },
        report("virtual QELBoolean QELOrderedVector::insertElement(const QELContainerItem*, int)", kVectorInvariant));
}

TEST(QELVectorDeathTest, ResizeBelowSizeFailsExitCheck)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            QELVector v;
            fill(v, {1, 2, 3});
            v.resize(2);
        },
        report("void QELVector::resize(int)", kVectorInvariant));
}

TEST(QELVectorDeathTest, ConstVectorOfNoItemsWithArrayFailsConstructor)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const QELContainerItem* arr[1] = {I(1)};
    EXPECT_DEATH({ QELConstVector v(arr, 0); },
                 report("QELConstVector::QELConstVector(const QELContainerItem**, int)", kVectorInvariant));
}

TEST(QELVectorDeathTest, ReportsNameEachOperation)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct Case {
        const char* signature;
        void (*call)(QELOrderedVector& v);
    } cases[] = {
        {"virtual QELBoolean QELVector::empty()", [](QELOrderedVector& v) { v.QELVector::empty(); }},
        {"virtual QELBoolean QELVector::add(const QELContainerItem*, bool, QELContainer::Iterator*)",
         [](QELOrderedVector& v) { v.add(I(1)); }},
        {"virtual QELBoolean QELVector::contains(const QELContainerItem*, QELContainer::Iterator*) const",
         [](QELOrderedVector& v) { v.contains(I(1)); }},
        {"virtual QELContainerItem* QELVector::findFirst(const QELContainerKey*, QELContainer::Iterator*) const",
         [](QELOrderedVector& v) { v.findFirst(K(I(1))); }},
        {"virtual QELContainerItem* QELVector::remove(QELContainer::Iterator*)",
         [](QELOrderedVector& v) { QELVector::Iterator it; v.QELVector::remove(&it); }},
        {"virtual QELContainerItem* QELOrderedVector::remove(QELContainer::Iterator*)",
         [](QELOrderedVector& v) { QELVector::Iterator it; v.remove(&it); }},
        {"QELContainerItem* QELOrderedVector::remove(int)", [](QELOrderedVector& v) { v.remove(0); }},
        {"virtual int QELVector::containsElement(const QELContainerItem*) const",
         [](QELOrderedVector& v) { v.containsElement(I(1)); }},
        {"virtual QELContainerItem* QELVector::operator[](int) const", [](QELOrderedVector& v) { v[0]; }},
        {"virtual int QELVector::findFirstElement(const QELContainerKey*) const",
         [](QELOrderedVector& v) { v.findFirstElement(K(I(1))); }},
        {"virtual int QELVector::findLastElement(const QELContainerKey*) const",
         [](QELOrderedVector& v) { v.findLastElement(K(I(1))); }},
        {"virtual int QELVector::findNextElement(const QELContainerKey*, int) const",
         [](QELOrderedVector& v) { v.findNextElement(K(I(1)), 0); }},
        {"virtual int QELVector::findPreviousElement(const QELContainerKey*, int) const",
         [](QELOrderedVector& v) { v.findPreviousElement(K(I(1)), 1); }},
        {"virtual QELContainerItem* QELVector::removeElement(int)", [](QELOrderedVector& v) { v.removeElement(0); }},
        {"void QELVector::shrink()", [](QELOrderedVector& v) { v.shrink(); }},
        {"virtual QELVector& QELVector::operator=(const QELVector&)",
         [](QELOrderedVector& v) { QELVector w; static_cast<QELVector&>(v) = w; }},
        {"virtual QELBoolean QELVector::operator==(const QELVector&) const",
         [](QELOrderedVector& v) { QELVector w; (void)(v == w); }},
    };
    for (const Case& c : cases) {
        EXPECT_DEATH(
            {
                QELOrderedVector v;
                v.size = 3; // three items, no array
                c.call(v);
            },
            report(c.signature, kVectorInvariant))
            << c.signature;
    }
}

TEST(QELVectorDeathTest, IteratorOffItsVectorReportsTheMovement)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string thisInvariant = iteratorInvariant("this");
    EXPECT_DEATH(
        {
            QELVector v;
            fill(v, {1, 2});
            QELVector::Iterator it(v, true);
            it.position = 5;
            it.next(1);
        },
        report("virtual QELContainerItem* QELVector::Iterator::next(int)", thisInvariant));
    EXPECT_DEATH(
        {
            QELVector v;
            v.size = 2; // items without an array
            QELVector::Iterator it(v, true);
        },
        report("QELVector::Iterator::Iterator(const QELVector&, bool)", thisInvariant));
    EXPECT_DEATH(
        {
            QELVector v;
            fill(v, {1, 2});
            QELVector::Iterator it(v, true);
            it.position = -3;
            it.moveToFirst();
        },
        report("virtual QELContainerItem* QELVector::Iterator::moveToFirst()", thisInvariant));
    EXPECT_DEATH(
        {
            QELVector v;
            fill(v, {1, 2});
            QELVector::Iterator it(v, true);
            it.position = 2;
            QELVector::Iterator other;
            other = it;
        },
        report("virtual QELVector::Iterator& QELVector::Iterator::operator=(const QELVector::Iterator&)",
               iteratorInvariant("(&other)")));
}
