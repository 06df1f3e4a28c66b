// Tests of QELStringList (being written).
#include <gtest/gtest.h>
