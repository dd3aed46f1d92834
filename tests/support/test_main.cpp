// The main function of the test programs: all tests, each checked for leaks.

#include <gtest/gtest.h>

#include "support/LeakCheck.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RunAllTests();
}
