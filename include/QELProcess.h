// QELProcess (being written).
#ifndef QELPROCESS_H
#define QELPROCESS_H
#endif
