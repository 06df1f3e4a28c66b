// QELLog (being written).
#ifndef QELLOG_H
#define QELLOG_H
#endif
