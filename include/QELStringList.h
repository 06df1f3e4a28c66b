// QELStringList (being written).
#ifndef QELSTRINGLIST_H
#define QELSTRINGLIST_H
#endif
