// Tests of QELException, QELLogEvent and the log level tables.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <type_traits>

#include "QELException.h"

namespace {

// --- QELException ---

TEST(QELExceptionTest, MessageAloneGivesErrorNumberZero)
{
    QELException e(QELString("disk full"));
    EXPECT_EQ(e.getErrorNumber(), 0);
    EXPECT_EQ(e.errorNumber, 0);
    EXPECT_STREQ(e.getErrorMessage().chars(), "disk full");
    EXPECT_EQ(&e.getErrorMessage(), &e.errorMessage);
}

TEST(QELExceptionTest, NumberAndMessageAreBothKept)
{
    const int numbers[] = { 0, 1, -1, 42, 2147483647, -2147483647 - 1 };
    for (int n : numbers) {
        QELException e(n, QELString("message"));
        EXPECT_EQ(e.getErrorNumber(), n);
        EXPECT_STREQ(e.getErrorMessage().chars(), "message");
    }
    QELException empty(7, QELString());
    EXPECT_EQ(empty.getErrorMessage().length(), 0);
}

TEST(QELExceptionTest, CopyKeepsNumberAndMessage)
{
    QELException e(13, QELString("cannot open"));
    QELException copy(e);
    EXPECT_EQ(copy.getErrorNumber(), 13);
    EXPECT_STREQ(copy.getErrorMessage().chars(), "cannot open");
    // The copy owns its own message.
    EXPECT_NE(copy.errorMessage.p, e.errorMessage.p);

    QELException assigned(QELString("other"));
    assigned = e;
    EXPECT_EQ(assigned.getErrorNumber(), 13);
    EXPECT_STREQ(assigned.getErrorMessage().chars(), "cannot open");
}

// A subclass whose getters report something else than its fields.
class RenumberedException : public QELException {
public:
    RenumberedException() : QELException(1, QELString("field text")), reported("reported text") {}
    const QELString& getErrorMessage() const override { return reported; }
    int getErrorNumber() const override { return 99; }
    QELString reported;
};

TEST(QELExceptionTest, CopyTakesNumberAndMessageThroughTheGetters)
{
    RenumberedException sub;
    QELException copy(sub);
    EXPECT_EQ(copy.errorNumber, 99);
    EXPECT_STREQ(copy.errorMessage.chars(), "reported text");
    EXPECT_EQ(copy.getErrorNumber(), 99);
}

TEST(QELExceptionTest, IsAPolymorphicClassWithoutBase)
{
    EXPECT_TRUE(std::is_polymorphic<QELException>::value);
    EXPECT_TRUE(std::has_virtual_destructor<QELException>::value);
    const QELException* p = new RenumberedException();
    EXPECT_EQ(p->getErrorNumber(), 99);
    delete p; // through the virtual destructor
}

TEST(QELExceptionTest, ThrownExceptionIsCaughtWithItsContent)
{
    try {
        throw QELException(5, QELString("thrown"));
    } catch (const QELException& e) {
        EXPECT_EQ(e.getErrorNumber(), 5);
        EXPECT_STREQ(e.getErrorMessage().chars(), "thrown");
        return;
    }
    FAIL() << "not caught";
}

TEST(QELExceptionTest, SubclassIsCaughtAsQELException)
{
    try {
        throw RenumberedException();
    } catch (QELException& e) {
        EXPECT_EQ(e.getErrorNumber(), 99);
        EXPECT_STREQ(e.getErrorMessage().chars(), "reported text");
        return;
    }
    FAIL() << "not caught";
}

// --- Level tables ---

TEST(QELExceptionTest, LevelNamesAndTextPrefixes)
{
    struct Row {
        int level;
        const char* name;
        const char* prefix;
    };
    const Row rows[] = {
        { 0, "NONE", "          " },
        { 1, "FATAL", "<FATAL>   " },
        { 2, "ERROR", "<ERROR>   " },
        { 3, "WARNING", "<WARNING> " },
        { 4, "STATUS", "<STATUS>  " },
        { 5, "INFO", "<INFO>    " },
        { 6, "DEBUG", "<DEBUG>   " },
    };
    EXPECT_EQ(sizeof(MESSAGE_XML_TYPES) / sizeof(MESSAGE_XML_TYPES[0]), 7u);
    EXPECT_EQ(sizeof(MESSAGE_TEXT_TYPES) / sizeof(MESSAGE_TEXT_TYPES[0]), 7u);
    for (const Row& row : rows) {
        EXPECT_STREQ(MESSAGE_XML_TYPES[row.level], row.name);
        EXPECT_STREQ(MESSAGE_TEXT_TYPES[row.level], row.prefix);
        EXPECT_EQ(strlen(MESSAGE_TEXT_TYPES[row.level]), 10u) << row.level;
    }
}

TEST(QELExceptionTest, GetLogEventTypeIsTheInverseOfTheNameTable)
{
    for (int i = 0; i < 7; i++)
        EXPECT_EQ(getLogEventType(MESSAGE_XML_TYPES[i]), i);
    // A copy of the text, not the table's own pointer, matches as well.
    char warning[] = "WARNING";
    EXPECT_EQ(getLogEventType(warning), 3);
}

TEST(QELExceptionTest, GetLogEventTypeReadsUnknownNamesAsNone)
{
    struct Row {
        const char* name;
        int level;
    };
    const Row rows[] = {
        { "WARNING", 3 },
        { "DEBUG", 6 },
        { "", 0 },          // empty
        { "debug", 0 },     // another case
        { "Warning", 0 },
        { "WARNING ", 0 },  // trailing blank
        { " ERROR", 0 },
        { "WARN", 0 },      // prefix of a name
        { "FATALITY", 0 },  // name as a prefix
        { "<ERROR>   ", 0 }, // a text prefix is not a name
        { "TRACE", 0 },
    };
    for (const Row& row : rows)
        EXPECT_EQ(getLogEventType(row.name), row.level) << "[" << row.name << "]";
    EXPECT_EQ(getLogEventType(nullptr), 0);
}

// --- QELLogEvent ---

// True when `d` is the UTC calendar time of one second from `from` to `to`.
bool isSecondBetween(const QELDate& d, time_t from, time_t to)
{
    for (time_t t = from; t <= to; t++) {
        tm u;
        gmtime_r(&t, &u);
        if (d.year == u.tm_year + 1900 && d.month == u.tm_mon + 1 && d.day == u.tm_mday && d.hour == u.tm_hour
            && d.minute == u.tm_min && d.second == u.tm_sec && d.fraction == 0 && !d.isNull)
            return true;
    }
    return false;
}

TEST(QELLogEventTest, MessageAloneGivesLevelNoneAndNoCodeOrTrace)
{
    time_t before = time(nullptr);
    QELLogEvent e(QELString("text"));
    time_t after = time(nullptr);
    EXPECT_STREQ(e.message.chars(), "text");
    EXPECT_EQ(e.code.length(), 0);
    EXPECT_EQ(e.stackTrace.length(), 0);
    EXPECT_EQ(e.type, 0);
    EXPECT_TRUE(isSecondBetween(e.timestamp, before, after)) << e.timestamp.chars();
}

TEST(QELLogEventTest, FullConstructorCopiesEveryField)
{
    time_t before = time(nullptr);
    QELString message("disk full");
    QELString code("QEL-0042");
    QELString trace("at main()");
    QELLogEvent e(message, code, 2, trace);
    time_t after = time(nullptr);
    EXPECT_STREQ(e.message.chars(), "disk full");
    EXPECT_STREQ(e.code.chars(), "QEL-0042");
    EXPECT_EQ(e.type, 2);
    EXPECT_STREQ(e.stackTrace.chars(), "at main()");
    EXPECT_TRUE(isSecondBetween(e.timestamp, before, after)) << e.timestamp.chars();
    // The strings are copies.
    EXPECT_NE(e.message.p, message.p);
    EXPECT_NE(e.code.p, code.p);
}

TEST(QELLogEventTest, AnyIntegerIsAcceptedAsLevel)
{
    const int levels[] = { -1, 7, 100, -2147483647 - 1 };
    for (int level : levels) {
        QELLogEvent e(QELString("m"), QELString(), level, QELString());
        EXPECT_EQ(e.type, level);
    }
}

TEST(QELLogEventTest, CopiesAreMemberWise)
{
    QELLogEvent e(QELString("m"), QELString("c"), 4, QELString("s"));
    QELLogEvent copy(e);
    EXPECT_STREQ(copy.message.chars(), "m");
    EXPECT_STREQ(copy.code.chars(), "c");
    EXPECT_EQ(copy.type, 4);
    EXPECT_STREQ(copy.stackTrace.chars(), "s");
    EXPECT_EQ(copy.timestamp.second, e.timestamp.second);
    EXPECT_EQ(copy.timestamp.year, e.timestamp.year);

    QELLogEvent assigned(QELString("other"));
    assigned = e;
    EXPECT_STREQ(assigned.message.chars(), "m");
    EXPECT_STREQ(assigned.code.chars(), "c");
    EXPECT_EQ(assigned.type, 4);
    EXPECT_EQ(assigned.timestamp.minute, e.timestamp.minute);
    EXPECT_FALSE(assigned.timestamp.isNull);
}

TEST(QELLogEventTest, FieldsAreDeclaredInTheirOrder)
{
    QELLogEvent e(QELString("m"));
    const char* base = reinterpret_cast<const char*>(&e);
    const char* message = reinterpret_cast<const char*>(&e.message);
    const char* code = reinterpret_cast<const char*>(&e.code);
    const char* type = reinterpret_cast<const char*>(&e.type);
    const char* timestamp = reinterpret_cast<const char*>(&e.timestamp);
    const char* trace = reinterpret_cast<const char*>(&e.stackTrace);
    EXPECT_EQ(message, base);
    EXPECT_LT(message, code);
    EXPECT_LT(code, type);
    EXPECT_LT(type, timestamp);
    EXPECT_LT(timestamp, trace);
    EXPECT_EQ(sizeof(e.type), 4u);
}

} // namespace
