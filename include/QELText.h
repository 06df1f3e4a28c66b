// QELText: XML escaping of text and the binarySearch family.
#ifndef QELTEXT_H
#define QELTEXT_H

#include "QELExport.h"
#include "QELString.h"

// Makes `s` safe for XML character data and attribute values: the double
// quote, "<", ">" and "&" become entities, tab, line feed and carriage return
// become "&#9;", "&#10;" and "&#13;", and bytes of 32 and above (UTF-8
// included) pass unchanged. Deliberately, the other control characters are
// dropped only when at least one of those seven is present; a text without
// any is returned as an unchanged copy.
QEL_API QELString escapeXMLString(const QELString& s);

// Searches `array`, holding `n` values in ascending order, for `key`.
// Returns the index of an equal element (the first one probed when there are
// duplicates), or -1 when none is equal or n < 1.
QEL_API int binarySearch(const unsigned char* array, int n, unsigned char key);
QEL_API int binarySearch(const signed char* array, int n, signed char key);
QEL_API int binarySearch(const unsigned short* array, int n, unsigned short key);
QEL_API int binarySearch(const short* array, int n, short key);
QEL_API int binarySearch(const unsigned int* array, int n, unsigned int key);
QEL_API int binarySearch(const int* array, int n, int key);
QEL_API int binarySearch(const float* array, int n, float key);
QEL_API int binarySearch(const double* array, int n, double key);

// The same over NUL-terminated strings compared with strcmp(key, element),
// but deliberately with the opposite ordering: `array` must be sorted in
// DESCENDING strcmp order (a key below the probed element searches the upper
// half). Returns the index of an equal element or -1. A null element reads as
// the empty text.
QEL_API int binarySearch(const char** array, int n, const QELString& key);

#endif
