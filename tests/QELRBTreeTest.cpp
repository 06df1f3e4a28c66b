// Tests of QELRBTree (being written).
#include <gtest/gtest.h>
