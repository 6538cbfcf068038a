#include <gtest/gtest.h>
#include "frame/KVRN_DllMain.h"
TEST(Smoke, Loads) { EXPECT_NE(CKVRN_DllMain::Instance(), nullptr); }
