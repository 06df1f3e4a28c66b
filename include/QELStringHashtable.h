// QELStringHashtable (being written).
#ifndef QELSTRINGHASHTABLE_H
#define QELSTRINGHASHTABLE_H
#endif
