// Tests of QELMessage (being written).
#include <gtest/gtest.h>
