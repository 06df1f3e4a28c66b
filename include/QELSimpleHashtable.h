// QELSimpleHashtable (being written).
#ifndef QELSIMPLEHASHTABLE_H
#define QELSIMPLEHASHTABLE_H
#endif
