// Tests of QELOption (being written).
#include <gtest/gtest.h>
