// QELMessage (being written).
#ifndef QELMESSAGE_H
#define QELMESSAGE_H
#endif
