// Tests of QELSetup (being written).
#include <gtest/gtest.h>
