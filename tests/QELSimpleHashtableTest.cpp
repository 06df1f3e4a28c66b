// Tests of QELSimpleHashtable (being written).
#include <gtest/gtest.h>
