// QELTypes: the small shared types of the library.
#ifndef QELTYPES_H
#define QELTYPES_H

// A 16-bit UTF-16 code unit.
typedef unsigned short uchar;

// The boolean result of container and iterator operations: 1 true, 0 false.
typedef int QELBoolean;

#endif
