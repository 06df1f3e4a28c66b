// QELException (being written).
#ifndef QELEXCEPTION_H
#define QELEXCEPTION_H
#endif
