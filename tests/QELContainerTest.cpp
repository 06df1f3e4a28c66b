// Tests of QELContainer (being written).
#include <gtest/gtest.h>
