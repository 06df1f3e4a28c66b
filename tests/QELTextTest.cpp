// Tests of QELText (being written).
#include <gtest/gtest.h>
