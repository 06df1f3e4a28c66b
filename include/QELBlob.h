// QELBlob (being written).
#ifndef QELBLOB_H
#define QELBLOB_H
#endif
