// Tests of QELException (being written).
#include <gtest/gtest.h>
