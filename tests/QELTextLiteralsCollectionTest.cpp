// Tests of QELTextLiteralsCollection (being written).
#include <gtest/gtest.h>
