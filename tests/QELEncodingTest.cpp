// Tests of QELEncoding (being written).
#include <gtest/gtest.h>
