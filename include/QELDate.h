// QELDate: a date and time of day in the layout of the ODBC TIMESTAMP_STRUCT,
// its conversions to and from time_t and text, and QELmktime_i.
#ifndef QELDATE_H
#define QELDATE_H

#include <stdint.h>
#include <time.h>

#include "QELExport.h"
#include "QELString.h"

// The ODBC date structures, complete and exactly as unixODBC's <sqltypes.h>
// defines them on this platform, under the same guard (__SQLDATE): whichever
// of the two headers comes first defines them, and the other skips them.
// Deliberate: <sqltypes.h> itself is not included, since it would hand every
// user its Windows-style macros and types (BOOL, FAR, CALLBACK, DWORD, ...).
#ifndef __SQLDATE
#define __SQLDATE
// An ODBC date: year, month, day.
typedef struct tagDATE_STRUCT {
    signed short int year;
    unsigned short month;
    unsigned short day;
} DATE_STRUCT;
typedef DATE_STRUCT SQL_DATE_STRUCT;

// An ODBC time of day: hour, minute, second.
typedef struct tagTIME_STRUCT {
    unsigned short hour;
    unsigned short minute;
    unsigned short second;
} TIME_STRUCT;
typedef TIME_STRUCT SQL_TIME_STRUCT;

// An ODBC timestamp: a date, a time of day and a fraction in nanoseconds.
typedef struct tagTIMESTAMP_STRUCT {
    signed short int year;
    unsigned short month;
    unsigned short day;
    unsigned short hour;
    unsigned short minute;
    unsigned short second;
    unsigned int fraction;
} TIMESTAMP_STRUCT;
typedef TIMESTAMP_STRUCT SQL_TIMESTAMP_STRUCT;
#endif

// Days before each month, for a common year (row 0) and a leap year (row 1).
// Deliberate: November's entry is one day short (303, 304), as the values of
// this exported table are part of the interface.
extern QEL_DATA const int32_t month_offset[2][13];
// Days of each month, for a common year (row 0) and a leap year (row 1).
extern QEL_DATA const int32_t dmsize[2][12];

// A calendar date and time with a fraction, or the null (empty) date.
// The first seven fields are laid out exactly as a TIMESTAMP_STRUCT (year,
// month, day as a DATE_STRUCT; hour, minute, second as a TIME_STRUCT).
// The texts returned by chars(), getHour(), getODBCDate() and
// getODBCTimestamp() live in `text` until the next such call on this date.
// No field is range-checked; nothing throws.
class QEL_API QELDate {
public:
    int16_t year;
    uint16_t month;
    uint16_t day;
    uint16_t hour;
    uint16_t minute;
    uint16_t second;
    uint32_t fraction;
    mutable char text[30];
    bool isNull;

    // The null date: every field 0.
    QELDate();
    QELDate(DATE_STRUCT d);
    QELDate(TIME_STRUCT t);
    QELDate(TIMESTAMP_STRUCT ts);
    // UTC calendar time of `seconds`; null when gmtime fails.
    QELDate(long seconds);
    QELDate(const QELDate& d) = default;

    // Makes the date null with every field 0.
    void empty();

    // Copy the structure's fields and zero the others; a null pointer only
    // sets isNull and leaves the other fields as they were.
    void setDate(const DATE_STRUCT* d);
    void setDate(const TIME_STRUCT* t);
    void setDate(const TIMESTAMP_STRUCT* ts);
    QELDate& operator=(const DATE_STRUCT* d);
    QELDate& operator=(const TIME_STRUCT* t);
    QELDate& operator=(const TIMESTAMP_STRUCT* ts);
    // UTC calendar time of `seconds`, fraction 0; null when gmtime fails.
    void setDate(long seconds);
    // The current local time, fraction 0.
    void setDate();
    // Parses a date, a date and time, or a time alone; a text without
    // digits, or whose numbers are all 0, leaves the date null.
    void setDate(const QELString& text);

    // A null source makes this date empty(); otherwise copies the seven
    // value fields and clears isNull.
    QELDate& operator=(const QELDate& d);

    void getDate(TIMESTAMP_STRUCT* ts) const;
    void getDate(DATE_STRUCT* d) const;
    void getDate(TIME_STRUCT* t) const;
    // The fields as a TIMESTAMP_STRUCT (a view of this date, for binding to
    // ODBC calls); null when all seven fields are 0.
    TIMESTAMP_STRUCT* getDate() const;
    // hour, minute and second as a TIME_STRUCT; null when all three are 0.
    TIME_STRUCT* getTime() const;

    // Seconds since 1970 through QELmktime_i (local 0); -1 for a null date.
    operator long() const;

    // "YYYY/MM/DD hh:mm:ss", the date alone at midnight, the time alone
    // when the year is 0.
    const char* chars() const;
    operator const char*() const { return chars(); }
    // "hh:mm:ss".
    const char* getHour() const;
    // "YYYY-MM-DD".
    const char* getODBCDate() const;
    // "YYYY-MM-DD hh:mm:ss", followed by "." and the fraction when not 0.
    const char* getODBCTimestamp() const;
    // "YYYY-_M-DDThh:mm:ssZ": the month is deliberately padded with a blank,
    // as readers of the XML log format expect.
    QELString getXmlTimestamp() const;
};

// Seconds since 1970 of the broken-down time `t`. Tries the system mktime
// (local time) first; when that gives a negative result, computes the value
// itself for the years 1901 to 2038, as UTC when `local` is 0, or adding the
// time zone and daylight saving when `local` is not 0.
// Returns -1 with errno EINVAL for a year outside 1901 to 2038.
QEL_API long QELmktime_i(tm* t, int local);

#endif
