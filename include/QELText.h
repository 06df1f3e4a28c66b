// QELText (being written).
#ifndef QELTEXT_H
#define QELTEXT_H
#endif
