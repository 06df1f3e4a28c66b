// QELLogDeserializer (being written).
#ifndef QELLOGDESERIALIZER_H
#define QELLOGDESERIALIZER_H
#endif
