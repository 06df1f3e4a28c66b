// Tests of QELBlob: construction, assignment, appends, the temporary
// protocol, concatenation, hashing, the deliberate oddities, assertion
// reports, and a randomised differential test against std::vector<char>.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "QELBlob.h"
#include "QELString.h"
#include "QELDeathTestPatterns.h"
#include "QELBlobModel.h"

// --- Construction ---

TEST(QELBlobTest, FieldsAreInDocumentedOrderAndWidth)
{
    static_assert(std::is_same<decltype(QELGBlob::p), char*>::value, "");
    static_assert(std::is_same<decltype(QELGBlob::size), unsigned int>::value, "");
    static_assert(std::is_same<decltype(QELGBlob::isWrap), bool>::value, "");
    static_assert(sizeof(QELBlob) == sizeof(QELGBlob) && sizeof(QELTBlob) == sizeof(QELGBlob),
                  "the derived blobs add no fields");
    EXPECT_EQ(sizeof(QELGBlob::size), 4u);
    EXPECT_LT(offsetof(QELGBlob, p), offsetof(QELGBlob, size));
    EXPECT_LT(offsetof(QELGBlob, size), offsetof(QELGBlob, isWrap));
}

TEST(QELBlobTest, ConstructorsFromNothingGiveTheCanonicalEmptyBlob)
{
    QELBlob a;
    QELBlob b(0u);
    QELBlob c(static_cast<const char*>(NULL));
    QELBlob d("");
    QELBlob e('x', 0);
    QELBlob f("abc", 0);
    QELBlob g(a, 0);
    const QELGBlob* all[] = { &a, &b, &c, &d, &e, &f, &g };
    for (const QELGBlob* x : all) {
        EXPECT_TRUE(isCanonicalEmpty(*x));
        EXPECT_TRUE(valid(*x));
    }
}

TEST(QELBlobTest, ConstructorsCopyTheirBytesIntoOwnedBlocks)
{
    const char data[] = { 'a', '\0', 'b' };
    struct Case { QELBlob blob; std::string want; } cases[] = {
        { QELBlob("abcdef"), "abcdef" },          // strlen bytes, no terminator
        { QELBlob(data, 3), std::string(data, 3) }, // embedded NUL kept
        { QELBlob('z', 4), "zzzz" },
        { QELBlob(QELBlob("abc"), 2), "ab" },       // prefix of another blob
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(valid(c.blob));
        EXPECT_FALSE(c.blob.isWrap);
        EXPECT_EQ(bytes(c.blob), c.want);
    }
    QELBlob sized(5u);
    EXPECT_EQ(sized.size, 5u);
    EXPECT_FALSE(sized.isWrap);
    EXPECT_NE(sized.p, nullptr);
    QELBlob uninit(static_cast<const char*>(NULL), 3);
    EXPECT_EQ(uninit.size, 3u);
    EXPECT_FALSE(uninit.isWrap);
}

TEST(QELBlobTest, PrefixConstructorKeepsTheRequestedSize)
{
    QELBlob src("abc");
    QELBlob b(src, 6);
    EXPECT_EQ(b.size, 6u);
    EXPECT_EQ(std::string(b.p, 3), "abc");
    EXPECT_TRUE(valid(b));
}

TEST(QELBlobTest, CopyOfAWrappedBlobOwnsItsBytes)
{
    char buf[] = "hello";
    QELBlob w;
    w.wrap(buf, 5);
    QELBlob c(w);
    EXPECT_FALSE(c.isWrap);
    EXPECT_NE(c.p, buf);
    EXPECT_EQ(bytes(c), "hello");
    c.p[0] = 'J';
    EXPECT_STREQ(buf, "hello");
}

// --- Edge cases of mid, left and right ---

TEST(QELBlobTest, MidLeftRightTable)
{
    QELBlob b("abcdef");
    struct Case { const char* what; QELTBlob r; unsigned int size; std::string prefix; } cases[] = {
        { "mid(4,5) keeps size 5", b.mid(4, 5), 5, "ef" },
        { "mid(1,3)", b.mid(1, 3), 3, "bcd" },
        { "mid(0,6)", b.mid(0, 6), 6, "abcdef" },
        { "mid(2) tail", b.mid(2), 4, "cdef" },
        { "mid(5) tail", b.mid(5), 1, "f" },
        { "right(2)", b.right(2), 2, "ef" },
        { "right(10) keeps size 10", b.right(10), 10, "abcdef" },
        { "left(10) keeps size 10", b.left(10), 10, "abcdef" },
        { "left(3)", b.left(3), 3, "abc" },
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_TRUE(valid(c.r));
        EXPECT_FALSE(c.r.isWrap);
        EXPECT_EQ(c.r.size, c.size);
        EXPECT_EQ(std::string(c.r.p, c.prefix.size()), c.prefix);
    }
}

TEST(QELBlobTest, OutOfRangeSubBlobsAreCanonicalEmpty)
{
    QELBlob b("abcdef");
    QELBlob e;
    struct Case { const char* what; QELTBlob r; } cases[] = {
        { "mid(6,1)", b.mid(6, 1) },
        { "mid(0,0)", b.mid(0, 0) },
        { "mid(100,3)", b.mid(100, 3) },
        { "mid(6)", b.mid(6) },
        { "left(0)", b.left(0) },
        { "right(0)", b.right(0) },
        { "empty.mid(0,1)", e.mid(0, 1) },
        { "empty.mid(0)", e.mid(0) },
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_TRUE(isCanonicalEmpty(c.r));
    }
    EXPECT_TRUE(isCanonicalEmpty(emptyTBlob));
}

TEST(QELBlobTest, LeftAndRightOfAnEmptyBlobKeepTheRequestedSize)
{
    QELBlob e;
    QELTBlob l = e.left(4);
    QELTBlob r = e.right(3);
    EXPECT_EQ(l.size, 4u);
    EXPECT_EQ(r.size, 3u);
    EXPECT_FALSE(l.isWrap);
    EXPECT_FALSE(r.isWrap);
}

// --- Temporary protocol ---

TEST(QELBlobTest, BlobFromOwningTemporaryTakesItsBuffer)
{
    QELBlob b("abcdef");
    QELTBlob t = b.mid(1, 3);
    ASSERT_FALSE(t.isWrap);
    char* block = t.p;
    QELBlob y(t);
    EXPECT_TRUE(t.isWrap);
    EXPECT_EQ(t.p, y.p);
    EXPECT_EQ(y.p, block);
    EXPECT_EQ(t.size, 3u);
    EXPECT_FALSE(y.isWrap);
    EXPECT_EQ(bytes(y), "bcd");
    EXPECT_TRUE(valid(t));
}

TEST(QELBlobTest, BlobFromNonOwningTemporaryCopies)
{
    QELBlob b("xyz");
    QELTBlob t;
    t = b; // a view of b
    EXPECT_TRUE(t.isWrap);
    EXPECT_EQ(t.p, b.p);
    QELBlob y(t);
    EXPECT_NE(y.p, b.p);
    EXPECT_FALSE(y.isWrap);
    EXPECT_EQ(bytes(y), "xyz");
}

TEST(QELBlobTest, TemporaryCopyMovesOwnership)
{
    QELTBlob a(4u);
    memcpy(a.p, "wxyz", 4);
    QELTBlob b(a);
    EXPECT_TRUE(a.isWrap);
    EXPECT_FALSE(b.isWrap);
    EXPECT_EQ(a.p, b.p);
    QELTBlob c(a); // a owned nothing any more: a non-owning copy
    EXPECT_TRUE(c.isWrap);
    EXPECT_EQ(c.p, b.p);
    EXPECT_EQ(bytes(c), "wxyz");
}

TEST(QELBlobTest, TemporaryAssignments)
{
    QELBlob b("data");
    QELTBlob t(3u);
    t = b;
    EXPECT_TRUE(t.isWrap);
    EXPECT_EQ(t.p, b.p);
    EXPECT_EQ(t.size, 4u);

    const char* lit = "literal";
    t = lit;
    EXPECT_TRUE(t.isWrap);
    EXPECT_EQ(t.p, lit);
    EXPECT_EQ(t.size, 7u);

    t = static_cast<const char*>(NULL);
    EXPECT_TRUE(isCanonicalEmpty(t));

    QELTBlob u = b.left(2);
    char* block = u.p;
    t = u;
    EXPECT_FALSE(t.isWrap);
    EXPECT_TRUE(u.isWrap);
    EXPECT_EQ(t.p, block);
    QELTBlob& alias = t;
    t = alias; // self-assignment keeps the buffer
    EXPECT_FALSE(t.isWrap);
    EXPECT_EQ(t.p, block);
    EXPECT_EQ(bytes(t), "da");

    t += b;
    t += "!";
    EXPECT_EQ(bytes(t), "dadata!");
    EXPECT_FALSE(t.isWrap);
}

// A temporary that views one blob and then another frees neither block:
// both owners still read their bytes and free them once, at their end.
TEST(QELBlobTest, ViewMovedToAnotherBlobFreesNeither)
{
    QELBlob first("first"), second("second");
    {
        QELTBlob view;
        view = first;
        view = second;
        EXPECT_TRUE(view.isWrap);
        EXPECT_EQ(bytes(view), "second");
    }
    EXPECT_EQ(bytes(first), "first");
    EXPECT_EQ(bytes(second), "second");
    QELBlob again("first, again");
    EXPECT_EQ(bytes(first), "first");
}

TEST(QELBlobTest, AssignFromTemporary)
{
    QELBlob x("old");
    QELTBlob t = QELBlob("new!") + QELBlob("!");
    char* block = t.p;
    x = t;
    EXPECT_EQ(x.p, block);
    EXPECT_FALSE(x.isWrap);
    EXPECT_TRUE(t.isWrap);
    EXPECT_EQ(bytes(x), "new!!");

    // A non-owning temporary is copied.
    QELBlob src("copy");
    QELTBlob view;
    view = src;
    x = view;
    EXPECT_NE(x.p, src.p);
    EXPECT_EQ(bytes(x), "copy");

    // An empty temporary empties the target.
    x = QELBlob().mid(0);
    EXPECT_TRUE(isCanonicalEmpty(x));
}

TEST(QELBlobTest, ThreeBlobChainUsesOneBufferThroughout)
{
    QELBlob a("ab"), b("cd"), c("ef");
    QELTBlob ab = a + b;
    EXPECT_FALSE(ab.isWrap);
    EXPECT_EQ(ab.size, 4u);
    QELTBlob abc = ab + c; // appends into ab, then takes its (enlarged) buffer
    EXPECT_TRUE(ab.isWrap);
    EXPECT_EQ(ab.p, abc.p);
    EXPECT_EQ(ab.size, 6u);
    QELBlob y = abc;
    EXPECT_EQ(y.p, abc.p);
    EXPECT_TRUE(abc.isWrap);
    EXPECT_EQ(bytes(y), "abcdef");

    QELBlob z;
    z = a + b + c;
    EXPECT_EQ(bytes(z), "abcdef");
    EXPECT_FALSE(z.isWrap);
}

TEST(QELBlobTest, TemporaryAssignmentsBetweenViewsAndOwnedBlocks)
{
    static const char text[] = "view";
    QELBlob viewing;
    viewing.wrap(text, 4);
    QELTBlob sameView;
    sameView = viewing; // a temporary viewing the same bytes
    viewing = sameView;
    EXPECT_TRUE(viewing.isWrap);
    EXPECT_EQ(viewing.p, text);
    EXPECT_EQ(viewing.size, 4u);

    QELTBlob wrapped;
    wrapped = "literal";
    QELTBlob other;
    other = "other";
    wrapped = other; // a view takes the other's view, freeing nothing
    EXPECT_TRUE(wrapped.isWrap);
    EXPECT_EQ(std::string(wrapped.p, wrapped.size), "other");

    QELTBlob owned(3);
    memcpy(owned.p, "abc", 3);
    owned = "text"; // the owned block is freed, the text viewed
    EXPECT_TRUE(owned.isWrap);
    EXPECT_EQ(std::string(owned.p, owned.size), "text");

    QELTBlob first(1), second(2);
    memcpy(second.p, "cd", 2);
    first = second; // an owned block gives way to the other's
    EXPECT_FALSE(first.isWrap);
    EXPECT_EQ(std::string(first.p, first.size), "cd");

    QELTBlob grown(2);
    memcpy(grown.p, "ab", 2);
    grown += static_cast<const char*>(NULL);
    EXPECT_EQ(std::string(grown.p, grown.size), "ab");
}

TEST(QELBlobTest, NullTextOperandsConcatenateAsEmptyText)
{
    QELBlob b("bytes");
    QELTBlob left = static_cast<const char*>(NULL) + b;
    EXPECT_EQ(std::string(left.p, left.size), "bytes");
    QELTBlob t1(1);
    t1.p[0] = 'x';
    QELTBlob right = t1 + static_cast<const char*>(NULL);
    EXPECT_EQ(std::string(right.p, right.size), "x");
    QELTBlob t2(1);
    t2.p[0] = 'y';
    QELTBlob before = static_cast<const char*>(NULL) + t2;
    EXPECT_EQ(std::string(before.p, before.size), "y");
}

TEST(QELBlobTest, BlobViewingATemporaryIsPrependedFromItsBytes)
{
    QELTBlob t(3);
    memcpy(t.p, "abc", 3);
    QELBlob view;
    view.wrap(t.p + 1, 2); // "bc", inside the temporary's block
    QELTBlob joined = view + t;
    EXPECT_FALSE(joined.isWrap);
    EXPECT_EQ(std::string(joined.p, joined.size), "bcabc");
}

// --- Concatenation overloads ---

TEST(QELBlobTest, ConcatenationOverloadsTable)
{
    QELBlob a("ab"), b("cd"), e;
    struct Case { const char* what; QELBlob got; std::string want; } cases[] = {
        { "blob+blob", a + b, "abcd" },
        { "blob+empty", a + e, "ab" },
        { "empty+blob", e + b, "cd" },
        { "blob+str", a + "xy", "abxy" },
        { "str+blob", "xy" + a, "xyab" },
        { "temp+blob", a.left(1) + b, "acd" },
        { "temp+temp", a.left(1) + b.right(1), "ad" },
        { "temp+str", a.left(1) + "zz", "azz" },
        { "str+temp appends", "zz" + a.left(1), "azz" },
        { "blob+temp prepends", b + a.left(1), "cda" },
        { "empty+temp", e + a.left(1), "a" },
        { "blob+empty temp", b + e.left(0), "cd" },
        { "long chain", a + b + "-" + a.mid(1) + ("<" + b) + e, "abcd-b<cd" },
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_TRUE(valid(c.got));
        EXPECT_EQ(bytes(c.got), c.want);
    }
}

TEST(QELBlobTest, ConcatenationOfEmptiesIsCanonicalEmpty)
{
    QELBlob e;
    QELTBlob r1 = e + e;
    QELTBlob r2 = e + "";
    QELTBlob r3 = "" + e;
    QELTBlob r4 = e + static_cast<const char*>(NULL);
    EXPECT_TRUE(isCanonicalEmpty(r1));
    EXPECT_TRUE(isCanonicalEmpty(r2));
    EXPECT_TRUE(isCanonicalEmpty(r3));
    EXPECT_TRUE(isCanonicalEmpty(r4));
    QELTBlob r5 = e.mid(0) + e;
    EXPECT_TRUE(isCanonicalEmpty(r5));
}

TEST(QELBlobTest, StringPlusTemporaryAppendsDespiteOperandOrder)
{
    QELBlob a("head");
    QELBlob r = "tail" + a.mid(0);
    EXPECT_EQ(bytes(r), "headtail");
}

TEST(QELBlobTest, TemporaryOperandsAreAppendedInPlace)
{
    QELBlob a("abc");
    QELTBlob t = a.left(3);
    QELTBlob r = t + "de";
    EXPECT_TRUE(t.isWrap);
    EXPECT_EQ(t.p, r.p);
    EXPECT_EQ(t.size, 5u); // t was grown in place, then handed on
    EXPECT_EQ(bytes(r), "abcde");

    // A wrapped temporary gets its own block before it is written.
    const char* lit = "lit";
    QELTBlob w;
    w = lit;
    QELTBlob r2 = w + "!";
    EXPECT_STREQ(lit, "lit");
    EXPECT_NE(r2.p, lit);
    EXPECT_EQ(bytes(r2), "lit!");

    // Prepending into a wrapped temporary.
    QELTBlob w2;
    w2 = lit;
    QELTBlob r3 = a + w2;
    EXPECT_EQ(bytes(r3), "abclit");
    EXPECT_FALSE(r3.isWrap);
    EXPECT_STREQ(lit, "lit");

    // Prepending into an owned temporary moves its bytes up.
    QELTBlob r4 = a + QELBlob("xyz").left(3);
    EXPECT_EQ(bytes(r4), "abcxyz");

    // Appending a temporary to itself.
    QELTBlob s = a.left(3);
    QELTBlob r5 = s + s;
    EXPECT_EQ(bytes(r5), "abcabc");
}

TEST(QELBlobTest, TemporaryWithNothingToAppendIsHandedOnUnchanged)
{
    QELBlob a("abc"), e;
    QELTBlob t = a.left(3);
    char* block = t.p;
    QELTBlob r = t + e;
    EXPECT_EQ(r.p, block);
    EXPECT_TRUE(t.isWrap);
    EXPECT_FALSE(r.isWrap);
    QELTBlob t2 = a.left(3);
    block = t2.p;
    QELTBlob r2 = e + t2;
    EXPECT_EQ(r2.p, block);
    EXPECT_EQ(bytes(r2), "abc");
}

// --- Assignment and appends of QELBlob ---

TEST(QELBlobTest, AssignmentTable)
{
    QELBlob target("12345");
    target = QELBlob("ab"); // owned, shrinks by realloc
    EXPECT_EQ(bytes(target), "ab");
    EXPECT_FALSE(target.isWrap);
    target = "xyz";
    EXPECT_EQ(bytes(target), "xyz");
    target = "";
    EXPECT_TRUE(isCanonicalEmpty(target));
    target = "again";
    target = static_cast<const char*>(NULL);
    EXPECT_TRUE(isCanonicalEmpty(target));

    QELBlob src("src");
    target = src;
    EXPECT_NE(target.p, src.p);
    char* block = target.p;
    QELBlob& alias = target;
    target = alias; // same p: nothing
    EXPECT_EQ(target.p, block);
    EXPECT_EQ(bytes(target), "src");

    QELBlob empty;
    target = empty;
    EXPECT_TRUE(isCanonicalEmpty(target));
}

TEST(QELBlobTest, AssigningIntoAWrappedBlobLeavesTheWrappedBufferAlone)
{
    char buf[] = "wrapped";
    QELBlob w;
    w.wrap(buf, 7);
    w = QELBlob("new");
    EXPECT_FALSE(w.isWrap);
    EXPECT_NE(w.p, buf);
    EXPECT_STREQ(buf, "wrapped");
    EXPECT_EQ(bytes(w), "new");

    // Assigning a blob that wraps the same buffer changes nothing.
    QELBlob v;
    v.wrap(buf, 7);
    QELBlob u;
    u.wrap(buf, 3);
    u = v;
    EXPECT_TRUE(u.isWrap);
    EXPECT_EQ(u.size, 3u);
}

TEST(QELBlobTest, AppendsTable)
{
    QELBlob b;
    b += QELBlob("ab");
    EXPECT_EQ(bytes(b), "ab");
    b += "cd";
    EXPECT_EQ(bytes(b), "abcd");
    b += QELBlob();
    b += "";
    b += static_cast<const char*>(NULL);
    EXPECT_EQ(bytes(b), "abcd");
    b += b; // appending a blob to itself
    EXPECT_EQ(bytes(b), "abcdabcd");
    char raw[] = { 'x', '\0', 'y' };
    b.add(static_cast<void*>(raw), 3);
    EXPECT_EQ(bytes(b), std::string("abcdabcdx\0y", 11));
    b.add(static_cast<void*>(NULL), 3);
    b.add(static_cast<void*>(raw), 0);
    b.add(raw, -2);
    EXPECT_EQ(b.size, 11u);
    b.add(raw, 1); // a char buffer goes to the same byte append
    EXPECT_EQ(bytes(b), std::string("abcdabcdx\0yx", 12));
    EXPECT_FALSE(b.isWrap);
}

TEST(QELBlobTest, AppendToWrappedBlobCopiesFirst)
{
    char buf[] = "abc";
    QELBlob w;
    w.wrap(buf, 3);
    w += "d";
    EXPECT_FALSE(w.isWrap);
    EXPECT_NE(w.p, buf);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(bytes(w), "abcd");
}

TEST(QELBlobTest, AppendingAnEmptyTemporaryChangesNothing)
{
    QELBlob b("abc");
    char* block = b.p;
    b += QELBlob().mid(0);
    EXPECT_EQ(b.p, block);
    EXPECT_EQ(bytes(b), "abc");
}

TEST(QELBlobTest, AppendingATemporaryToAnEmptyBlobTakesItsBuffer)
{
    QELBlob src("payload");
    QELTBlob t = src.mid(0);
    char* block = t.p;
    QELBlob b;
    b += t;
    EXPECT_EQ(b.p, block);
    EXPECT_FALSE(b.isWrap);
    EXPECT_TRUE(t.isWrap);

    // A non-owning temporary is taken with its state: b becomes a view.
    QELTBlob view;
    view = src;
    QELBlob c;
    c += view;
    EXPECT_TRUE(c.isWrap);
    EXPECT_EQ(c.p, src.p);

    // Into a non-empty blob it is appended as bytes.
    QELBlob d("x");
    QELTBlob t2 = src.left(3);
    d += t2;
    EXPECT_EQ(bytes(d), "xpay");
    EXPECT_FALSE(t2.isWrap);
}

// --- add lists ---

TEST(QELBlobTest, AddListsAppendInOrder)
{
    QELBlob b("0");
    QELBlob x("ab"), y, z("cde");
    const QELGBlob* list[] = { &x, &y, &z, NULL };
    b.add(list);
    EXPECT_EQ(bytes(b), "0abcde");
    b.add(&z, &x, nullptr);
    EXPECT_EQ(bytes(b), "0abcdecdeab");
    const char* strs[] = { "1", "", "23", NULL };
    b.add(strs);
    EXPECT_EQ(bytes(b), "0abcdecdeab123");
    b.add("4", "56", nullptr);
    EXPECT_EQ(bytes(b), "0abcdecdeab123456");
    EXPECT_FALSE(b.isWrap);
}

TEST(QELBlobTest, AddOfNothingChangesNothing)
{
    char buf[] = "wrap";
    QELBlob w;
    w.wrap(buf, 4);
    QELBlob e;
    const QELGBlob* none[] = { NULL };
    const QELGBlob* empties[] = { &e, &e, NULL };
    const char* noStrs[] = { "", NULL };
    w.add(none);
    w.add(empties);
    w.add(noStrs);
    w.add(static_cast<const QELGBlob*>(NULL));
    w.add(static_cast<const char*>(NULL));
    EXPECT_TRUE(w.isWrap);
    EXPECT_EQ(w.p, buf);
    QELBlob empty;
    empty.add(empties);
    EXPECT_TRUE(isCanonicalEmpty(empty));
}

TEST(QELBlobTest, AddToWrappedBlobCopiesAndOwns)
{
    char buf[] = "ab";
    QELBlob w;
    w.wrap(buf, 2);
    QELBlob c("c");
    w.add(&c, &w, nullptr); // an element viewing the blob itself
    EXPECT_FALSE(w.isWrap);
    EXPECT_STREQ(buf, "ab");
    EXPECT_EQ(bytes(w), "abcab");
}

TEST(QELBlobTest, AddOfANullListChangesNothing)
{
    QELBlob b("abc");
    char* before = b.p;
    b.add(static_cast<const QELGBlob* const*>(NULL));
    b.add(static_cast<const char* const*>(NULL));
    EXPECT_EQ(b.p, before);
    EXPECT_EQ(bytes(b), "abc");
}

TEST(QELBlobTest, AddOfTextViewingTheBlobsOwnBytesCopiesThemBeforeTheyMove)
{
    QELBlob b("xy", 3); // "xy" and its NUL, so that the bytes are also a C string
    const char* list[] = { b.p, "z", b.p + 1, NULL };
    b.add(list);
    EXPECT_EQ(bytes(b), std::string("xy\0xyzy", 7));
    char buf[] = "wv";
    QELBlob w;
    w.wrap(buf, 2);
    const char* fromWrapped[] = { buf, NULL }; // a wrapped buffer never moves
    w.add(fromWrapped);
    EXPECT_FALSE(w.isWrap);
    EXPECT_EQ(bytes(w), "wvwv");
    EXPECT_STREQ(buf, "wv");
}

TEST(QELBlobTest, AddWithManyVariadicArguments)
{
    QELBlob parts[20];
    for (int i = 0; i < 20; i++)
        parts[i] = std::string(1, static_cast<char>('a' + i)).c_str();
    QELBlob b;
    b.add(&parts[0], &parts[1], &parts[2], &parts[3], &parts[4], &parts[5],
          &parts[6], &parts[7], &parts[8], &parts[9], &parts[10], &parts[11],
          &parts[12], &parts[13], &parts[14], &parts[15], &parts[16],
          &parts[17], &parts[18], &parts[19], nullptr);
    EXPECT_EQ(bytes(b), "abcdefghijklmnopqrst");
    QELBlob s;
    s.add("a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m",
          "n", "o", "p", "q", "r", nullptr);
    EXPECT_EQ(bytes(s), "abcdefghijklmnopqr");
}

// --- Sizing, wrapping, reversing ---

TEST(QELBlobTest, SetSizeTable)
{
    char buf[] = "abcdef";
    QELBlob w;
    w.wrap(buf, 6);
    EXPECT_EQ(w.setSize(3), 3u);
    EXPECT_FALSE(w.isWrap);
    EXPECT_NE(w.p, buf);
    EXPECT_EQ(bytes(w), "abc");
    EXPECT_STREQ(buf, "abcdef");

    char* block = w.p;
    EXPECT_EQ(w.setSize(3), 3u); // owned, same size: untouched
    EXPECT_EQ(w.p, block);
    EXPECT_EQ(w.setSize(5), 5u);
    EXPECT_EQ(std::string(w.p, 3), "abc");
    EXPECT_EQ(w.size, 5u);
    EXPECT_EQ(w.setSize(0), 0u);
    EXPECT_TRUE(isCanonicalEmpty(w));

    QELBlob e;
    EXPECT_EQ(e.setSize(4), 4u); // the empty blob counts as wrapped
    EXPECT_FALSE(e.isWrap);
    EXPECT_EQ(e.size, 4u);

    QELBlob big;
    big.wrap(buf, 2);
    big.setSize(6);
    EXPECT_EQ(std::string(big.p, 2), "ab");
}

TEST(QELBlobTest, WrapAndUnwrap)
{
    char buf[] = "abc";
    QELBlob b("owned");
    b.wrap(buf, 3);
    EXPECT_TRUE(b.isWrap);
    EXPECT_EQ(b.p, buf);
    EXPECT_EQ(b.size, 3u);
    EXPECT_TRUE(b.unwrap());
    EXPECT_FALSE(b.isWrap);
    EXPECT_NE(b.p, buf);
    EXPECT_EQ(bytes(b), "abc");
    EXPECT_FALSE(b.unwrap()); // already owned

    QELBlob e;
    EXPECT_FALSE(e.unwrap()); // null p

    QELBlob z;
    z.wrap(buf, 0); // non-null p, size 0: valid
    EXPECT_TRUE(valid(z));
    EXPECT_EQ(z.p, buf);
    EXPECT_TRUE(z.unwrap());
    EXPECT_TRUE(isCanonicalEmpty(z));

    QELBlob n;
    n.wrap(static_cast<const char*>(NULL), 5);
    EXPECT_TRUE(isCanonicalEmpty(n));

    QELBlob src("view");
    QELBlob v;
    v.wrap(src);
    EXPECT_EQ(v.p, src.p);
    EXPECT_TRUE(v.isWrap);
    EXPECT_EQ(v.size, 4u);
    QELBlob none;
    v.wrap(none);
    EXPECT_TRUE(isCanonicalEmpty(v));
    src.wrap(src); // own buffer: no change
    EXPECT_FALSE(src.isWrap);
    EXPECT_EQ(bytes(src), "view");
}

TEST(QELBlobTest, WrappingItsOwnBlockLeavesAnOwnedBlobUnchanged)
{
    QELBlob b("own");
    char* block = b.p;
    b.wrap(block, 2);
    EXPECT_FALSE(b.isWrap);
    EXPECT_EQ(b.p, block);
    EXPECT_EQ(bytes(b), "own");
}

TEST(QELBlobTest, ReverseTable)
{
    QELBlob b("abc");
    char* block = b.p;
    b.reverse();
    EXPECT_EQ(bytes(b), "cba");
    EXPECT_EQ(b.p, block);
    QELBlob one("x");
    one.reverse();
    EXPECT_EQ(bytes(one), "x");
    QELBlob e;
    e.reverse();
    EXPECT_TRUE(isCanonicalEmpty(e));
    QELBlob four("abcd");
    four.reverse();
    EXPECT_EQ(bytes(four), "dcba");
}

TEST(QELBlobTest, ReverseOfWrappedBlobKeepsItMarkedWrapped)
{
    char buf[] = "abc";
    QELBlob w;
    w.wrap(buf, 3);
    w.reverse();
    EXPECT_NE(w.p, buf);
    EXPECT_TRUE(w.isWrap); // deliberate: the new block is not owned
    EXPECT_EQ(bytes(w), "cba");
    EXPECT_STREQ(buf, "abc");
    // The blob will never free that block; the test takes it back.
    free(w.p);
    w.p = NULL;
    w.size = 0;
}

TEST(QELBlobTest, EmptyFreesAndResets)
{
    QELBlob b("abc");
    b.empty();
    EXPECT_TRUE(isCanonicalEmpty(b));
    char buf[] = "x";
    b.wrap(buf, 1);
    b.empty();
    EXPECT_TRUE(isCanonicalEmpty(b));
    EXPECT_STREQ(buf, "x");
}

// --- Hashing ---

TEST(QELBlobTest, HashTable)
{
    struct Case { std::string data; unsigned int want; } cases[] = {
        { "", 0 },
        { "a", 98 },
        { "ab", 3107 },                      // 97 * 31 + 98 + 2
        { std::string("\xff", 1), 0u },       // -1 + 1
        { std::string("\0", 1), 1 },
    };
    for (const Case& c : cases) {
        QELBlob b(c.data.data(), static_cast<unsigned int>(c.data.size()));
        EXPECT_EQ(b.hashCode(), c.want);
        EXPECT_EQ(blobHashCode(c.data.data(), static_cast<unsigned int>(c.data.size())), c.want);
    }
}

TEST(QELBlobTest, HashEqualsStringHash)
{
    const char* texts[] = { "a", "ab", "hello world", "caf\xc3\xa9", "\x80\x81\xfe" };
    for (const char* s : texts) {
        QELBlob b(s);
        EXPECT_EQ(b.hashCode(), stringHashCode(s)) << s;
        EXPECT_EQ(b.hashCode(), QELString(s).hashCode()) << s;
    }
}

// --- Assertion reports ---

namespace {

// The invariant text with `this` replaced by the operand as it is printed.
std::string invariantText(const std::string& x)
{
    return "( ( ( ((" + x + ")->size==0) && ((" + x + ")->p==__null) && ((" + x
        + ")->isWrap==true) ) || ( ((" + x + ")->p!=__null) ) ) )";
}

// The report of a failed invariant of operand x in the operation sig.
std::string report(const std::string& sig, const std::string& x)
{
    return AssertionReport("QELBlob.cpp", sig, invariantText(x));
}

void addEmptyListToCorruptBlob()
{
    QELBlob bad;
    bad.size = 1;
    const QELGBlob* list[] = { NULL };
    bad.add(list);
}

void addCorruptElement()
{
    QELBlob ok("x");
    QELBlob bad;
    bad.size = 2;
    const QELGBlob* list[] = { &ok, &bad, NULL };
    ok.add(list);
}

} // namespace

#define QEL_TEST_STR(x) #x
#define QEL_TEST_XSTR(x) QEL_TEST_STR(x)

TEST(QELBlobTest, InvariantMacroExpandsToTheDocumentedExpression)
{
    EXPECT_STREQ(QEL_TEST_XSTR(QEL_BLOB_INVARIANT(this)),
                 "( ( ( ((this)->size==0) && ((this)->p==__null) && ((this)->isWrap==true) ) "
                 "|| ( ((this)->p!=__null) ) ) )");
    EXPECT_EQ(invariantText("this"),
              "( ( ( ((this)->size==0) && ((this)->p==__null) && ((this)->isWrap==true) ) "
              "|| ( ((this)->p!=__null) ) ) )");
}

TEST(QELBlobDeathTest, MidOfACorruptBlobNamesMid)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH({
        QELBlob bad;
        bad.size = 3; // null p with a size
        bad.mid(0, 1);
    }, report("QELTBlob QELGBlob::mid(unsigned int, unsigned int) const", "this"));
}

TEST(QELBlobDeathTest, AddToACorruptBlobNamesAdd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(addEmptyListToCorruptBlob(), report("QELGBlob& QELGBlob::add(const QELGBlob* const*)", "this"));
}

TEST(QELBlobDeathTest, AddOfACorruptElementNamesTheElement)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(addCorruptElement(), report("QELGBlob& QELGBlob::add(const QELGBlob* const*)", "*s"));
}

TEST(QELBlobDeathTest, OperandReportsNameTheOperand)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH({
        QELTBlob bad;
        bad.size = 2;
        QELBlob y(bad);
    }, report("QELBlob::QELBlob(const QELTBlob&)", "&t"));
    EXPECT_DEATH({
        QELBlob ok("a");
        QELBlob bad;
        bad.size = 2;
        QELTBlob r = ok + bad;
    }, report("QELTBlob operator+(const QELBlob&, const QELBlob&)", "&s2"));
    EXPECT_DEATH({
        QELBlob ok("a");
        QELBlob bad;
        bad.size = 2;
        ok += bad;
    }, report("QELBlob& QELBlob::operator+=(const QELBlob&)", "&right"));
    EXPECT_DEATH({
        QELBlob ok("a");
        QELBlob bad;
        bad.size = 2;
        ok = bad;
    }, report("QELBlob& QELBlob::operator=(const QELBlob&)", "&s"));
    EXPECT_DEATH({
        QELBlob bad;
        bad.isWrap = false; // empty but claiming ownership
        bad.reverse();
    }, report("QELGBlob& QELGBlob::reverse()", "this"));
    EXPECT_DEATH({
        QELBlob bad;
        bad.size = 9;
        bad.hashCode();
    }, report("unsigned int QELGBlob::hashCode() const", "this"));
}

// --- Randomised differential test against std::vector<char> ---

TEST(QELBlobTest, RandomisedDifferentialAgainstVector)
{
    const unsigned int seeds[] = { 1, 2, 3, 42, 1234, 99991 };
    int steps = 0;
    for (unsigned int seed : seeds) {
        BlobDifferential d(seed);
        for (int run = 0; run < 600; run++) {
            QELBlob b;
            BlobModel m;
            int length = 1 + static_cast<int>(d.pick(25));
            for (int i = 0; i < length; i++) {
                const char* op = d.step(b, m);
                ASSERT_STRNE(op, "bad") << "seed " << seed << " run " << run << " step " << i;
                d.check(b, m, op);
                if (testing::Test::HasFatalFailure()) {
                    ADD_FAILURE() << "seed " << seed << " run " << run << " step " << i << " " << op;
                    return;
                }
                steps++;
            }
        }
    }
    EXPECT_GT(steps, 40000);
}

// Chains of temporaries built step by step, compared with a vector.
TEST(QELBlobTest, RandomisedTemporaryChainsAgainstVector)
{
    const unsigned int seeds[] = { 7, 77, 777, 7777 };
    for (unsigned int seed : seeds) {
        std::mt19937 rng(seed);
        auto pick = [&rng](unsigned int n) { return std::uniform_int_distribution<unsigned int>(0, n - 1)(rng); };
        auto randomText = [&](unsigned int maxLen) {
            std::string s;
            unsigned int n = pick(maxLen + 1);
            for (unsigned int i = 0; i < n; i++)
                s += static_cast<char>(1 + pick(255));
            return s;
        };
        for (int run = 0; run < 1000; run++) {
            std::string first = randomText(6);
            QELBlob a(first.c_str());
            QELTBlob t = a.mid(0);
            std::vector<char> model(first.begin(), first.end());
            int length = 1 + static_cast<int>(pick(12));
            for (int i = 0; i < length; i++) {
                std::string s = randomText(6);
                QELBlob x(s.c_str());
                switch (pick(8)) {
                case 0: t = t + x; model.insert(model.end(), s.begin(), s.end()); break;
                case 1: t = t + s.c_str(); model.insert(model.end(), s.begin(), s.end()); break;
                case 2: t = s.c_str() + t; model.insert(model.end(), s.begin(), s.end()); break;
                case 3: t = x + t; model.insert(model.begin(), s.begin(), s.end()); break;
                case 4: t = t + x.mid(0); model.insert(model.end(), s.begin(), s.end()); break;
                case 5: t += x; model.insert(model.end(), s.begin(), s.end()); break;
                case 6: t += s.c_str(); model.insert(model.end(), s.begin(), s.end()); break;
                default: { // through a QELBlob and back
                    QELBlob y = t;
                    ASSERT_TRUE(t.isWrap || t.size == 0);
                    y += x;
                    model.insert(model.end(), s.begin(), s.end());
                    t = y + "";
                    break;
                }
                }
                ASSERT_TRUE(valid(t));
                ASSERT_EQ(bytes(t), std::string(model.begin(), model.end())) << "seed " << seed << " run " << run;
                ASSERT_EQ(t.isWrap, model.empty());
            }
            QELBlob final;
            final = t;
            ASSERT_EQ(bytes(final), std::string(model.begin(), model.end()));
            ASSERT_TRUE(t.isWrap);
            ASSERT_TRUE(isCanonicalEmpty(emptyTBlob));
        }
    }
}
