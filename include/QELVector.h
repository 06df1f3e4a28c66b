// QELVector (being written).
#ifndef QELVECTOR_H
#define QELVECTOR_H
#endif
