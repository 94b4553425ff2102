#include <gtest/gtest.h>
#include "flat_machine.h"
TEST(Build, FlatMachineWires) { EXPECT_NE(FlatMachine_Create(), nullptr); }
