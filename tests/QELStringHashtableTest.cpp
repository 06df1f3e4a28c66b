// Tests of QELStringHashtable (being written).
#include <gtest/gtest.h>
