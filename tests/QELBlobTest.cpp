// Tests of QELBlob (being written).
#include <gtest/gtest.h>
