// SPDX-License-Identifier: Apache-2.0
// What takes the longest to compile of a test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
