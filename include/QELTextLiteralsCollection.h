// QELTextLiteralsCollection (being written).
#ifndef QELTEXTLITERALSCOLLECTION_H
#define QELTEXTLITERALSCOLLECTION_H
#endif
