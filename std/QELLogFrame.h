// QELLogFrame: the numbers of the log's two forms, shared by the formatters
// and the deserializer. Internal to the library.
#ifndef QELLOGFRAME_H
#define QELLOGFRAME_H

#include "QELLog.h"

// Log levels run from 0 ("NONE") to 6 ("DEBUG"), most severe first.
constexpr int QEL_LOG_LEVEL_LOWEST = 0;
constexpr int QEL_LOG_LEVEL_HIGHEST = 6;

// A record's frame: "<!-- QELLog size=", the record's size padded with
// blanks to 8 characters, " -->". Always 29 bytes, so that a reader finds
// the record after it without parsing.
constexpr unsigned int QEL_LOG_HEADER_START_LENGTH = 17;
constexpr unsigned int QEL_LOG_HEADER_SIZE_WIDTH = 8;
constexpr unsigned int QEL_LOG_HEADER_END_LENGTH = 4;
constexpr unsigned int QEL_LOG_HEADER_LENGTH =
    QEL_LOG_HEADER_START_LENGTH + QEL_LOG_HEADER_SIZE_WIDTH + QEL_LOG_HEADER_END_LENGTH;

// Sizes a reader accepts in a header. The upper bound is one more than the
// largest record the formatter writes (QEL_LOG_EVENT_MAX_RECORD, whose
// seven digits leave the field one blank): every written record is read
// back, and a reader also takes a size the formatter never writes.
constexpr int QEL_LOG_MIN_RECORD_SIZE = 10;
constexpr int QEL_LOG_MAX_ANNOUNCED_SIZE = QEL_LOG_EVENT_MAX_RECORD + 1;

#endif
