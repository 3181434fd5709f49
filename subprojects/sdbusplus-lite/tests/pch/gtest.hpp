// What takes the longest to compile of a test.
#include <gtest/gtest.h>
