// Tests of QELHashtable (being written).
#include <gtest/gtest.h>
