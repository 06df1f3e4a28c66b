// Tests of QELConfiguration (being written).
#include <gtest/gtest.h>
