// QELOption (being written).
#ifndef QELOPTION_H
#define QELOPTION_H
#endif
