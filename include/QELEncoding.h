// QELEncoding (being written).
#ifndef QELENCODING_H
#define QELENCODING_H
#endif
