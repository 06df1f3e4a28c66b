// QELFile (being written).
#ifndef QELFILE_H
#define QELFILE_H
#endif
