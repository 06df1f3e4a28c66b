// Tests of the library's public interface as a whole: every named operation
// with its exact parameter and result types, field order and widths, class
// trees and virtual slot order, all reached through the umbrella header.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <type_traits>

#include <xercesc/util/XercesDefs.hpp>

#include "QELStd.h"
#include "QELInvariants.h"

namespace {

// Binds a member or free function to a pointer of the exact type given as
// the template argument: the file does not compile when a name, a parameter,
// a result or a const-ness differs. The pointer is also checked at run time
// so that it is used.
template <typename Signature>
void expectSignature(Signature pointer)
{
    EXPECT_TRUE(pointer != nullptr);
}

#define EXPECT_FIELD_TYPE(CLASS, FIELD, TYPE)                               \
    static_assert(std::is_same<decltype(CLASS::FIELD), TYPE>::value,        \
                  #CLASS "::" #FIELD " has the type " #TYPE)

// The virtual table slot of a member function pointer under the Itanium C++
// ABI (g++ and clang on x86-64): a virtual member is stored as 1 + its byte
// offset in the table. -1 for a non-virtual member.
template <typename PMF>
long slotOf(PMF pmf)
{
    struct Raw {
        uintptr_t ptr;
        ptrdiff_t adj;
    } raw;
    static_assert(sizeof(PMF) == sizeof(Raw), "Itanium member pointer layout");
    memcpy(&raw, &pmf, sizeof raw);
    if ((raw.ptr & 1) == 0)
        return -1;
    return static_cast<long>((raw.ptr - 1) / sizeof(void*));
}

// True when the addresses of the arguments strictly increase.
bool ascending(std::initializer_list<const void*> addresses)
{
    const char* last = NULL;
    for (const void* a : addresses) {
        const char* c = static_cast<const char*>(a);
        if (last != NULL && !(last < c))
            return false;
        last = c;
    }
    return true;
}

// ---------------------------------------------------------------- strings

EXPECT_FIELD_TYPE(QELString, p, char*);
EXPECT_FIELD_TYPE(QELString, len, int32_t);
EXPECT_FIELD_TYPE(QELString, alloc, uint32_t);
EXPECT_FIELD_TYPE(QELString, wbuf, unsigned short*);
static_assert(std::is_same<uchar, unsigned short>::value, "uchar is 16-bit");
static_assert(std::is_same<QELBoolean, int>::value, "QELBoolean is int");
static_assert(!std::is_polymorphic<QELString>::value, "no virtual operations");
static_assert(std::is_same<decltype(QELString::emptyPtr), char*>::value, "emptyPtr");

TEST(QELApiTest, StringOperationsHaveTheirSignatures)
{
    expectSignature<void (QELString::*)(const char*, int)>(&QELString::init);
    expectSignature<void (QELString::*)(const uchar*, int)>(&QELString::init);
    expectSignature<void (QELString::*)(const QELString&)>(&QELString::operator=);
    expectSignature<const QELString& (QELString::*)(const QELString&)>(&QELString::operator+=);
    expectSignature<QELString (*)(const QELString&, const QELString&)>(&operator+);
    expectSignature<QELString& (QELString::*)(const char*, int)>(&QELString::append);
    expectSignature<QELString& (QELString::*)(char)>(&QELString::append);
    expectSignature<QELString& (QELString::*)(char, int)>(&QELString::append);
    expectSignature<QELString& (QELString::*)(const QELString* const*)>(&QELString::add);
    expectSignature<QELString& (QELString::*)(const QELString*, ...)>(&QELString::add);
    expectSignature<QELString& (QELString::*)(const char* const*)>(&QELString::add);
    expectSignature<QELString& (QELString::*)(const char*, ...)>(&QELString::add);
    expectSignature<void (QELString::*)()>(&QELString::empty);
    expectSignature<unsigned int (QELString::*)(unsigned int)>(&QELString::resize);
    expectSignature<char* (QELString::*)()>(&QELString::lock);
    expectSignature<bool (QELString::*)() const>(&QELString::isLocked);
    expectSignature<bool (QELString::*)(bool)>(&QELString::unlock);
    expectSignature<void (QELString::*)(const QELString&)>(&QELString::wrap);
    expectSignature<void (QELString::*)(const char*)>(&QELString::wrap);
    expectSignature<bool (QELString::*)(unsigned int)>(&QELString::unwrap);
    expectSignature<unsigned int (QELString::*)() const>(&QELString::hashCode);
    expectSignature<unsigned int (*)(const char*)>(&stringHashCode);
    expectSignature<QELString (QELString::*)(unsigned int, unsigned int) const>(&QELString::mid);
    expectSignature<QELString (QELString::*)(unsigned int) const>(&QELString::mid);
    expectSignature<QELString (QELString::*)(unsigned int) const>(&QELString::left);
    expectSignature<QELString (QELString::*)(unsigned int) const>(&QELString::right);
    expectSignature<QELString& (QELString::*)()>(&QELString::toLower);
    expectSignature<QELString& (QELString::*)()>(&QELString::toUpper);
    expectSignature<QELString& (QELString::*)()>(&QELString::toAscii);
    expectSignature<QELString& (QELString::*)()>(&QELString::reverse);
    expectSignature<QELString (QELString::*)() const>(&QELString::escapeChars);
    expectSignature<QELString (QELString::*)(char, char, bool) const>(&QELString::escapeChar);
    expectSignature<QELString (QELString::*)(char) const>(&QELString::unescapeChar);
    expectSignature<QELString (QELString::*)() const>(&QELString::trim);
    expectSignature<QELString (QELString::*)() const>(&QELString::trimSpaces);
    expectSignature<const unsigned short* (QELString::*)()>(&QELString::wchars);
    expectSignature<int (QELString::*)() const>(&QELString::length);
    expectSignature<const char* (QELString::*)() const>(&QELString::chars);
    expectSignature<bool (QELString::*)() const>(&QELString::isEmpty);
    expectSignature<int (QELString::*)(const QELString&) const>(&QELString::compare);
    expectSignature<QELString& (*)()>(&getEmptyTString);
    EXPECT_TRUE(std::is_constructible<QELString>::value);
    EXPECT_TRUE((std::is_constructible<QELString, const char*>::value));
    EXPECT_TRUE((std::is_constructible<QELString, const char*, int>::value));
    EXPECT_TRUE((std::is_constructible<QELString, const uchar*>::value));
    EXPECT_TRUE((std::is_constructible<QELString, const uchar*, int>::value));
    EXPECT_TRUE((std::is_constructible<QELString, char>::value));
    EXPECT_TRUE((std::is_constructible<QELString, int>::value));
    EXPECT_TRUE((std::is_constructible<QELString, long>::value));
}

TEST(QELApiTest, StringFieldsComeInTheirOrderAndRun)
{
    QELString s("abc");
    EXPECT_TRUE(ascending({&s.p, &s.len, &s.alloc, &s.wbuf}));
    EXPECT_EQ(s.len, 3);
    EXPECT_EQ(s.alloc, 4u);
    EXPECT_TRUE(s.wbuf == NULL);
    // Natural uses: copy-initialisation from text and numbers, comparison
    // with text, the implicit text view.
    QELString t = "x";
    QELString n = QELString(42);
    QELString l = QELString(static_cast<long>(-7));
    EXPECT_TRUE(t == "x");
    EXPECT_TRUE(n != "41");
    EXPECT_STREQ(l, "-7");
    EXPECT_STREQ((s + t).chars(), "abcx");
    s += t;
    s.append("yz", 1).append('!').append('-', 2);
    EXPECT_STREQ(s.p, "abcxy!--");
    EXPECT_STREQ(s.mid(1, 2).p, "bc");
    EXPECT_EQ(s.hashCode(), stringHashCode(s.p));
    EXPECT_EQ(emptyString.len, 0);
    EXPECT_EQ(emptyString.p, QELString::emptyPtr);
    EXPECT_EQ(getEmptyTString().p, QELString::emptyPtr);
    QELString u;
    u.add("a", "b", static_cast<const char*>(NULL));
    EXPECT_STREQ(u.p, "ab");
    QELString locked("q");
    EXPECT_EQ(locked.resize(2), 2u);
    char* buffer = locked.lock();
    buffer[1] = 'r';
    buffer[2] = '\0';
    EXPECT_TRUE(locked.isLocked());
    EXPECT_TRUE(locked.unlock(true));
    EXPECT_FALSE(locked.isLocked());
    EXPECT_STREQ(locked.p, "qr");
    EXPECT_TRUE(stringInvariantHolds(&locked));
}

// --------------------------------------------------------- encodings, text

EXPECT_FIELD_TYPE(QELEncodingConverter, converter, UConverter*);
EXPECT_FIELD_TYPE(QELEncodingConverter, name, QELString);
EXPECT_FIELD_TYPE(QELEncodingConverter, maxCharSize, int8_t);
EXPECT_FIELD_TYPE(QELMessage, argumentCount, int32_t);
static_assert(std::is_base_of<QELString, QELMessage>::value, "a message is its template text");

TEST(QELApiTest, EncodingAndTextFunctionsHaveTheirSignatures)
{
    expectSignature<QELString& (QELEncodingConverter::*)()>(&QELEncodingConverter::getEncodingName);
    expectSignature<QELString (*)(const QELString&, QELEncodingConverter*, QELEncodingConverter*, int&, int&)>(&convertEncoding);
    expectSignature<bool (*)(QELEncodingConverter*, QELEncodingConverter*)>(&equivalentConverters);
    expectSignature<QELString (*)(const char*)>(&localeToUtf8);
    expectSignature<QELString (*)(const char*)>(&utf8ToLocale);
    expectSignature<wchar_t* (*)(const char*)>(&utf8ToUtf16);
    expectSignature<void (*)(wchar_t*)>(&freeUtf16);
    expectSignature<char* (*)(const wchar_t*)>(&utf16ToUtf8);
    expectSignature<QELString (*)(const QELString&)>(&escapeXMLString);
    expectSignature<int (QELMessage::*)(const char*)>(&QELMessage::countArguments);
    expectSignature<int (*)(const unsigned char*, int, unsigned char)>(&binarySearch);
    expectSignature<int (*)(const signed char*, int, signed char)>(&binarySearch);
    expectSignature<int (*)(const unsigned short*, int, unsigned short)>(&binarySearch);
    expectSignature<int (*)(const short*, int, short)>(&binarySearch);
    expectSignature<int (*)(const unsigned int*, int, unsigned int)>(&binarySearch);
    expectSignature<int (*)(const int*, int, int)>(&binarySearch);
    expectSignature<int (*)(const float*, int, float)>(&binarySearch);
    expectSignature<int (*)(const double*, int, double)>(&binarySearch);
    expectSignature<int (*)(const char**, int, const QELString&)>(&binarySearch);

    QELEncodingConverter utf8(QELString("utf-8"));
    QELEncodingConverter latin1("ISO-8859-1");
    EXPECT_TRUE(ascending({&utf8.converter, &utf8.name, &utf8.maxCharSize}));
    EXPECT_TRUE(equivalentConverters(&utf8, &utf8));
    int conversions = 0, failures = 0;
    QELString out = convertEncoding(QELString("\xC3\xA9"), &latin1, &utf8, conversions, failures);
    EXPECT_EQ(out.len, 4);
    EXPECT_EQ(conversions, 1);
    EXPECT_EQ(failures, 0);
    EXPECT_STREQ(escapeXMLString("a<b").p, "a&lt;b");
    const int values[] = {1, 3, 5};
    EXPECT_EQ(binarySearch(values, 3, 5), 2);
    const char* descending[] = {"c", "b", "a"};
    EXPECT_EQ(binarySearch(descending, 3, QELString("b")), 1);

    QELMessage m("%s of %s");
    QELMessage none;
    m = "%s";
    EXPECT_STREQ(m.p, "%s of %s");
    EXPECT_EQ(m.argumentCount, 2);
    EXPECT_EQ(none.argumentCount, -1);
    EXPECT_EQ(m.countArguments("100%% %s"), 2);
    // The template text comes first, so the message is usable as its text.
    const QELString& asText = m;
    EXPECT_EQ(static_cast<const void*>(&asText), static_cast<const void*>(&m));
    EXPECT_TRUE(ascending({static_cast<const void*>(&m.wbuf), &m.argumentCount}));
}

// ------------------------------------------------------------------- blobs

EXPECT_FIELD_TYPE(QELGBlob, p, char*);
EXPECT_FIELD_TYPE(QELGBlob, size, uint32_t);
EXPECT_FIELD_TYPE(QELGBlob, isWrap, bool);
static_assert(std::is_base_of<QELGBlob, QELBlob>::value && std::is_base_of<QELGBlob, QELTBlob>::value,
              "both blobs share the general blob");
static_assert(sizeof(QELBlob) == sizeof(QELGBlob) && sizeof(QELTBlob) == sizeof(QELGBlob),
              "the blobs add no fields");
static_assert(!std::is_polymorphic<QELBlob>::value, "no virtual operations");

TEST(QELApiTest, BlobOperationsHaveTheirSignatures)
{
    expectSignature<unsigned int (QELGBlob::*)() const>(&QELGBlob::hashCode);
    expectSignature<unsigned int (*)(const char*, unsigned int)>(&blobHashCode);
    expectSignature<QELGBlob& (QELGBlob::*)(const QELGBlob* const*)>(&QELGBlob::add);
    expectSignature<QELGBlob& (QELGBlob::*)(const QELGBlob*, ...)>(&QELGBlob::add);
    expectSignature<QELGBlob& (QELGBlob::*)(const char* const*)>(&QELGBlob::add);
    expectSignature<QELGBlob& (QELGBlob::*)(const char*, ...)>(&QELGBlob::add);
    expectSignature<void (QELGBlob::*)()>(&QELGBlob::empty);
    expectSignature<unsigned int (QELGBlob::*)(unsigned int)>(&QELGBlob::setSize);
    expectSignature<QELTBlob (QELGBlob::*)(unsigned int, unsigned int) const>(&QELGBlob::mid);
    expectSignature<QELTBlob (QELGBlob::*)(unsigned int) const>(&QELGBlob::mid);
    expectSignature<QELTBlob (QELGBlob::*)(unsigned int) const>(&QELGBlob::left);
    expectSignature<QELTBlob (QELGBlob::*)(unsigned int) const>(&QELGBlob::right);
    expectSignature<QELGBlob& (QELGBlob::*)()>(&QELGBlob::reverse);
    expectSignature<void (QELGBlob::*)(const QELGBlob&)>(&QELGBlob::wrap);
    expectSignature<void (QELGBlob::*)(const char*, unsigned int)>(&QELGBlob::wrap);
    expectSignature<bool (QELGBlob::*)()>(&QELGBlob::unwrap);
    expectSignature<void (QELBlob::*)(void*, int)>(&QELBlob::add);
    expectSignature<QELTBlob (*)(const QELBlob&, const QELBlob&)>(&operator+);
    expectSignature<QELTBlob (*)(const QELBlob&, const char*)>(&operator+);
    expectSignature<QELTBlob (*)(const char*, const QELBlob&)>(&operator+);
    expectSignature<QELTBlob (*)(const QELTBlob&, const QELBlob&)>(&operator+);
    expectSignature<QELTBlob (*)(const QELTBlob&, const QELTBlob&)>(&operator+);
    expectSignature<QELTBlob (*)(const QELTBlob&, const char*)>(&operator+);
    expectSignature<QELTBlob (*)(const char*, const QELTBlob&)>(&operator+);
    expectSignature<QELTBlob (*)(const QELBlob&, const QELTBlob&)>(&operator+);
    EXPECT_TRUE((std::is_constructible<QELBlob, unsigned int>::value));
    EXPECT_TRUE((std::is_constructible<QELBlob, const char*>::value));
    EXPECT_TRUE((std::is_constructible<QELBlob, const char*, unsigned int>::value));
    EXPECT_TRUE((std::is_constructible<QELBlob, char, unsigned int>::value));
    EXPECT_TRUE((std::is_constructible<QELBlob, const QELBlob&, unsigned int>::value));
    EXPECT_TRUE((std::is_constructible<QELBlob, const QELTBlob&>::value));
    EXPECT_TRUE((std::is_constructible<QELTBlob, unsigned int>::value));
    EXPECT_TRUE((std::is_constructible<QELTBlob, const QELTBlob&>::value));
    EXPECT_TRUE((std::is_convertible<unsigned int, QELBlob>::value));
    EXPECT_TRUE((std::is_convertible<const QELTBlob&, QELBlob>::value));

    QELBlob a("ab");
    QELBlob b = "cd";
    QELBlob sized = 3u;
    EXPECT_TRUE(ascending({&a.p, &a.size, &a.isWrap}));
    QELBlob c = a + b + "e";
    EXPECT_EQ(c.size, 5u);
    EXPECT_EQ(memcmp(c.p, "abcde", 5), 0);
    EXPECT_EQ(sized.size, 3u);
    QELBlob d = c.mid(1, 2);
    EXPECT_EQ(d.size, 2u);
    EXPECT_EQ(c.hashCode(), blobHashCode(c.p, c.size));
    d += a;
    d += "x";
    d.add(const_cast<char*>("yz"), 2);
    EXPECT_EQ(d.size, 7u);
    EXPECT_EQ(emptyTBlob.size, 0u);
    EXPECT_TRUE(QEL_BLOB_INVARIANT(&d));
}

// -------------------------------------------------------------- containers

static_assert(std::is_same<decltype(_QELContainer::size), int32_t>::value, "size is 32-bit");
static_assert(std::is_base_of<_QELContainer, QELContainer>::value, "container base");
static_assert(std::is_base_of<_QELContainer, QELArrayInterface>::value, "array base");
static_assert(std::is_abstract<QELContainer>::value && std::is_abstract<QELArrayInterface>::value,
              "abstract protocols");
static_assert(std::is_abstract<QELContainer::Iterator>::value, "abstract iterator");
static_assert(std::is_base_of<QELContainer, QELVector>::value && std::is_base_of<QELArrayInterface, QELVector>::value,
              "vector bases");
static_assert(std::is_base_of<QELVector, QELOrderedVector>::value && std::is_base_of<QELOrderedVector, QELStringList>::value,
              "ordered vectors");
static_assert(std::is_base_of<QELVector, QELConstVector>::value, "const vector");
static_assert(std::is_base_of<QELOrderedVector, QELOptionVector>::value, "option vector");
static_assert(std::is_base_of<QELContainer, QELHashtable>::value, "hashtable");
static_assert(std::is_base_of<QELHashtable, QELSimpleHashtable>::value, "keyed hashtable");
static_assert(std::is_base_of<QELSimpleHashtable, QELSimpleStringHashtable>::value, "string map");
static_assert(std::is_base_of<QELSimpleHashtable, QELSimpleLongHashtable>::value, "long map");
static_assert(std::is_base_of<QELHashtable, QELStringHashtable>::value, "string set");
static_assert(std::is_base_of<QELContainer, QELRBTree>::value, "tree");
static_assert(std::is_base_of<QELContainer::Iterator, QELVector::Iterator>::value, "vector iterator");
static_assert(std::is_base_of<QELContainer::Iterator, QELHashtable::Iterator>::value, "hashtable iterator");
static_assert(std::is_base_of<QELHashtable::Iterator, QELSimpleHashtable::Iterator>::value, "map iterator");
static_assert(std::is_base_of<QELContainer::Iterator, QELRBTree::Iterator>::value, "tree iterator");
static_assert(std::is_same<decltype(QELContainer::Iterator::container), const QELContainer*>::value, "container");
EXPECT_FIELD_TYPE(QELVector, array_size, int32_t);
EXPECT_FIELD_TYPE(QELVector, array, const QELContainerItem**);
EXPECT_FIELD_TYPE(QELVector::Iterator, position, int32_t);
EXPECT_FIELD_TYPE(QELHashtable, table_mask, int32_t);
EXPECT_FIELD_TYPE(QELHashtable::Iterator, index, int32_t);
EXPECT_FIELD_TYPE(QELRBTree, _root, QELRBTreeNode*);
EXPECT_FIELD_TYPE(QELRBTree, _first, QELRBTreeNode*);
EXPECT_FIELD_TYPE(QELRBTree::Iterator, node, QELRBTreeNode*);
EXPECT_FIELD_TYPE(QELRBTreeNode, data, const QELContainerItem*);
EXPECT_FIELD_TYPE(QELSimpleHashtableNode, value, void*);
EXPECT_FIELD_TYPE(QELSimpleStringHashtableNode, key, QELString);
EXPECT_FIELD_TYPE(QELSimpleLongHashtableNode, key, long);
EXPECT_FIELD_TYPE(QELSimpleHashtable, replace, bool);
EXPECT_FIELD_TYPE(QELSimpleStringHashtable, ignoreCase, bool);

// The container through its abstract protocol, as a caller would use it.
int countThrough(const QELContainer& c)
{
    int n = 0;
    QELContainer::Iterator* it = c.newIterator(true);
    for (QELContainerItem* item = it->get(); item != NULL; item = it->next(1))
        ++n;
    c.deleteIterator(it);
    return n;
}

TEST(QELApiTest, ContainerProtocolKeepsItsSlots)
{
    typedef QELContainer C;
    typedef QELContainer::Iterator I;
    EXPECT_EQ(slotOf(static_cast<QELBoolean (C::*)()>(&C::empty)), 2);
    EXPECT_EQ(slotOf(static_cast<I* (C::*)(bool) const>(&C::newIterator)), 3);
    EXPECT_EQ(slotOf(static_cast<void (C::*)(I*) const>(&C::deleteIterator)), 4);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (C::*)(const QELContainerItem*, bool, I*)>(&C::add)), 5);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (C::*)(const QELContainerItem*, I*) const>(&C::contains)), 6);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (C::*)(const QELContainerKey*, I*) const>(&C::findFirst)), 7);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (C::*)(I*)>(&C::remove)), 8);
    EXPECT_EQ(slotOf(static_cast<int (C::*)(const QELContainerItem*, const QELContainerItem*) const>(&C::compare2Object)), 9);
    EXPECT_EQ(slotOf(static_cast<int (C::*)(const QELContainerItem*, const QELContainerKey*) const>(&C::compare2Key)), 10);

    EXPECT_EQ(slotOf(static_cast<const QELContainer* (I::*)() const>(&I::getContainer)), 2);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)() const>(&I::operator*)), 3);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)() const>(&I::get)), 4);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)()>(&I::moveToFirst)), 5);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)()>(&I::moveToLast)), 6);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)(int)>(&I::next)), 7);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)(int)>(&I::previous)), 8);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)(const QELContainerKey*)>(&I::findFirst)), 9);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)(const QELContainerKey*)>(&I::findLast)), 10);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)(const QELContainerKey*)>(&I::findNext)), 11);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (I::*)(const QELContainerKey*)>(&I::findPrevious)), 12);

    typedef QELArrayInterface A;
    EXPECT_EQ(slotOf(static_cast<int (A::*)(const QELContainerItem*, bool)>(&A::addElement)), 2);
    EXPECT_EQ(slotOf(static_cast<int (A::*)(const QELContainerItem*) const>(&A::containsElement)), 3);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (A::*)(int) const>(&A::operator[])), 4);
    EXPECT_EQ(slotOf(static_cast<int (A::*)(const QELContainerKey*) const>(&A::findFirstElement)), 5);
    EXPECT_EQ(slotOf(static_cast<int (A::*)(const QELContainerKey*) const>(&A::findLastElement)), 6);
    EXPECT_EQ(slotOf(static_cast<int (A::*)(const QELContainerKey*, int) const>(&A::findNextElement)), 7);
    EXPECT_EQ(slotOf(static_cast<int (A::*)(const QELContainerKey*, int) const>(&A::findPreviousElement)), 8);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (A::*)(int)>(&A::removeElement)), 9);
}

TEST(QELApiTest, VectorsKeepTheirSignaturesAndSlots)
{
    typedef QELVector V;
    typedef QELVector::Iterator VI;
    EXPECT_EQ(slotOf(static_cast<V& (V::*)(const V&)>(&V::operator=)), 11);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (V::*)(const V&) const>(&V::operator==)), 12);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (V::*)(const V&) const>(&V::operator!=)), 13);
    EXPECT_EQ(slotOf(static_cast<int (V::*)(const QELContainerItem*, bool)>(&V::addElement)), 14);
    EXPECT_EQ(slotOf(static_cast<int (V::*)(const QELContainerItem*) const>(&V::containsElement)), 15);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (V::*)(int) const>(&V::operator[])), 16);
    EXPECT_EQ(slotOf(static_cast<int (V::*)(const QELContainerKey*) const>(&V::findFirstElement)), 17);
    EXPECT_EQ(slotOf(static_cast<int (V::*)(const QELContainerKey*) const>(&V::findLastElement)), 18);
    EXPECT_EQ(slotOf(static_cast<int (V::*)(const QELContainerKey*, int) const>(&V::findNextElement)), 19);
    EXPECT_EQ(slotOf(static_cast<int (V::*)(const QELContainerKey*, int) const>(&V::findPreviousElement)), 20);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (V::*)(int)>(&V::removeElement)), 21);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (QELOrderedVector::*)(const QELContainerItem*, int)>(
                  &QELOrderedVector::insertElement)), 22);
    EXPECT_EQ(slotOf(static_cast<void (V::*)(int)>(&V::resize)), -1);
    EXPECT_EQ(slotOf(static_cast<void (V::*)()>(&V::shrink)), -1);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (QELOrderedVector::*)(int)>(&QELOrderedVector::remove)), -1);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (VI::*)(const VI&) const>(&VI::operator==)), 13);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (VI::*)(const VI&) const>(&VI::operator!=)), 14);
    EXPECT_EQ(slotOf(static_cast<VI& (VI::*)(const VI&)>(&VI::operator=)), 15);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (VI::*)(V&, bool)>(&VI::moveTo)), 16);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (VI::*)(int)>(&VI::moveTo)), 17);
    expectSignature<int (VI::*)() const>(&VI::getPosition);
    EXPECT_TRUE((std::is_constructible<V, int>::value));
    EXPECT_TRUE((std::is_constructible<VI, const V&, bool>::value));
    EXPECT_TRUE((std::is_constructible<VI, const V&, int>::value));
    EXPECT_TRUE((std::is_constructible<QELOrderedVector, int>::value));
    EXPECT_TRUE((std::is_constructible<QELOrderedVector, const QELOrderedVector&>::value));
    EXPECT_TRUE((std::is_constructible<QELConstVector, const QELContainerItem**, int>::value));

    QELString a("a"), b("b"), c("c");
    QELStringList list;
    EXPECT_TRUE(ascending({static_cast<const void*>(&list.array_size), &list.array}));
    EXPECT_EQ(list.addElement(reinterpret_cast<const QELContainerItem*>(&a), false), 0);
    EXPECT_TRUE(list.add(reinterpret_cast<const QELContainerItem*>(&c)));
    EXPECT_TRUE(list.insertElement(reinterpret_cast<const QELContainerItem*>(&b), 1));
    EXPECT_EQ(list.size, 3);
    EXPECT_EQ(list.array_size, 3);
    EXPECT_EQ(list.findFirstElement(reinterpret_cast<const QELContainerKey*>(&b)), 1);
    // One shared count: both protocol views reach the same virtual base.
    _QELContainer* shared = &list;
    EXPECT_EQ(shared, static_cast<_QELContainer*>(static_cast<QELArrayInterface*>(&list)));
    EXPECT_EQ(shared, static_cast<_QELContainer*>(static_cast<QELContainer*>(&list)));
    QELArrayInterface& view = list;
    EXPECT_EQ(view[2], reinterpret_cast<QELContainerItem*>(&c));
    EXPECT_EQ(view.size, 3);
    EXPECT_EQ(countThrough(list), 3);
    QELVector::Iterator it(list, true);
    EXPECT_EQ(it.next(1), reinterpret_cast<QELContainerItem*>(&b));
    EXPECT_EQ(it.getPosition(), 1);
    EXPECT_EQ(list.remove(1), reinterpret_cast<QELContainerItem*>(&b));
    EXPECT_EQ(list.remove(&it), reinterpret_cast<QELContainerItem*>(&c));
    const QELContainerItem* fixed[] = {reinterpret_cast<const QELContainerItem*>(&a)};
    QELConstVector constant(fixed, 1);
    EXPECT_EQ(constant.addElement(reinterpret_cast<const QELContainerItem*>(&b), false), -1);
    EXPECT_TRUE(QEL_VECTOR_INVARIANT(&list));
}

TEST(QELApiTest, HashtablesKeepTheirSignaturesAndSlots)
{
    typedef QELHashtable H;
    typedef QELHashtable::Iterator HI;
    EXPECT_EQ(slotOf(static_cast<H& (H::*)(const H&)>(&H::operator=)), 11);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (H::*)(const H&) const>(&H::operator==)), 12);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (H::*)(const H&) const>(&H::operator!=)), 13);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (H::*)(int)>(&H::resize)), 14);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (H::*)(const QELContainerKey*, QELContainer::Iterator*) const>(
                  &H::findLast)), 15);
    EXPECT_EQ(slotOf(static_cast<unsigned int (H::*)(const QELContainerItem*) const>(&H::hashObject)), 16);
    EXPECT_EQ(slotOf(static_cast<unsigned int (H::*)(const QELContainerKey*) const>(&H::hashKey)), 17);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (HI::*)(const HI&) const>(&HI::operator==)), 13);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (HI::*)(const HI&) const>(&HI::operator!=)), 14);
    EXPECT_EQ(slotOf(static_cast<HI& (HI::*)(const HI&)>(&HI::operator=)), 15);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (HI::*)(H&, bool)>(&HI::moveTo)), 16);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (HI::*)(int)>(&HI::_moveTo)), -1);
    EXPECT_EQ(slotOf(static_cast<const void* (QELSimpleHashtableNode::*)() const>(&QELSimpleHashtableNode::getKey)), 2);
    EXPECT_EQ(slotOf(static_cast<const void* (QELSimpleHashtable::Iterator::*)() const>(
                  &QELSimpleHashtable::Iterator::getKey)), -1);
    expectSignature<QELBoolean (QELSimpleStringHashtable::*)(const QELString&, void*)>(&QELSimpleStringHashtable::add);
    expectSignature<QELBoolean (QELSimpleLongHashtable::*)(long, void*)>(&QELSimpleLongHashtable::add);
    EXPECT_TRUE((std::is_constructible<QELHashtable, const QELHashtable&, int>::value));
    EXPECT_TRUE((std::is_constructible<HI, const H&, bool>::value));

    // Bucket counts default to 0 (1024 buckets), flags to false.
    QELHashtable plain;
    QELStringHashtable strings;
    QELSimpleHashtable nodes;
    QELSimpleStringHashtable byText;
    QELSimpleLongHashtable byNumber;
    EXPECT_EQ(plain.table_mask, -1024);
    EXPECT_EQ(strings.table_mask, -1024);
    EXPECT_EQ(nodes.table_mask, -1024);
    EXPECT_FALSE(nodes.replace);
    EXPECT_FALSE(byText.ignoreCase);
    EXPECT_FALSE(byText.replace);
    EXPECT_EQ(byNumber.table_mask, -1024);
    QELSimpleStringHashtable caseless(true, true, 16);
    EXPECT_TRUE(caseless.ignoreCase);
    EXPECT_TRUE(caseless.replace);
    EXPECT_EQ(caseless.table_mask, -16);
    EXPECT_TRUE(ascending({static_cast<const void*>(&plain.table), &plain.table_mask}));

    int one = 1, two = 2;
    EXPECT_TRUE(byText.add(QELString("one"), &one));
    EXPECT_TRUE(byNumber.add(2L, &two));
    QELString key("one");
    long number = 2;
    EXPECT_EQ(byText.findFirst(reinterpret_cast<const QELContainerKey*>(&key)), reinterpret_cast<QELContainerItem*>(&one));
    EXPECT_EQ(byNumber.findFirst(reinterpret_cast<const QELContainerKey*>(&number)),
              reinterpret_cast<QELContainerItem*>(&two));
    QELSimpleHashtable::Iterator it(byText, true);
    EXPECT_STREQ(static_cast<const QELString*>(it.getKey())->p, "one");
    QELString held("held");
    EXPECT_TRUE(strings.add(reinterpret_cast<const QELContainerItem*>(&held)));
    EXPECT_EQ(strings.findFirst(reinterpret_cast<const QELContainerKey*>("held")),
              reinterpret_cast<QELContainerItem*>(&held));
    EXPECT_TRUE(plain.add(reinterpret_cast<const QELContainerItem*>(&one)));
    HI hit(plain, true);
    EXPECT_TRUE(ascending({static_cast<const void*>(&hit.element), &hit.index}));
    EXPECT_EQ(hit.get(), reinterpret_cast<QELContainerItem*>(&one));
    ASSERT_TRUE(hit.element != NULL);
    EXPECT_TRUE(ascending({static_cast<const void*>(&hit.element->next), &hit.element->previous, &hit.element->data}));
    EXPECT_TRUE(plain.resize(8));
    EXPECT_EQ(countThrough(plain), 1);
    EXPECT_TRUE(QEL_HASHTABLE_INVARIANT(&plain));
}

TEST(QELApiTest, TreeKeepsItsSignaturesAndSlots)
{
    typedef QELRBTree T;
    typedef QELRBTree::Iterator TI;
    typedef QELRBTreeNode N;
    EXPECT_EQ(slotOf(static_cast<T& (T::*)(const T&)>(&T::operator=)), 11);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (T::*)(const T&) const>(&T::operator==)), 12);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (T::*)(const T&) const>(&T::operator!=)), 13);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const QELContainerItem*, bool)>(&T::addNode)), 14);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const QELContainerItem*) const>(&T::getNode)), 15);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)() const>(&T::firstNode)), 16);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)() const>(&T::lastNode)), 17);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const N*) const>(&T::nextNode)), 18);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const N*) const>(&T::previousNode)), 19);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const QELContainerKey*) const>(&T::findFirstNode)), 20);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const QELContainerKey*) const>(&T::findLastNode)), 21);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const QELContainerKey*, const N*) const>(&T::findNextNode)), 22);
    EXPECT_EQ(slotOf(static_cast<N* (T::*)(const QELContainerKey*, const N*) const>(&T::findPreviousNode)), 23);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (T::*)(N*)>(&T::removeNode)), 24);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (TI::*)(const TI&) const>(&TI::operator==)), 13);
    EXPECT_EQ(slotOf(static_cast<QELBoolean (TI::*)(const TI&) const>(&TI::operator!=)), 14);
    EXPECT_EQ(slotOf(static_cast<TI& (TI::*)(const TI&)>(&TI::operator=)), 15);
    EXPECT_EQ(slotOf(static_cast<QELContainerItem* (TI::*)(T&, bool)>(&TI::moveTo)), 16);
    expectSignature<N* (TI::*)() const>(&TI::getNode);
    EXPECT_TRUE((std::is_constructible<TI, const T&, bool>::value));
    EXPECT_TRUE((std::is_constructible<TI, const T&, const N&>::value));

    QELRBTree tree;
    EXPECT_TRUE(ascending({static_cast<const void*>(&tree._root), &tree._first}));
    int items[3] = {0, 0, 0};
    for (int& i : items)
        EXPECT_TRUE(tree.add(reinterpret_cast<const QELContainerItem*>(&i)));
    N* first = tree.firstNode();
    ASSERT_TRUE(first != NULL);
    EXPECT_TRUE(ascending({static_cast<const void*>(&first->left), &first->right, &first->parent, &first->data}));
    EXPECT_EQ(first, tree._first);
    TI it(tree, *first);
    EXPECT_EQ(it.getNode(), first);
    EXPECT_EQ(countThrough(tree), 3);
    QELRBTree copy(tree);
    EXPECT_TRUE(copy == tree);
    EXPECT_TRUE(QEL_RBTREE_INVARIANT(&tree));
}

// ------------------------------------------------------ exceptions and logs

EXPECT_FIELD_TYPE(QELException, errorNumber, int32_t);
EXPECT_FIELD_TYPE(QELException, errorMessage, QELString);
EXPECT_FIELD_TYPE(QELLogEvent, message, QELString);
EXPECT_FIELD_TYPE(QELLogEvent, code, QELString);
EXPECT_FIELD_TYPE(QELLogEvent, type, int32_t);
EXPECT_FIELD_TYPE(QELLogEvent, timestamp, QELDate);
EXPECT_FIELD_TYPE(QELLogEvent, stackTrace, QELString);
EXPECT_FIELD_TYPE(QELLog, logLevel, int32_t);
EXPECT_FIELD_TYPE(QELLog, formatter, QELLogEventFormatter*);
EXPECT_FIELD_TYPE(QELLog, printer, QELLogEventPrinter*);
EXPECT_FIELD_TYPE(QELLogEventBufferPrinter, buffer, QELString);
EXPECT_FIELD_TYPE(QELLogDeserializer, buffer, QELString);
EXPECT_FIELD_TYPE(QELLogDeserializer, state, int32_t);
EXPECT_FIELD_TYPE(QELLogDeserializer, recordSize, int32_t);
EXPECT_FIELD_TYPE(QELLogDeserializer, log, QELLog*);
EXPECT_FIELD_TYPE(QELLogDeserializer, parser, void*);
EXPECT_FIELD_TYPE(QELLogDeserializer, parserLog, QELNullLog);
static_assert(std::is_polymorphic<QELException>::value && !std::is_polymorphic<QELLogEvent>::value, "4.1");
static_assert(std::is_abstract<QELLogEventFormatter>::value && std::is_abstract<QELLogEventPrinter>::value, "4.2");
static_assert(std::is_base_of<QELLogEventFormatter, QELLogEventTextFormatter>::value, "text formatter");
static_assert(std::is_base_of<QELLogEventFormatter, QELLogEventXmlFormatter>::value, "xml formatter");
static_assert(std::is_base_of<QELLogEventPrinter, QELLogEventStreamPrinter>::value, "stream printer");
static_assert(std::is_base_of<QELLogEventPrinter, QELLogEventBufferPrinter>::value, "buffer printer");
static_assert(std::is_base_of<QELLog, QELTextLog>::value && std::is_base_of<QELLog, QELXmlLog>::value, "sinks");
static_assert(std::is_base_of<QELLog, QELBufferedTextLog>::value && std::is_base_of<QELLog, QELBufferedXmlLog>::value,
              "buffered sinks");
static_assert(std::is_base_of<QELLog, QELNullLog>::value, "null sink");
static_assert(std::is_polymorphic<QELLogDeserializer>::value, "deserializer");

TEST(QELApiTest, ExceptionsAndLogsKeepTheirSignaturesAndSlots)
{
    EXPECT_EQ(slotOf(&QELException::getErrorMessage), 2);
    EXPECT_EQ(slotOf(&QELException::getErrorNumber), 3);
    expectSignature<const QELString& (QELException::*)() const>(&QELException::getErrorMessage);
    expectSignature<int (QELException::*)() const>(&QELException::getErrorNumber);
    expectSignature<int (*)(const char*)>(&getLogEventType);
    EXPECT_EQ(slotOf(static_cast<QELString (QELLogEventFormatter::*)(const QELLogEvent&)>(
                  &QELLogEventFormatter::formatEvent)), 2);
    EXPECT_EQ(slotOf(static_cast<void (QELLogEventPrinter::*)(const QELString&)>(&QELLogEventPrinter::printEvent)), 2);
    EXPECT_EQ(slotOf(static_cast<void (QELLog::*)(int)>(&QELLog::setLogLevel)), 0);
    EXPECT_EQ(slotOf(static_cast<void (QELLog::*)(const QELLogEvent&)>(&QELLog::log)), 1);
    EXPECT_EQ(slotOf(static_cast<void (QELLogDeserializer::*)(const QELLogEvent&)>(&QELLogDeserializer::processEvent)),
              0);
    expectSignature<void (QELTextLog::*)(std::ostream&)>(&QELTextLog::setOutputStream);
    expectSignature<void (QELXmlLog::*)(std::ostream&)>(&QELXmlLog::setOutputStream);
    expectSignature<void (QELLogEventStreamPrinter::*)(std::ostream&)>(&QELLogEventStreamPrinter::setOutputStream);
    expectSignature<const QELString& (QELBufferedTextLog::*)() const>(&QELBufferedTextLog::getBuffer);
    expectSignature<const QELString& (QELBufferedXmlLog::*)() const>(&QELBufferedXmlLog::getBuffer);
    expectSignature<void (QELLogDeserializer::*)(const QELString&)>(&QELLogDeserializer::append);
    expectSignature<void (QELLogDeserializer::*)()>(&QELLogDeserializer::flush);
    expectSignature<QELBoolean (QELLogDeserializer::*)(QELLogEvent&, const QELString&, unsigned int, unsigned int)>(&QELLogDeserializer::deserializeLogEvent);
    expectSignature<void (*)(void*, const char*, const char**)>(&startLogEventElement);
    expectSignature<void (*)(void*, const char*, int)>(&logEventText);
    EXPECT_TRUE((std::is_constructible<QELException, const QELString&>::value));
    EXPECT_TRUE((std::is_constructible<QELException, int, const QELString&>::value));
    EXPECT_TRUE((std::is_constructible<QELLogEvent, const QELString&, const QELString&, int, const QELString&>::value));
    EXPECT_TRUE((std::is_constructible<QELLogEventStreamPrinter, std::ostream&>::value));
    EXPECT_TRUE((std::is_constructible<QELLogDeserializer, QELLog*>::value));
    QELString& start = QEL_LOG_EVENT_HEADER_START;
    QELString& end = QEL_LOG_EVENT_HEADER_END;
    EXPECT_STREQ(start.p, "<!-- QELLog size=");
    EXPECT_STREQ(end.p, " -->");
    EXPECT_STREQ(MESSAGE_XML_TYPES[3], "WARNING");
    EXPECT_STREQ(MESSAGE_TEXT_TYPES[2], "<ERROR>   ");
    QELXmlLog& standardError = QEL_STDERR;
    EXPECT_TRUE(standardError.formatter != NULL);

    try {
        throw QELException(7, QELString("seven"));
    } catch (const QELException& e) {
        EXPECT_EQ(e.getErrorNumber(), 7);
        EXPECT_STREQ(e.getErrorMessage().p, "seven");
        EXPECT_TRUE(ascending({static_cast<const void*>(&e.errorNumber), &e.errorMessage}));
    }
    QELLogEvent event(QELString("text"), QELString("C1"), 2, QELString());
    EXPECT_TRUE(ascending({static_cast<const void*>(&event.message), &event.code, &event.type, &event.timestamp,
                           &event.stackTrace}));
    QELLogEvent plainEvent("plain");
    EXPECT_EQ(plainEvent.type, 0);
    EXPECT_EQ(getLogEventType("DEBUG"), 6);

    std::ostringstream stream;
    QELTextLog text(stream);
    EXPECT_TRUE(ascending({static_cast<const void*>(&text.logLevel), &text.formatter, &text.printer}));
    text.setLogLevel(3);
    text.log(event);
    EXPECT_EQ(stream.str(), "<ERROR>   text\n");
    QELBufferedXmlLog buffered;
    buffered.log(event);
    QELLogDeserializer reader(&text);
    EXPECT_TRUE(ascending({static_cast<const void*>(&reader.buffer), &reader.state, &reader.recordSize, &reader.log,
                           &reader.parser, &reader.parserLog}));
    EXPECT_EQ(reader.state, 1);
    reader.append(QELString("a plain line\n"));
    EXPECT_EQ(stream.str(), "<ERROR>   text\n          a plain line\n");
    QELNullLog discard;
    discard.log(event);
    EXPECT_TRUE(discard.formatter == NULL);
}

// ----------------------------------------------- dates, files, processes

EXPECT_FIELD_TYPE(QELDate, year, int16_t);
EXPECT_FIELD_TYPE(QELDate, month, uint16_t);
EXPECT_FIELD_TYPE(QELDate, day, uint16_t);
EXPECT_FIELD_TYPE(QELDate, hour, uint16_t);
EXPECT_FIELD_TYPE(QELDate, minute, uint16_t);
EXPECT_FIELD_TYPE(QELDate, second, uint16_t);
EXPECT_FIELD_TYPE(QELDate, fraction, uint32_t);
EXPECT_FIELD_TYPE(QELDate, isNull, bool);
static_assert(sizeof(QELDate::text) == 30, "a 30-character text buffer");
static_assert(!std::is_polymorphic<QELDate>::value && !std::is_polymorphic<QELFile>::value, "plain classes");
EXPECT_FIELD_TYPE(QELFile, path, QELString);
EXPECT_FIELD_TYPE(QELFile, converter, QELEncodingConverter*);

TEST(QELApiTest, DatesFilesAndProcessesKeepTheirSignatures)
{
    expectSignature<void (QELDate::*)()>(&QELDate::empty);
    expectSignature<void (QELDate::*)(const DATE_STRUCT*)>(&QELDate::setDate);
    expectSignature<void (QELDate::*)(const TIME_STRUCT*)>(&QELDate::setDate);
    expectSignature<void (QELDate::*)(const TIMESTAMP_STRUCT*)>(&QELDate::setDate);
    expectSignature<void (QELDate::*)(long)>(&QELDate::setDate);
    expectSignature<void (QELDate::*)()>(&QELDate::setDate);
    expectSignature<void (QELDate::*)(TIMESTAMP_STRUCT*) const>(&QELDate::getDate);
    expectSignature<void (QELDate::*)(DATE_STRUCT*) const>(&QELDate::getDate);
    expectSignature<void (QELDate::*)(TIME_STRUCT*) const>(&QELDate::getDate);
    expectSignature<TIMESTAMP_STRUCT* (QELDate::*)() const>(&QELDate::getDate);
    expectSignature<TIME_STRUCT* (QELDate::*)() const>(&QELDate::getTime);
    expectSignature<const char* (QELDate::*)() const>(&QELDate::chars);
    expectSignature<const char* (QELDate::*)() const>(&QELDate::getHour);
    expectSignature<const char* (QELDate::*)() const>(&QELDate::getODBCDate);
    expectSignature<const char* (QELDate::*)() const>(&QELDate::getODBCTimestamp);
    expectSignature<QELString (QELDate::*)() const>(&QELDate::getXmlTimestamp);
    expectSignature<long (*)(tm*, int)>(&QELmktime_i);
    EXPECT_TRUE((std::is_constructible<QELDate, DATE_STRUCT>::value));
    EXPECT_TRUE((std::is_constructible<QELDate, TIME_STRUCT>::value));
    EXPECT_TRUE((std::is_constructible<QELDate, TIMESTAMP_STRUCT>::value));
    EXPECT_TRUE((std::is_constructible<QELDate, long>::value));
    EXPECT_TRUE((std::is_assignable<QELDate&, const DATE_STRUCT*>::value));
    EXPECT_TRUE((std::is_assignable<QELDate&, const TIME_STRUCT*>::value));
    EXPECT_TRUE((std::is_assignable<QELDate&, const TIMESTAMP_STRUCT*>::value));

    QELString text("2006-03-05 14:07:09.123");
    QELDate date;
    date.setDate(text);
    EXPECT_TRUE(ascending({static_cast<const void*>(&date.year), &date.month, &date.day, &date.hour, &date.minute,
                           &date.second, &date.fraction, &date.text, &date.isNull}));
    // The seven value fields lie exactly as in the ODBC timestamp.
    TIMESTAMP_STRUCT* ts = date.getDate();
    ASSERT_TRUE(ts != NULL);
    EXPECT_EQ(static_cast<void*>(ts), static_cast<void*>(&date.year));
    EXPECT_EQ(ts->fraction, 123u);
    EXPECT_STREQ(date.getXmlTimestamp().p, "2006- 3-05T14:07:09Z");
    EXPECT_STREQ(date.getODBCDate(), "2006-03-05");
    QELDate secondDay(86400L);
    EXPECT_EQ(secondDay.day, 2);
    long seconds = secondDay;
    EXPECT_GT(seconds, 0);
    EXPECT_EQ(month_offset[1][2], 60);
    EXPECT_EQ(dmsize[0][1], 28);

    expectSignature<QELFile (*)(const QELString&)>(&QELFile::makeTempFile);
    expectSignature<const QELString& (QELFile::*)() const>(&QELFile::getPath);
    expectSignature<bool (QELFile::*)() const>(&QELFile::isAbsolute);
    expectSignature<bool (QELFile::*)() const>(&QELFile::isRelative);
    expectSignature<QELString (QELFile::*)() const>(&QELFile::getName);
    expectSignature<QELString (QELFile::*)() const>(&QELFile::getDirectory);
    expectSignature<QELString (QELFile::*)() const>(&QELFile::getFileName);
    expectSignature<QELString (QELFile::*)() const>(&QELFile::getFileExtension);
    expectSignature<bool (QELFile::*)() const>(&QELFile::exists);
    expectSignature<bool (QELFile::*)() const>(&QELFile::isFile);
    expectSignature<bool (QELFile::*)() const>(&QELFile::isDirectory);
    expectSignature<int (QELFile::*)() const>(&QELFile::getSize);
    expectSignature<bool (QELFile::*)(int)>(&QELFile::open);
    expectSignature<bool (QELFile::*)()>(&QELFile::close);
    expectSignature<bool (QELFile::*)()>(&QELFile::remove);
    expectSignature<int (QELFile::*)(char*, int)>(&QELFile::read);
    expectSignature<bool (QELFile::*)(char*, int)>(&QELFile::write);
    expectSignature<QELFile& (QELFile::*)(const QELString&)>(&QELFile::operator<<);
    expectSignature<QELFile& (QELFile::*)(QELFile& (*)(QELFile&))>(&QELFile::operator<<);
    expectSignature<void (QELFile::*)()>(&QELFile::setStdOut);
    expectSignature<void (QELFile::*)()>(&QELFile::setStdErr);
    expectSignature<QELString (QELFile::*)(int)>(&QELFile::getFullLine);
    expectSignature<void (QELFile::*)(const QELString&)>(&QELFile::setDataEncoding);
    expectSignature<QELString (QELFile::*)() const>(&QELFile::getDataEncoding);
    expectSignature<void (QELFile::*)(const QELString&)>(&QELFile::computeAbsolutePath);
    expectSignature<QELString (*)(const char*)>(&getTmpFileName);

    QELFile file(QELString("/qel-api-missing/a/b.txt"));
    EXPECT_TRUE(ascending({static_cast<const void*>(&file.path), &file.stream, &file.converter}));
    EXPECT_STREQ(file.getName().p, "b.txt");
    EXPECT_STREQ(file.getFileExtension().p, "txt");
    QELFile copy = file;
    copy = QELString("/qel-api-missing/x");
    EXPECT_TRUE(copy.isAbsolute());
    EXPECT_FALSE(copy.open(std::ios::in | std::ios::binary));

    expectSignature<int (*)()>(&getProcessId);
    expectSignature<int (*)(int)>(&getParentProcessId);
    expectSignature<QELString (*)(int)>(&getProcessName);
    expectSignature<QELString (*)(int)>(&getProcessPath);
    expectSignature<QELString (*)()>(&getCommandLine);
    expectSignature<bool (*)(QELString, int, QELString*, int*, QELString, QELString*, QELString*, QELLog*,
                              const char*, bool)>(&exec);
    expectSignature<bool (*)(QELString, int, QELString*, int*, QELString, QELString*, QELString*, QELLog*,
                              const char*)>(&launchInSeparateProcess);
    expectSignature<bool (*)(QELString, int, QELString*, const char*)>(&execInSeparateProcess);
    EXPECT_GT(getProcessId(), 0);
    int status = -1;
    QELString out;
    EXPECT_TRUE(launchInSeparateProcess(QELString("/bin/echo"), 0, NULL, &status, QELString(), &out, &out, NULL,
                                        NULL));
    EXPECT_EQ(status, 0);
    EXPECT_STREQ(out.p, "\n");
}

// ----------------------------------------------------------- configuration

EXPECT_FIELD_TYPE(QELSetup, fileName, QELString);
static_assert(!std::is_polymorphic<QELConfigurationData>::value, "plain configuration data");

TEST(QELApiTest, ConfigurationKeepsItsSignatures)
{
    expectSignature<bool (QELConfigurationData::*)(QELString)>(&QELConfigurationData::readXMLFile);
    expectSignature<bool (*)(const QELString&)>(&setQELI18nLang);
    expectSignature<bool (*)(const QELString&)>(&setQELConfigurationPath);
    expectSignature<void (*)(const char*)>(&setQELClassPath);
    expectSignature<int (*)()>(&getQELLogLevel);
    expectSignature<QELString (*)(bool)>(&getQELClassPath);
    QELString (*const getters[])() = {
        getQELI18nLang, getQELConfigurationPath, getQELInstallationPath, getQELBinPath, getQELLogPath,
        getQELTempPath, getQELTextLiteralsPath, getQELJavaPath, getQELRepositoryDirectory, getQELJavaRunTime,
        getQELSystemClassPath, getZUNAPath, getQELI18nPath, getQELDatatypeMappingPath, getQELFunctionMappingPath,
        getQELMappingSpecificationPath, getQELPavornTemplatePath, getQELPavornsXMLPath, getQELSetupXMLPath,
        getQELJavaPolicyPath, getQELServerLogPath, getQELJvmPath, getQELJavaLibraryPath, getQELJavaOptions,
        getQELRepositoryDSN, getQELRepositoryDSNUser, getQELRepositoryDSNPassword, getQELServerParameters,
        getQELServerEncryption, getQELClientParameters, getQELPavornXmlConversationDirectory};
    for (QELString (*getter)() : getters) {
        QELString value = getter();
        EXPECT_TRUE(stringInvariantHolds(&value));
    }

    QELConfigurationData& data = config;
    EXPECT_TRUE(ascending({static_cast<const void*>(&data.homeDirectory), &data.binDirectory, &data.logDirectory,
                           &data.tempDirectory, &data.textLiteralsDirectory, &data.javaDirectory, &data.javaClassPath,
                           &data.appendSystemClassPath, &data.virtualMachinePath, &data.javaLibraryPath,
                           &data.javaRunTimeExecutable, &data.javaRunTimeOptions, &data.serverParameters,
                           &data.serverEncryption, &data.clientParameters, &data.repositoryDirectory,
                           &data.repositoryDataSourceName, &data.repositoryLoginUser, &data.repositoryLoginPassword,
                           &data.logLevel, &data.xmlConversationDirectory, &data.configurationPath}));
    QELString configuration = getQELConfigurationPath();
    EXPECT_EQ(configuration.p[configuration.len - 1], '/');
    EXPECT_STREQ(getQELSetupXMLPath().p, (configuration + QELString("QELSetup.xml")).p);

    expectSignature<bool (QELSetup::*)()>(&QELSetup::read);
    expectSignature<bool (QELSetup::*)()>(&QELSetup::write);
    expectSignature<QELString (QELSetup::*)(QELString)>(&QELSetup::getValue);
    expectSignature<bool (QELSetup::*)(QELString, QELString)>(&QELSetup::setValue);
    expectSignature<XERCES_CPP_NAMESPACE_QUALIFIER DOMNode* (QELSetup::*)(QELString)>(&QELSetup::findNode);
    expectSignature<XERCES_CPP_NAMESPACE_QUALIFIER DOMNode* (QELSetup::*)(XERCES_CPP_NAMESPACE_QUALIFIER DOMNode*,
                                                                          QELString)>(&QELSetup::findSubNode);
    expectSignature<void (QELSetup::*)(QELSetup*)>(&QELSetup::setFrom);
    expectSignature<void (QELSetup::*)(XERCES_CPP_NAMESPACE_QUALIFIER DOMNode*, QELString, QELSetup*)>(&QELSetup::setFrom);
    QELSetup setup(getQELSetupXMLPath());
    EXPECT_TRUE(ascending({static_cast<const void*>(&setup.fileName), &setup.document, &setup.parser}));
    EXPECT_TRUE(setup.read());
    EXPECT_TRUE(setup.findNode(QELString("Directory")) != NULL);

    typedef QELOption O;
    EXPECT_EQ(slotOf(&O::setName), 2);
    EXPECT_EQ(slotOf(&O::getName), 3);
    EXPECT_EQ(slotOf(&O::setDisplayName), 4);
    EXPECT_EQ(slotOf(&O::getDisplayName), 5);
    EXPECT_EQ(slotOf(&O::setType), 6);
    EXPECT_EQ(slotOf(&O::getType), 7);
    EXPECT_EQ(slotOf(&O::setDefaultValue), 8);
    EXPECT_EQ(slotOf(&O::getDefaultValue), 9);
    EXPECT_EQ(slotOf(&O::getDisplayDefaultValue), 10);
    EXPECT_EQ(slotOf(&O::setDescription), 11);
    EXPECT_EQ(slotOf(&O::getDescription), 12);
    EXPECT_EQ(slotOf(&O::setValue), 13);
    EXPECT_EQ(slotOf(&O::getSpecifiedValue), 14);
    EXPECT_EQ(slotOf(&O::getValue), 15);
    EXPECT_EQ(slotOf(&O::getDisplayValue), 16);
    EXPECT_EQ(slotOf(&O::setMandatory), 17);
    EXPECT_EQ(slotOf(&O::isMandatory), 18);
    EXPECT_EQ(slotOf(&O::setTransferable), 19);
    EXPECT_EQ(slotOf(&O::isTransferable), 20);
    EXPECT_EQ(slotOf(&O::setOpenMode), 21);
    EXPECT_EQ(slotOf(&O::getOpenMode), 22);
    expectSignature<void (O::*)(const QELString&)>(&O::setName);
    expectSignature<const QELString& (O::*)() const>(&O::getName);
    expectSignature<void (O::*)(const QELString&)>(&O::setDisplayName);
    expectSignature<const QELString& (O::*)() const>(&O::getDisplayName);
    expectSignature<void (O::*)(const QELString&)>(&O::setType);
    expectSignature<const QELString& (O::*)() const>(&O::getType);
    expectSignature<void (O::*)(const QELString&)>(&O::setDefaultValue);
    expectSignature<const QELString& (O::*)() const>(&O::getDefaultValue);
    expectSignature<const QELString& (O::*)() const>(&O::getDisplayDefaultValue);
    expectSignature<void (O::*)(const QELString&)>(&O::setDescription);
    expectSignature<const QELString& (O::*)() const>(&O::getDescription);
    expectSignature<void (O::*)(const QELString&)>(&O::setValue);
    expectSignature<const QELString& (O::*)() const>(&O::getSpecifiedValue);
    expectSignature<const QELString& (O::*)() const>(&O::getValue);
    expectSignature<const QELString& (O::*)() const>(&O::getDisplayValue);
    expectSignature<void (O::*)(bool)>(&O::setMandatory);
    expectSignature<bool (O::*)() const>(&O::isMandatory);
    expectSignature<void (O::*)(bool)>(&O::setTransferable);
    expectSignature<bool (O::*)() const>(&O::isTransferable);
    expectSignature<void (O::*)(const QELString&)>(&O::setOpenMode);
    expectSignature<const QELString& (O::*)() const>(&O::getOpenMode);
    expectSignature<bool (O::*)(const QELString&, const QELString&)>(&O::addPossibleValue);
    expectSignature<bool (O::*)(const QELString&)>(&O::addPossibleValue);
    expectSignature<bool (O::*)(int)>(&O::removePossibleValue);
    expectSignature<void (O::*)()>(&O::removePossibleValues);
    expectSignature<QELOption* (QELOptionList::*)(const QELString&)>(&QELOptionList::remove);
    expectSignature<QELOption* (QELOptionList::*)(QELOption*)>(&QELOptionList::remove);
    expectSignature<void (QELOptionList::*)()>(&QELOptionList::removeAll);
    expectSignature<const QELString& (QELOptionList::*)(const QELString&)>(&QELOptionList::getValue);
    static_assert(std::is_same<decltype(QELOptionList::options), QELOptionVector>::value, "options");
    static_assert(std::has_virtual_destructor<QELOptionList>::value, "option lists are polymorphic");

    QELOptionList list;
    QELOption* option = new QELOption(QELString("format"));
    EXPECT_TRUE(ascending({static_cast<const void*>(&option->name), &option->displayName, &option->type,
                           &option->defaultValue, &option->description, &option->value, &option->mandatory,
                           &option->transferable, &option->openMode, &option->possibleValues,
                           &option->displayPossibleValues}));
    option->setType("Boolean");
    option->setDefaultValue("true");
    EXPECT_TRUE(option->addPossibleValue("true", "Yes"));
    EXPECT_TRUE(option->addPossibleValue("false", "No"));
    EXPECT_TRUE(list.options.add(reinterpret_cast<const QELContainerItem*>(option)));
    EXPECT_STREQ(list.getValue("FORMAT").p, "true");
    EXPECT_STREQ(option->getDisplayValue().p, "Yes");
    EXPECT_STREQ(option->getPossibleValue(1).p, "false");
    EXPECT_STREQ(option->getDisplayPossibleValue(QELString("false")).p, "No");
    EXPECT_TRUE(option->valueIsPossibleValue("false"));
    EXPECT_TRUE(list.remove("FORMAT") == NULL);
    EXPECT_EQ(list.remove(option), option);
    delete option;
}

// ------------------------------------------------------------ text literals

EXPECT_FIELD_TYPE(QELTextLiteral, id, QELString);
EXPECT_FIELD_TYPE(QELTextLiteral, text, QELString);
EXPECT_FIELD_TYPE(QELParameterizedTextLiteral, preprocessedTextTokens, QELString*);
EXPECT_FIELD_TYPE(QELParameterizedTextLiteral, preprocessedParameterSequenceTokens, int32_t*);
EXPECT_FIELD_TYPE(QELParameterizedTextLiteral, parameterCount, int32_t);
EXPECT_FIELD_TYPE(QELParameterizedTextLiteral, maxParameterNumber, int32_t);
EXPECT_FIELD_TYPE(QELMessageLiteral, levelName, QELString);
EXPECT_FIELD_TYPE(QELMessageLiteral, level, int32_t);
EXPECT_FIELD_TYPE(QELMessageLiteral, additionalText, QELString);
static_assert(std::is_same<decltype(QELTextLiteralsCollection::counOfTextLiteralsCollections), int32_t>::value,
              "registry count");
static_assert(sizeof(QELTextLiteralsCollection::textLiteralsCollections) == 128 * sizeof(void*), "registry");
static_assert(std::is_base_of<QELTextLiteral, QELParameterizedTextLiteral>::value, "parameterised literal");
static_assert(std::is_base_of<QELParameterizedTextLiteral, QELMessageLiteral>::value, "message literal");
static_assert(std::is_abstract<QELTextLiteralsCollection>::value, "abstract collection");

// A collection of two literals, as a product module would derive it.
class ApiCollection : public QELTextLiteralsCollection {
public:
    QELTextLiteral title;
    QELParameterizedTextLiteral greeting;
    QELTextLiteral* literals[3];

    ApiCollection() : title("title", "Title"), greeting("greeting", "Hello {0}")
    {
        literals[0] = &title;
        literals[1] = &greeting;
        literals[2] = NULL;
    }
    virtual QELString getCollectionName() { return QELString("Api"); }
    virtual QELTextLiteral** getTextLiterals() { return literals; }
};

TEST(QELApiTest, TextLiteralsKeepTheirSignaturesAndSlots)
{
    EXPECT_EQ(slotOf(&QELTextLiteral::update), 2);
    EXPECT_EQ(slotOf(static_cast<void (QELParameterizedTextLiteral::*)(const QELString&, const QELDOMElement*)>(
                  &QELParameterizedTextLiteral::update)), 2);
    EXPECT_EQ(slotOf(&QELTextLiteralsCollection::getCollectionName), 0);
    EXPECT_EQ(slotOf(&QELTextLiteralsCollection::getTextLiterals), 1);
    expectSignature<void (QELTextLiteral::*)(const QELString&, const QELDOMElement*)>(&QELTextLiteral::update);
    expectSignature<void (QELParameterizedTextLiteral::*)(bool)>(&QELParameterizedTextLiteral::preprocessParameters);
    expectSignature<void* (QELParameterizedTextLiteral::*)() const>(&QELParameterizedTextLiteral::prapareForParameters);
    expectSignature<void (QELParameterizedTextLiteral::*)(void*, int, const QELString&) const>(&QELParameterizedTextLiteral::setParameterValue);
    expectSignature<QELString (QELParameterizedTextLiteral::*)(void*) const>(&QELParameterizedTextLiteral::createParametrizedText);
    expectSignature<void (QELMessageLiteral::*)()>(&QELMessageLiteral::initLevel);
    expectSignature<QELString (QELTextLiteralsCollection::*)()>(&QELTextLiteralsCollection::getCollectionName);
    expectSignature<QELTextLiteral** (QELTextLiteralsCollection::*)()>(&QELTextLiteralsCollection::getTextLiterals);
    expectSignature<void (QELTextLiteralsCollection::*)()>(&QELTextLiteralsCollection::init);
    expectSignature<void (QELTextLiteralsCollection::*)(const QELString&)>(&QELTextLiteralsCollection::loadTranslation);
    expectSignature<int (QELTextLiteralsCollection::*)(const QELString&, const QELString&, const QELDOMElement*)>(&QELTextLiteralsCollection::addTextTranslation);
    expectSignature<void (*)()>(&QELTextLiteralsCollection::reInitAll);
    expectSignature<void (*)(const QELString&)>(&QELTextLiteralsCollection::setTranslationsPath);
    expectSignature<void (*)(const QELString&)>(&QELTextLiteralsCollection::setApplicationLocale);
    EXPECT_TRUE((std::is_constructible<QELMessageLiteral, const QELString&, const QELString&, const QELString&>::value));

    QELParameterizedTextLiteral literal("id", "a{0}b{1}c");
    EXPECT_TRUE(ascending({static_cast<const void*>(&literal.id), &literal.text, &literal.preprocessedTextTokens,
                           &literal.preprocessedParameterSequenceTokens, &literal.parameterCount,
                           &literal.maxParameterNumber}));
    void* values = literal.prapareForParameters();
    literal.setParameterValue(values, 0, "x");
    literal.setParameterValue(values, 1, "y");
    EXPECT_STREQ(literal.createParametrizedText(values).p, "axbyc");
    QELMessageLiteral message("m", "{0} failed", "WARNING");
    EXPECT_TRUE(ascending({static_cast<const void*>(&message.maxParameterNumber), &message.levelName, &message.level,
                           &message.additionalText}));
    EXPECT_EQ(message.level, 3);

    ApiCollection collection;
    collection.addTextTranslation("greeting", "Hi {0}", NULL);
    collection.addTextTranslation("unknown", "ignored", NULL);
    EXPECT_STREQ(collection.greeting.text.p, "Hi {0}");
    EXPECT_GE(QELTextLiteralsCollection::counOfTextLiteralsCollections, 0);
    const QELString& path = QELTextLiteralsCollection::translationsPath;
    const QELString& locale = QELTextLiteralsCollection::applicationLocale;
    EXPECT_TRUE(stringInvariantHolds(&path));
    EXPECT_TRUE(stringInvariantHolds(&locale));
}

// The version macros and the loaded library's version agree, and the text
// is MAJOR.MINOR.PATCH.
TEST(QELApiTest, VersionMacrosMatchTheLoadedLibrary)
{
    EXPECT_STREQ(qelStdVersion(), QEL_STD_VERSION);
    char expected[32];
    snprintf(expected, sizeof expected, "%d.%d.%d", QEL_STD_VERSION_MAJOR, QEL_STD_VERSION_MINOR,
             QEL_STD_VERSION_PATCH);
    EXPECT_STREQ(qelStdVersion(), expected);
    EXPECT_EQ(QEL_STD_VERSION_NUMBER,
              QEL_STD_VERSION_MAJOR * 10000 + QEL_STD_VERSION_MINOR * 100 + QEL_STD_VERSION_PATCH);
}

} // namespace
