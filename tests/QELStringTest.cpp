// Tests of QELString (being written).
#include <gtest/gtest.h>
