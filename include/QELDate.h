// QELDate (being written).
#ifndef QELDATE_H
#define QELDATE_H
#endif
