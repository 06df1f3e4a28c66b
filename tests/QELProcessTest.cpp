// Tests of QELProcess (being written).
#include <gtest/gtest.h>
