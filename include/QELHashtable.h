// QELHashtable (being written).
#ifndef QELHASHTABLE_H
#define QELHASHTABLE_H
#endif
