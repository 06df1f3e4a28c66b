// Tests of QELFile (being written).
#include <gtest/gtest.h>
