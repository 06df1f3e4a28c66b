// QELSetup (being written).
#ifndef QELSETUP_H
#define QELSETUP_H
#endif
