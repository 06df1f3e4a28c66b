// QELTextLiteral (being written).
#ifndef QELTEXTLITERAL_H
#define QELTEXTLITERAL_H
#endif
