// QELConfiguration (being written).
#ifndef QELCONFIGURATION_H
#define QELCONFIGURATION_H
#endif
