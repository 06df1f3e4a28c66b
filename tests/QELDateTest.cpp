// Tests of QELDate (being written).
#include <gtest/gtest.h>
