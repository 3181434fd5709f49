// SPDX-License-Identifier: Apache-2.0
// The slowest headers of all tests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
