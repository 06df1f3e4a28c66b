// Tests of QELLog (being written).
#include <gtest/gtest.h>
