// QELRBTree (being written).
#ifndef QELRBTREE_H
#define QELRBTREE_H
#endif
