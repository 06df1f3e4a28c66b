// Tests of QELVector (being written).
#include <gtest/gtest.h>
