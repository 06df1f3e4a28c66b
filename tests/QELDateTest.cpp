// Tests of QELDate: structures, seconds, text forms, parsing and QELmktime_i.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <new>
#include <random>
#include <string>

// unixODBC's own definitions of the date structures come first here, so the
// library (built with QELDate.h's identical definitions) is called with them;
// QELApiTest reaches the structures through QELStd.h alone.
#include <sqltypes.h>

#include "QELDate.h"

static_assert(sizeof(DATE_STRUCT) == 6 && sizeof(TIME_STRUCT) == 6 && sizeof(TIMESTAMP_STRUCT) == 16,
              "unixODBC's date structures have the sizes QELDate.h gives them");
static_assert(offsetof(TIMESTAMP_STRUCT, fraction) == 12 && offsetof(TIMESTAMP_STRUCT, second) == 10,
              "unixODBC's TIMESTAMP_STRUCT has the layout QELDate.h gives it");

// --- A system mktime the tests control ---
//
// This executable's mktime takes the place of the C library's for the whole
// process, libQELStd.so included. In REAL mode it forwards. In THIRTY_TWO_BIT
// mode it refuses, as a 32-bit time_t system does, every result outside 0 to
// 2^31 - 1 (leaving the tm untouched). In REFUSE_ALL mode it refuses every
// date, so that QELmktime_i always computes the value itself.
enum MktimeMode { REAL, THIRTY_TWO_BIT, REFUSE_ALL };
static MktimeMode mktimeMode = REAL;
static int mktimeCalls = 0;

extern "C" time_t mktime(struct tm* t) noexcept
{
    typedef time_t (*MktimeFunction)(struct tm*);
    static MktimeFunction real = reinterpret_cast<MktimeFunction>(dlsym(RTLD_NEXT, "mktime"));
    mktimeCalls++;
    if (mktimeMode == REFUSE_ALL) {
        errno = EOVERFLOW;
        return (time_t)-1;
    }
    if (mktimeMode == THIRTY_TWO_BIT) {
        struct tm copy = *t;
        time_t r = real(&copy);
        if (r < 0 || r > INT32_MAX) {
            errno = EOVERFLOW;
            return (time_t)-1;
        }
        *t = copy;
        return r;
    }
    return real(t);
}

namespace {

// Runs each test in a known time zone with the real mktime, and puts the
// process's zone back afterwards.
class QELDateTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const char* tz = getenv("TZ");
        hadTz = tz != nullptr;
        if (hadTz)
            savedTz = tz;
        setZone("UTC0");
        mktimeMode = REAL;
    }
    void TearDown() override
    {
        mktimeMode = REAL;
        if (hadTz)
            setenv("TZ", savedTz.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    static void setZone(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }

    bool hadTz = false;
    std::string savedTz;
};

struct Fields {
    int year, month, day, hour, minute, second;
    unsigned int fraction;
};

void expectFields(const QELDate& d, const Fields& f)
{
    EXPECT_EQ(d.year, f.year);
    EXPECT_EQ(d.month, f.month);
    EXPECT_EQ(d.day, f.day);
    EXPECT_EQ(d.hour, f.hour);
    EXPECT_EQ(d.minute, f.minute);
    EXPECT_EQ(d.second, f.second);
    EXPECT_EQ(d.fraction, f.fraction);
}

// What QELmktime_i computes itself for a broken-down UTC time: the calendar
// value, except that the exported month_offset table counts November from
// one day early.
long fallbackSeconds(const tm& t)
{
    tm u = t;
    long seconds = (long)timegm(&u);
    tm n = t;
    n.tm_year += n.tm_mon / 12 - (n.tm_mon % 12 < 0 ? 1 : 0);
    n.tm_mon = ((n.tm_mon % 12) + 12) % 12;
    return n.tm_mon == 10 ? seconds - 86400 : seconds;
}

tm makeTm(int year, int month, int day, int hour, int minute, int second, int isdst = -1)
{
    tm t = {};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    t.tm_isdst = isdst;
    return t;
}

// --- Tables and layout ---

TEST_F(QELDateTest, MonthOffsetTablesCountDaysBeforeEachMonth)
{
    const int common[13] = { 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 303, 334, 365 };
    const int leap[13] = { 0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 304, 335, 366 };
    for (int m = 0; m < 13; m++) {
        EXPECT_EQ(month_offset[0][m], common[m]) << m;
        EXPECT_EQ(month_offset[1][m], leap[m]) << m;
    }
    // dmsize holds the days of each month of the calendar.
    const int days[12] = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    for (int m = 0; m < 12; m++) {
        EXPECT_EQ(dmsize[0][m], days[m]) << m;
        EXPECT_EQ(dmsize[1][m], m == 1 ? 29 : days[m]) << m;
    }
    // The exported month_offset table puts November one day early (303 and 304
    // instead of 304 and 305); every other entry is the sum of dmsize.
    for (int row = 0; row < 2; row++)
        for (int m = 0; m < 12; m++)
            EXPECT_EQ(month_offset[row][m + 1] - month_offset[row][m], dmsize[row][m] + (m == 9 ? -1 : m == 10 ? 1 : 0))
                << row << " " << m;
    EXPECT_EQ(dmsize[0][1], 28);
    EXPECT_EQ(dmsize[1][1], 29);
}

TEST_F(QELDateTest, FieldsHaveTheTimestampStructLayout)
{
    EXPECT_EQ(sizeof(QELDate::text), 30u);
    EXPECT_EQ(sizeof(QELDate::year), 2u);
    EXPECT_EQ(sizeof(QELDate::month), 2u);
    EXPECT_EQ(sizeof(QELDate::fraction), 4u);
    QELDate d;
    d.year = 2006;
    d.month = 3;
    d.day = 5;
    d.hour = 14;
    d.minute = 7;
    d.second = 9;
    d.fraction = 123;
    const TIMESTAMP_STRUCT* ts = d.getDate();
    ASSERT_NE(ts, nullptr);
    EXPECT_EQ(static_cast<const void*>(ts), static_cast<const void*>(&d.year));
    EXPECT_EQ(ts->year, 2006);
    EXPECT_EQ(ts->second, 9);
    EXPECT_EQ(ts->fraction, 123u);
    const TIME_STRUCT* t = d.getTime();
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(static_cast<const void*>(t), static_cast<const void*>(&d.hour));
    EXPECT_EQ(t->hour, 14);
    EXPECT_EQ(t->minute, 7);
    EXPECT_EQ(t->second, 9);
    // The views write through to the date, as an ODBC fetch into them does.
    d.getDate()->day = 6;
    d.getTime()->minute = 8;
    EXPECT_EQ(d.day, 6);
    EXPECT_EQ(d.minute, 8);
}

// --- Construction from structures ---

TEST_F(QELDateTest, DefaultDateIsNullWithEveryFieldZero)
{
    QELDate d;
    EXPECT_TRUE(d.isNull);
    expectFields(d, { 0, 0, 0, 0, 0, 0, 0 });
    EXPECT_EQ(d.getDate(), nullptr);
    EXPECT_EQ(d.getTime(), nullptr);
    EXPECT_EQ((long)d, -1);
    EXPECT_STREQ(d.chars(), "00:00:00");
}

// Every constructor starts the text buffer empty, whatever the memory held
// before: each date is built over a buffer filled with 0xAA and its text
// read at once.
TEST_F(QELDateTest, EveryConstructorStartsWithAnEmptyText)
{
    alignas(QELDate) unsigned char storage[sizeof(QELDate)];
    auto fresh = [&storage]() {
        memset(storage, 0xAA, sizeof storage);
        return static_cast<void*>(storage);
    };
    DATE_STRUCT ds = { 2006, 3, 5 };
    TIME_STRUCT ts = { 14, 7, 9 };
    TIMESTAMP_STRUCT tss = { 2006, 3, 5, 14, 7, 9, 0 };
    const char* kinds[] = { "default", "DATE_STRUCT", "TIME_STRUCT", "TIMESTAMP_STRUCT", "seconds" };
    for (int i = 0; i < 5; ++i) {
        QELDate* d = i == 0 ? new (fresh()) QELDate()
                   : i == 1 ? new (fresh()) QELDate(ds)
                   : i == 2 ? new (fresh()) QELDate(ts)
                   : i == 3 ? new (fresh()) QELDate(tss)
                            : new (fresh()) QELDate(1141567629L);
        EXPECT_EQ(d->text[0], '\0') << kinds[i];
        d->~QELDate();
    }
}

TEST_F(QELDateTest, EmptyResetsEveryField)
{
    QELDate d(1141567629L);
    d.fraction = 7;
    d.empty();
    EXPECT_TRUE(d.isNull);
    expectFields(d, { 0, 0, 0, 0, 0, 0, 0 });
}

TEST_F(QELDateTest, DateStructZeroesTimeAndFraction)
{
    QELDate d(1141567629L);
    d.fraction = 55;
    DATE_STRUCT ds = { 1999, 12, 31 };
    d.setDate(&ds);
    EXPECT_FALSE(d.isNull);
    expectFields(d, { 1999, 12, 31, 0, 0, 0, 0 });

    QELDate c(ds);
    EXPECT_FALSE(c.isNull);
    expectFields(c, { 1999, 12, 31, 0, 0, 0, 0 });
    EXPECT_STREQ(c.chars(), "1999/12/31");
}

TEST_F(QELDateTest, TimeStructZeroesDateAndFraction)
{
    QELDate d(1141567629L);
    d.fraction = 55;
    TIME_STRUCT t = { 23, 59, 58 };
    d = &t;
    EXPECT_FALSE(d.isNull);
    expectFields(d, { 0, 0, 0, 23, 59, 58, 0 });
    EXPECT_STREQ(d.chars(), "23:59:58");

    QELDate c(t);
    expectFields(c, { 0, 0, 0, 23, 59, 58, 0 });
    EXPECT_FALSE(c.isNull);
}

TEST_F(QELDateTest, TimestampStructCopiesEverything)
{
    TIMESTAMP_STRUCT ts = { 2006, 3, 5, 14, 7, 9, 123 };
    QELDate d(ts);
    EXPECT_FALSE(d.isNull);
    expectFields(d, { 2006, 3, 5, 14, 7, 9, 123 });

    QELDate e;
    QELDate& r = (e = &ts);
    EXPECT_EQ(&r, &e);
    expectFields(e, { 2006, 3, 5, 14, 7, 9, 123 });
}

TEST_F(QELDateTest, NullStructurePointerOnlyMakesTheDateNull)
{
    TIMESTAMP_STRUCT ts = { 2006, 3, 5, 14, 7, 9, 123 };
    QELDate d(ts);
    d.setDate(static_cast<const TIMESTAMP_STRUCT*>(nullptr));
    EXPECT_TRUE(d.isNull);
    expectFields(d, { 2006, 3, 5, 14, 7, 9, 123 });

    QELDate e(ts);
    e.setDate(static_cast<const DATE_STRUCT*>(nullptr));
    EXPECT_TRUE(e.isNull);
    expectFields(e, { 2006, 3, 5, 14, 7, 9, 123 });

    QELDate f(ts);
    QELDate& r = (f = static_cast<const TIME_STRUCT*>(nullptr));
    EXPECT_EQ(&r, &f);
    EXPECT_TRUE(f.isNull);
    expectFields(f, { 2006, 3, 5, 14, 7, 9, 123 });
    // A null date still converts to -1 whatever its fields hold.
    EXPECT_EQ((long)f, -1);
}

TEST_F(QELDateTest, AssigningAStructurePointerSetsTheDate)
{
    QELDate d(TIMESTAMP_STRUCT{ 2006, 3, 5, 14, 7, 9, 123 });
    const DATE_STRUCT date = { 1999, 12, 31 };
    QELDate& r = (d = &date);
    EXPECT_EQ(&r, &d);
    EXPECT_FALSE(d.isNull);
    expectFields(d, { 1999, 12, 31, 0, 0, 0, 0 });
}

TEST_F(QELDateTest, GetDateCopiesFieldsOut)
{
    QELDate d(TIMESTAMP_STRUCT{ 2006, 3, 5, 14, 7, 9, 123 });
    TIMESTAMP_STRUCT ts;
    memset(&ts, 0xff, sizeof ts);
    d.getDate(&ts);
    EXPECT_EQ(ts.year, 2006);
    EXPECT_EQ(ts.month, 3);
    EXPECT_EQ(ts.day, 5);
    EXPECT_EQ(ts.hour, 14);
    EXPECT_EQ(ts.minute, 7);
    EXPECT_EQ(ts.second, 9);
    EXPECT_EQ(ts.fraction, 123u);
    DATE_STRUCT ds;
    d.getDate(&ds);
    EXPECT_EQ(ds.year, 2006);
    EXPECT_EQ(ds.month, 3);
    EXPECT_EQ(ds.day, 5);
    TIME_STRUCT t;
    d.getDate(&t);
    EXPECT_EQ(t.hour, 14);
    EXPECT_EQ(t.minute, 7);
    EXPECT_EQ(t.second, 9);
}

TEST_F(QELDateTest, PointerGettersAreNullOnlyWhenTheirFieldsAreZero)
{
    struct Row {
        TIMESTAMP_STRUCT ts;
        bool dateNull;
        bool timeNull;
    };
    const Row rows[] = {
        { { 0, 0, 0, 0, 0, 0, 0 }, true, true },        // all zero
        { { 0, 0, 0, 0, 0, 0, 5 }, false, true },       // only the fraction
        { { 2006, 3, 5, 0, 0, 0, 0 }, false, true },    // date alone
        { { 0, 0, 0, 0, 0, 1, 0 }, false, false },      // one second
        { { 0, 0, 0, 12, 0, 0, 0 }, false, false },     // noon
        { { 0, 0, 1, 0, 0, 0, 0 }, false, true },       // day alone
        { { 0, 3, 0, 0, 0, 0, 0 }, false, true },       // month alone
        { { 0, 0, 0, 0, 7, 0, 0 }, false, false },      // minute alone
    };
    for (const Row& row : rows) {
        QELDate d(row.ts);
        EXPECT_FALSE(d.isNull);
        EXPECT_EQ(d.getDate() == nullptr, row.dateNull);
        EXPECT_EQ(d.getTime() == nullptr, row.timeNull);
    }
}

// --- Assignment and copies ---

TEST_F(QELDateTest, AssigningANullDateEmptiesTheTarget)
{
    QELDate target(TIMESTAMP_STRUCT{ 2006, 3, 5, 14, 7, 9, 123 });
    QELDate source(TIMESTAMP_STRUCT{ 1999, 1, 2, 3, 4, 5, 6 });
    source.isNull = true;
    QELDate& r = (target = source);
    EXPECT_EQ(&r, &target);
    EXPECT_TRUE(target.isNull);
    expectFields(target, { 0, 0, 0, 0, 0, 0, 0 });
}

TEST_F(QELDateTest, AssigningADateCopiesTheSevenFields)
{
    QELDate target;
    QELDate source(TIMESTAMP_STRUCT{ 1999, 1, 2, 3, 4, 5, 6 });
    target = source;
    EXPECT_FALSE(target.isNull);
    expectFields(target, { 1999, 1, 2, 3, 4, 5, 6 });
    // Self-assignment keeps the date.
    QELDate& alias = target;
    target = alias;
    EXPECT_FALSE(target.isNull);
    expectFields(target, { 1999, 1, 2, 3, 4, 5, 6 });
}

TEST_F(QELDateTest, CopyConstructorCopiesEverything)
{
    QELDate source(TIMESTAMP_STRUCT{ 1999, 1, 2, 3, 4, 5, 6 });
    QELDate copy(source);
    EXPECT_FALSE(copy.isNull);
    expectFields(copy, { 1999, 1, 2, 3, 4, 5, 6 });
    QELDate nullCopy{ QELDate() };
    EXPECT_TRUE(nullCopy.isNull);
}

// --- Seconds ---

TEST_F(QELDateTest, SecondsGiveTheUtcCalendarTime)
{
    struct Row {
        long seconds;
        Fields f;
    };
    const Row rows[] = {
        { 0L, { 1970, 1, 1, 0, 0, 0, 0 } },
        { 1141567629L, { 2006, 3, 5, 14, 7, 9, 0 } },
        { 951782400L, { 2000, 2, 29, 0, 0, 0, 0 } },             // leap day
        { -1L, { 1969, 12, 31, 23, 59, 59, 0 } },                // before 1970
        { -315619200L, { 1960, 1, 1, 0, 0, 0, 0 } },
        { -2147483648L, { 1901, 12, 13, 20, 45, 52, 0 } },       // smallest 32-bit
        { 2147483647L, { 2038, 1, 19, 3, 14, 7, 0 } },           // largest 32-bit
        { 2177452799L, { 2038, 12, 31, 23, 59, 59, 0 } },
    };
    for (const Row& row : rows) {
        QELDate d(row.seconds);
        EXPECT_FALSE(d.isNull) << row.seconds;
        expectFields(d, row.f);
        QELDate e(TIMESTAMP_STRUCT{ 1, 1, 1, 1, 1, 1, 77 });
        e.setDate(row.seconds);
        expectFields(e, row.f);
    }
    // The zone does not matter: seconds are read as UTC.
    setZone("EST5EDT,M3.2.0,M11.1.0");
    expectFields(QELDate(1141567629L), { 2006, 3, 5, 14, 7, 9, 0 });
}

TEST_F(QELDateTest, SecondsThatGmtimeCannotConvertGiveANullDate)
{
    QELDate d(TIMESTAMP_STRUCT{ 2006, 3, 5, 14, 7, 9, 123 });
    d.setDate(LONG_MAX);
    EXPECT_TRUE(d.isNull);
    expectFields(d, { 0, 0, 0, 0, 0, 0, 0 });
    QELDate e(LONG_MIN);
    EXPECT_TRUE(e.isNull);
}

TEST_F(QELDateTest, SetDateWithoutArgumentTakesTheLocalTime)
{
    setZone("EST5EDT,M3.2.0,M11.1.0");
    for (int attempt = 0; attempt < 5; attempt++) {
        time_t before = time(nullptr);
        QELDate d(TIMESTAMP_STRUCT{ 1, 1, 1, 1, 1, 1, 77 });
        d.setDate();
        time_t after = time(nullptr);
        if (before != after)
            continue; // the clock ticked in between: try again
        tm local;
        localtime_r(&before, &local);
        EXPECT_FALSE(d.isNull);
        expectFields(d, { local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                          local.tm_sec, 0 });
        return;
    }
    FAIL() << "the clock never stood still for one call";
}

TEST_F(QELDateTest, ConversionToSecondsIsExactInUtc)
{
    QELDate d(TIMESTAMP_STRUCT{ 2006, 3, 5, 14, 7, 9, 123 });
    EXPECT_EQ((long)d, 1141567629L);
    QELDate before1970(TIMESTAMP_STRUCT{ 1960, 1, 1, 0, 0, 0, 0 });
    EXPECT_EQ((long)before1970, -315619200L);
}

TEST_F(QELDateTest, ConversionToSecondsReadsTheFieldsAsLocalTimeAfter1970)
{
    // The system mktime reads local time first: the round trip is exact
    // only in a UTC zone (deliberate: the fields are read as local time).
    setZone("EST5EDT,M3.2.0,M11.1.0");
    QELDate winter(TIMESTAMP_STRUCT{ 2006, 1, 15, 12, 0, 0, 0 });
    EXPECT_EQ((long)winter, 1137326400L + 5 * 3600);
    QELDate summer(TIMESTAMP_STRUCT{ 2006, 7, 15, 12, 0, 0, 0 });
    EXPECT_EQ((long)summer, 1152964800L + 4 * 3600);
}

TEST_F(QELDateTest, RandomSecondsRoundTripThroughTheDate)
{
    // Differential against gmtime over the whole 32-bit range (1901 to
    // 2038): before 1970 the value comes from QELmktime_i's own count.
    // The first second of 1970 comes from the system.
    std::mt19937 rng(20061105);
    std::uniform_int_distribution<long> dist(INT32_MIN, INT32_MAX);
    for (int i = 0; i < 20000; i++) {
        long s = dist(rng);
        QELDate d(s);
        ASSERT_FALSE(d.isNull) << s;
        // Before 1970 the value is counted with the month_offset table.
        long expected = (s < 0 && d.month == 11) ? s - 86400 : s;
        ASSERT_EQ((long)d, expected) << s << " " << d.chars();
    }
}

TEST_F(QELDateTest, SecondsGiveTheFieldsOfGmtimeOverAWideRange)
{
    // The fields are computed without gmtime; every value must give what
    // gmtime_r gives, the failure outside its year range included.
    auto check = [](long s) {
        QELDate d(s);
        time_t t = (time_t)s;
        tm g;
        if (gmtime_r(&t, &g) == nullptr) {
            ASSERT_TRUE(d.isNull) << s;
            return;
        }
        ASSERT_FALSE(d.isNull) << s;
        ASSERT_EQ(d.year, (int16_t)((unsigned)g.tm_year + 1900u)) << s;
        ASSERT_EQ(d.month, g.tm_mon + 1) << s;
        ASSERT_EQ(d.day, g.tm_mday) << s;
        ASSERT_EQ(d.hour, g.tm_hour) << s;
        ASSERT_EQ(d.minute, g.tm_min) << s;
        ASSERT_EQ(d.second, g.tm_sec) << s;
        ASSERT_EQ(d.fraction, 0u) << s;
    };
    const long edges[] = {
        0, -1, 1, 86399, 86400, -86400, -86401, 951782400 /* 2000-02-29 */,
        951868799, 951868800, -62135596800L /* 0001-01-01 */, -62135596801L,
        -62167219200L /* 0000-01-01 */, -62167219201L, 253402300799L /* 9999-12-31 23:59:59 */,
        253402300800L, 4102444800L /* 2100-03-01 */ - 86400, -2208988800L /* 1900-01-01 */,
        (1L << 50), (1L << 50) + 1, -(1L << 50), -(1L << 50) - 1, LONG_MAX, LONG_MIN,
        67767976233316800L, 67768036191676799L, 67768036191676800L, -67768040609740800L,
        -67768040609740801L, INT32_MAX, INT32_MIN,
    };
    for (long s : edges)
        check(s);
    std::mt19937_64 rng(20061106);
    // Every scale from seconds to the edge of gmtime's range, both signs.
    for (int i = 0; i < 200000; i++) {
        const int bits = (int)(rng() % 58);
        long s = (long)(rng() & ((1UL << bits) - 1));
        if (rng() & 1)
            s = -s;
        check(s);
    }
    std::uniform_int_distribution<long> years(-62167219200L * 2, 253402300799L * 2);
    for (int i = 0; i < 200000; i++)
        check(years(rng));
}

// --- Text forms ---

TEST_F(QELDateTest, TextFormsFollowTheFixedFormats)
{
    struct Row {
        TIMESTAMP_STRUCT ts;
        const char* chars;
        const char* hour;
        const char* odbcDate;
        const char* odbcTimestamp;
        const char* xml;
    };
    const Row rows[] = {
        // date and time, with a fraction
        { { 2006, 3, 5, 14, 7, 9, 123 }, "2006/03/05 14:07:09", "14:07:09", "2006-03-05", "2006-03-05 14:07:09.123",
          "2006- 3-05T14:07:09Z" },
        // midnight: the date alone
        { { 2006, 12, 31, 0, 0, 0, 0 }, "2006/12/31", "00:00:00", "2006-12-31", "2006-12-31 00:00:00",
          "2006-12-31T00:00:00Z" },
        // year 0: the time alone
        { { 0, 0, 0, 10, 20, 30, 0 }, "10:20:30", "10:20:30", "0000-00-00", "0000-00-00 10:20:30",
          "0000- 0-00T10:20:30Z" },
        // the fraction is printed unpadded, and only by the ODBC timestamp
        { { 2006, 3, 5, 14, 7, 9, 5 }, "2006/03/05 14:07:09", "14:07:09", "2006-03-05", "2006-03-05 14:07:09.5",
          "2006- 3-05T14:07:09Z" },
        // a year below 1000 is zero-padded; a negative year printed signed
        { { 999, 1, 2, 3, 4, 5, 0 }, "0999/01/02 03:04:05", "03:04:05", "0999-01-02", "0999-01-02 03:04:05",
          "0999- 1-02T03:04:05Z" },
        { { -5, 1, 2, 3, 4, 5, 0 }, "-005/01/02 03:04:05", "03:04:05", "-005-01-02", "-005-01-02 03:04:05",
          "-005- 1-02T03:04:05Z" },
        // fields are not range-checked
        { { 2006, 13, 45, 25, 61, 99, 0 }, "2006/13/45 25:61:99", "25:61:99", "2006-13-45", "2006-13-45 25:61:99",
          "2006-13-45T25:61:99Z" },
    };
    for (const Row& row : rows) {
        QELDate d(row.ts);
        EXPECT_STREQ(d.chars(), row.chars);
        EXPECT_STREQ((const char*)d, row.chars);
        EXPECT_STREQ(d.getHour(), row.hour);
        EXPECT_STREQ(d.getODBCDate(), row.odbcDate);
        EXPECT_STREQ(d.getODBCTimestamp(), row.odbcTimestamp);
        QELString xml = d.getXmlTimestamp();
        EXPECT_STREQ(xml.chars(), row.xml);
        EXPECT_EQ(xml.length(), (int)strlen(row.xml));
    }
}

TEST_F(QELDateTest, TextsShareOneBufferValidUntilTheNextCall)
{
    QELDate d(TIMESTAMP_STRUCT{ 2006, 3, 5, 14, 7, 9, 0 });
    const char* a = d.chars();
    EXPECT_EQ(a, d.text);
    const char* b = d.getODBCDate();
    EXPECT_EQ(a, b);
    EXPECT_STREQ(a, "2006-03-05");
    // getXmlTimestamp makes a new string and leaves the buffer alone.
    QELString xml = d.getXmlTimestamp();
    EXPECT_STREQ(d.text, "2006-03-05");
}

TEST_F(QELDateTest, OversizedFieldsAreCutToTheBuffer)
{
    QELDate d(TIMESTAMP_STRUCT{ -32768, 65535, 65535, 65535, 65535, 65535, 4294967295u });
    EXPECT_LE(strlen(d.chars()), 29u);
    EXPECT_STREQ(d.chars(), "-32768/65535/65535 65535:6553");
    EXPECT_LE(strlen(d.getODBCTimestamp()), 29u);
    EXPECT_STREQ(d.getHour(), "65535:65535:65535");
    // The XML text is a string of its own and is not cut.
    EXPECT_STREQ(d.getXmlTimestamp().chars(), "-32768-65535-65535T65535:65535:65535Z");
}

// The texts as snprintf writes the fixed formats, cut to the 29 characters
// of the date's buffer as the text forms are (the XML text is not cut).
struct PrintfTexts {
    std::string chars, hour, odbcDate, odbcTimestamp, xml;
    explicit PrintfTexts(const TIMESTAMP_STRUCT& t)
    {
        const int y = t.year;
        char full[64];
        if (y == 0)
            snprintf(full, sizeof full, "%02d:%02d:%02d", t.hour, t.minute, t.second);
        else if (t.hour == 0 && t.minute == 0 && t.second == 0)
            snprintf(full, sizeof full, "%04d/%02d/%02d", y, t.month, t.day);
        else
            snprintf(full, sizeof full, "%04d/%02d/%02d %02d:%02d:%02d", y, t.month, t.day, t.hour, t.minute,
                     t.second);
        chars = std::string(full).substr(0, 29);
        snprintf(full, sizeof full, "%02d:%02d:%02d", t.hour, t.minute, t.second);
        hour = std::string(full).substr(0, 29);
        snprintf(full, sizeof full, "%04d-%02d-%02d", y, t.month, t.day);
        odbcDate = std::string(full).substr(0, 29);
        if (t.fraction != 0)
            snprintf(full, sizeof full, "%04d-%02d-%02d %02d:%02d:%02d.%d", y, t.month, t.day, t.hour, t.minute,
                     t.second, (int)t.fraction);
        else
            snprintf(full, sizeof full, "%04d-%02d-%02d %02d:%02d:%02d", y, t.month, t.day, t.hour, t.minute,
                     t.second);
        odbcTimestamp = std::string(full).substr(0, 29);
        snprintf(full, sizeof full, "%04d-%2d-%02dT%02d:%02d:%02dZ", y, t.month, t.day, t.hour, t.minute, t.second);
        xml = full;
    }
};

// Picks a field value: mostly an ordinary one, often one where the width,
// the padding or the sign changes, sometimes anything of the field's range.
template <typename T>
T pickField(std::mt19937& rng, std::initializer_list<long long> edges, long long ordinaryMax)
{
    switch (rng() % 4) {
    case 0:
        return (T)edges.begin()[rng() % edges.size()];
    case 1:
        return (T)rng(); // anything, wrapped into the field's width
    default:
        return (T)(rng() % (unsigned long long)(ordinaryMax + 1));
    }
}

TEST_F(QELDateTest, TextFormsMatchPrintfOfTheFixedFormatsForRandomFields)
{
    std::mt19937 rng(1341);
    for (int i = 0; i < 200000; i++) {
        TIMESTAMP_STRUCT t;
        t.year = pickField<int16_t>(rng, { 0, 1, 9, 10, 99, 100, 999, 1000, 9999, 10000, 32767, -1, -9, -10, -99,
                                           -100, -999, -1000, -9999, -32768 },
                                    9999);
        t.month = pickField<uint16_t>(rng, { 0, 1, 9, 10, 12, 99, 100, 65535 }, 12);
        t.day = pickField<uint16_t>(rng, { 0, 1, 9, 10, 31, 99, 100, 65535 }, 31);
        t.hour = pickField<uint16_t>(rng, { 0, 9, 10, 23, 99, 100, 65535 }, 23);
        t.minute = pickField<uint16_t>(rng, { 0, 9, 10, 59, 99, 100, 65535 }, 59);
        t.second = pickField<uint16_t>(rng, { 0, 9, 10, 59, 99, 100, 65535 }, 59);
        t.fraction = pickField<uint32_t>(rng, { 0, 1, 9, 10, 999, 1000, 2147483647, 2147483648u, 4294967295u }, 999);
        if (i % 4 == 0) // midnight: the display text is the date alone
            t.hour = t.minute = t.second = 0;
        if (i % 7 == 0) // year 0: the display text is the time alone
            t.year = 0;
        if (i == 1) // the longest text of all: 48 characters before the cut
            t = TIMESTAMP_STRUCT{ -32768, 65535, 65535, 65535, 65535, 65535, 2147483648u };
        const PrintfTexts expected(t);
        QELDate d(t);
        ASSERT_EQ(d.chars(), expected.chars) << i;
        ASSERT_EQ(d.getHour(), expected.hour) << i;
        ASSERT_EQ(d.getODBCDate(), expected.odbcDate) << i;
        ASSERT_EQ(d.getODBCTimestamp(), expected.odbcTimestamp) << i;
        const QELString xml = d.getXmlTimestamp();
        ASSERT_EQ(xml.chars(), expected.xml) << i;
        ASSERT_EQ(xml.length(), (int)expected.xml.size()) << i;
        ASSERT_EQ(xml.alloc, expected.xml.size() + 1) << i;
    }
}

// --- Parsing ---

TEST_F(QELDateTest, ParsingFollowsTheDigitRules)
{
    struct Row {
        const char* text;
        bool isNull;
        Fields f;
    };
    const Row rows[] = {
        { "2006-03-05 14:07:09.123", false, { 2006, 3, 5, 14, 7, 9, 123 } },
        { "2006/03/05 14:07:09", false, { 2006, 3, 5, 14, 7, 9, 0 } },
        { "2006/03/05", false, { 2006, 3, 5, 0, 0, 0, 0 } },
        { "10:20:30", false, { 0, 0, 0, 10, 20, 30, 0 } },        // a time alone
        { "T10:20:30", false, { 0, 0, 0, 10, 20, 30, 0 } },       // leading non-digits skipped
        { "1:2", false, { 0, 0, 0, 1, 2, 0, 0 } },
        { "10:20:30.5", false, { 0, 0, 0, 10, 20, 30, 5 } },
        { "00:00:00.001", false, { 0, 0, 0, 0, 0, 0, 1 } },       // the fraction alone is enough
        { "10:20:30 ", false, { 10, 20, 30, 0, 0, 0, 0 } },       // a blank: read as a date
        { "20060305", false, { 2006, 3, 5, 0, 0, 0, 0 } },        // 4, 2, 2 digits
        { "200603051407091234", false, { 2006, 3, 5, 14, 7, 9, 123 } },
        { "12345", false, { 1234, 5, 0, 0, 0, 0, 0 } },
        { "2006-13-45", false, { 2006, 13, 45, 0, 0, 0, 0 } },    // ranges not checked
        { "2006-03-05 14:07:09.12345", false, { 2006, 3, 5, 14, 7, 9, 123 } },
        { "2006-03-05 14:07:09.999", false, { 2006, 3, 5, 14, 7, 9, 999 } },
        { "2006-03-05 14:07:09.007", false, { 2006, 3, 5, 14, 7, 9, 7 } },
        { "x2006y3z5", false, { 2006, 3, 5, 0, 0, 0, 0 } },
        { "-5", false, { 5, 0, 0, 0, 0, 0, 0 } },                 // a sign is a separator
        { "2006-3-5 1:2:3", false, { 2006, 3, 5, 1, 2, 3, 0 } },
        { "", true, { 0, 0, 0, 0, 0, 0, 0 } },
        { "abc", true, { 0, 0, 0, 0, 0, 0, 0 } },                 // no digit
        { "::--//  ", true, { 0, 0, 0, 0, 0, 0, 0 } },
        { "0000-00-00 00:00:00", true, { 0, 0, 0, 0, 0, 0, 0 } }, // all zero
        { "00:00:00.000", true, { 0, 0, 0, 0, 0, 0, 0 } },
        { "0", true, { 0, 0, 0, 0, 0, 0, 0 } },
        // Year 0 and one other field set: not null, whichever field it is.
        { "0000-05-00", false, { 0, 5, 0, 0, 0, 0, 0 } },
        { "0000-00-07", false, { 0, 0, 7, 0, 0, 0, 0 } },
        { "0000-00-00 00:07", false, { 0, 0, 0, 0, 7, 0, 0 } },
        { "0000-00-00 00:00:07", false, { 0, 0, 0, 0, 0, 7, 0 } },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        QELDate d(TIMESTAMP_STRUCT{ 1, 1, 1, 1, 1, 1, 1 });
        d.setDate(QELString(row.text));
        EXPECT_EQ(d.isNull, row.isNull);
        expectFields(d, row.f);
    }
}

TEST_F(QELDateTest, ParsedDateWritesTheXmlTimestampWithABlankPaddedMonth)
{
    QELDate d;
    QELString text("2006-03-05 14:07:09.123");
    d.setDate(text);
    EXPECT_EQ(d.fraction, 123u);
    EXPECT_STREQ(d.getXmlTimestamp().chars(), "2006- 3-05T14:07:09Z");
    EXPECT_STREQ(d.getODBCTimestamp(), "2006-03-05 14:07:09.123");
}

TEST_F(QELDateTest, ParsedTimeAloneWritesTheTimeAlone)
{
    QELDate d;
    d.setDate(QELString("10:20:30"));
    EXPECT_EQ(d.year, 0);
    EXPECT_STREQ(d.chars(), "10:20:30");
}

TEST_F(QELDateTest, TextWithoutDigitsOrAllZerosConvertsToMinusOne)
{
    QELDate d(1141567629L);
    d.setDate(QELString("no date here"));
    EXPECT_TRUE(d.isNull);
    EXPECT_EQ((long)d, -1);
    d.setDate(QELString("0000/00/00"));
    EXPECT_TRUE(d.isNull);
    EXPECT_EQ((long)d, -1);
}

TEST_F(QELDateTest, ParsingTheDisplayTextGivesTheDateBack)
{
    std::mt19937 rng(5031);
    std::uniform_int_distribution<long> dist(INT32_MIN, INT32_MAX);
    for (int i = 0; i < 5000; i++) {
        QELDate d(dist(rng));
        QELDate back;
        back.setDate(QELString(d.chars()));
        ASSERT_FALSE(back.isNull) << d.chars();
        EXPECT_EQ(back.year, d.year);
        EXPECT_EQ(back.month, d.month);
        EXPECT_EQ(back.day, d.day);
        EXPECT_EQ(back.hour, d.hour);
        EXPECT_EQ(back.minute, d.minute);
        EXPECT_EQ(back.second, d.second);
        QELDate viaOdbc;
        viaOdbc.setDate(QELString(d.getODBCTimestamp()));
        ASSERT_EQ((long)viaOdbc, (long)d) << d.getODBCTimestamp();
    }
}

// --- QELmktime_i ---

TEST_F(QELDateTest, MktimeBefore1970IsComputedWhenTheSystemRefusesIt)
{
    for (MktimeMode mode : { REAL, THIRTY_TWO_BIT, REFUSE_ALL }) {
        mktimeMode = mode;
        tm t = makeTm(1960, 1, 1, 0, 0, 0);
        errno = EDOM;
        EXPECT_EQ(QELmktime_i(&t, 0), -315619200L) << mode;
        EXPECT_EQ(errno, 0) << mode;
    }
}

TEST_F(QELDateTest, MktimeReturnsTheSystemResultWhenItIsNotNegative)
{
    mktimeMode = REAL;
    tm t = makeTm(2006, 3, 5, 14, 7, 9);
    t.tm_mon = 14; // normalised by the system: March of the next year
    EXPECT_EQ(QELmktime_i(&t, 0), 1173103629L);
    EXPECT_EQ(t.tm_year, 107);
    EXPECT_EQ(t.tm_mon, 2);
}

TEST_F(QELDateTest, MktimeRejectsYearsOutside1901To2038)
{
    struct Row {
        int year;
        bool valid;
    };
    const Row rows[] = {
        { 1899, false }, { 1900, false }, { 1901, true }, { 1969, true },
        { 1970, true },  { 2038, true },  { 2039, false }, { 2040, false },
    };
    mktimeMode = REFUSE_ALL;
    for (const Row& row : rows) {
        tm t = makeTm(row.year, 6, 1, 0, 0, 0);
        errno = 0;
        long r = QELmktime_i(&t, 0);
        if (row.valid) {
            tm u = makeTm(row.year, 6, 1, 0, 0, 0);
            EXPECT_EQ(r, (long)timegm(&u)) << row.year;
            EXPECT_EQ(errno, 0) << row.year;
        } else {
            EXPECT_EQ(r, -1) << row.year;
            EXPECT_EQ(errno, EINVAL) << row.year;
        }
    }
}

TEST_F(QELDateTest, MktimeOfYear2040OnTheFallbackPathIsMinusOneWithEinval)
{
    mktimeMode = THIRTY_TWO_BIT;
    tm t = makeTm(2040, 1, 1, 0, 0, 0);
    errno = 0;
    EXPECT_EQ(QELmktime_i(&t, 0), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(QELDateTest, MktimeFallbackNormalisesTheMonth)
{
    mktimeMode = REFUSE_ALL;
    struct Row {
        int tmYear, tmMon;
        int year, month;
    };
    const Row rows[] = {
        { 59, 12, 1960, 1 },  // December + 1 is January of the next year
        { 58, 25, 1960, 2 },
        { 60, -1, 1959, 12 }, // a negative month borrows a year
        { 60, -13, 1958, 12 },
        { 60, -12, 1959, 1 },
    };
    for (const Row& row : rows) {
        tm t = makeTm(1900, 1, 15, 12, 30, 0);
        t.tm_year = row.tmYear;
        t.tm_mon = row.tmMon;
        tm u = makeTm(row.year, row.month, 15, 12, 30, 0);
        EXPECT_EQ(QELmktime_i(&t, 0), (long)timegm(&u)) << row.tmYear << " " << row.tmMon;
        EXPECT_EQ(t.tm_year, row.year - 1900);
        EXPECT_EQ(t.tm_mon, row.month - 1);
    }
}

TEST_F(QELDateTest, MktimeFallbackRejectsAResultOnTheWrongSideOf1970)
{
    mktimeMode = REFUSE_ALL;
    // After 1970 but counted back below 1 second.
    tm t = makeTm(1971, 1, 1, 0, 0, 0);
    t.tm_mday = -400;
    errno = 0;
    EXPECT_EQ(QELmktime_i(&t, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    // Before 1970 but counted forward past it.
    tm u = makeTm(1969, 1, 1, 0, 0, 0);
    u.tm_mday = 400;
    errno = 0;
    EXPECT_EQ(QELmktime_i(&u, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    // 1970 itself is accepted on either side.
    tm v = makeTm(1970, 1, 1, 0, 0, 0);
    v.tm_sec = -5;
    errno = 0;
    EXPECT_EQ(QELmktime_i(&v, 0), -5);
    EXPECT_EQ(errno, 0);
    // The last second of 1969 is -1, told apart from an error by errno.
    tm w = makeTm(1969, 12, 31, 23, 59, 59);
    errno = EDOM;
    EXPECT_EQ(QELmktime_i(&w, 0), -1);
    EXPECT_EQ(errno, 0);
}

TEST_F(QELDateTest, MktimeFallbackMatchesTimegmFrom1901To2038)
{
    mktimeMode = REFUSE_ALL;
    std::mt19937 rng(1901);
    std::uniform_int_distribution<int> year(1901, 2038), month(1, 12), day(1, 28), hour(0, 23), minsec(0, 59);
    for (int i = 0; i < 20000; i++) {
        tm t = makeTm(year(rng), month(rng), day(rng), hour(rng), minsec(rng), minsec(rng));
        long expected = fallbackSeconds(t);
        errno = 0;
        long r = QELmktime_i(&t, 0);
        ASSERT_EQ(r, expected) << asctime(&t);
        ASSERT_EQ(errno, 0);
    }
    // The month boundaries of leap and common years, day by day.
    for (int y : { 1901, 1904, 1969, 1970, 1972, 2000, 2037, 2038 }) {
        for (int m = 1; m <= 12; m++) {
            for (int d : { 1, 28, 29, 30, 31 }) {
                tm t = makeTm(y, m, d, 23, 59, 59);
                long expected = fallbackSeconds(t);
                ASSERT_EQ(QELmktime_i(&t, 0), expected) << y << "-" << m << "-" << d;
            }
        }
    }
}

TEST_F(QELDateTest, MktimeFallbackCountsNovemberOneDayEarly)
{
    // Before 1970 the count uses the month_offset table.
    tm t = makeTm(1960, 11, 15, 12, 0, 0);
    tm u = t;
    EXPECT_EQ(QELmktime_i(&t, 0), (long)timegm(&u) - 86400);
    tm d = makeTm(1960, 12, 1, 0, 0, 0);
    tm v = d;
    EXPECT_EQ(QELmktime_i(&d, 0), (long)timegm(&v));
    // After 1970 the system's value is returned as it is.
    tm a = makeTm(2006, 11, 15, 12, 0, 0);
    tm w = a;
    EXPECT_EQ(QELmktime_i(&a, 0), (long)timegm(&w));
}

TEST_F(QELDateTest, MktimeLocalAddsTheZoneAndDaylightSaving)
{
    setZone("EST5EDT,M3.2.0,M11.1.0");
    const long winterUtc = -314366400L; // 1960-01-15 12:00:00 UTC
    const long summerUtc = -298641600L; // 1960-07-15 12:00:00 UTC
    struct Row {
        int month;
        int isdst;
        long expected;
    };
    const Row rows[] = {
        { 1, -1, winterUtc + 18000 },       // unknown: found as standard time
        { 7, -1, summerUtc + 18000 - 3600 }, // unknown: found as daylight time
        { 1, 1, winterUtc + 18000 - 3600 },  // set by the caller
        { 7, 0, summerUtc + 18000 },         // cleared by the caller
    };
    // The system refuses 1960; only the probe into a year it handles
    // goes through.
    mktimeMode = THIRTY_TWO_BIT;
    for (const Row& row : rows) {
        tm t = makeTm(1960, row.month, 15, 12, 0, 0, row.isdst);
        EXPECT_EQ(QELmktime_i(&t, 1), row.expected) << row.month << " " << row.isdst;
        EXPECT_EQ(t.tm_year, 60) << "the year is put back";
    }
    // With local 0 the zone is ignored.
    tm t = makeTm(1960, 7, 15, 12, 0, 0);
    EXPECT_EQ(QELmktime_i(&t, 0), summerUtc);
}

TEST_F(QELDateTest, MktimeLocalProbesAYearWithTheSameCalendar)
{
    setZone("EST5EDT,M3.2.0,M11.1.0");
    mktimeMode = THIRTY_TWO_BIT;
    // 1960 is probed as 1988, 2038 as 1982: the same weekdays and leap days.
    tm t = makeTm(1960, 3, 13, 12, 0, 0);
    tm probe = makeTm(1988, 3, 13, 12, 0, 0);
    timegm(&probe);
    tm original = makeTm(1960, 3, 13, 12, 0, 0);
    timegm(&original);
    EXPECT_EQ(probe.tm_wday, original.tm_wday);
    long r = QELmktime_i(&t, 1);
    tm u = makeTm(1960, 3, 13, 12, 0, 0);
    // The second Sunday of March 1988 is the 13th: daylight time.
    EXPECT_EQ(r, (long)timegm(&u) + 18000 - 3600);
}

} // namespace
