// Tests of QELTextLiteral (being written).
#include <gtest/gtest.h>
