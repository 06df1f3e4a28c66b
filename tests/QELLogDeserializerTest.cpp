// Tests of QELLogDeserializer (being written).
#include <gtest/gtest.h>
