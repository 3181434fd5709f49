// SPDX-License-Identifier: Apache-2.0
// What takes the longest to compile of a test that runs programs.
#include "gmock.hpp"

#include <nlohmann/json.hpp>

#include <regex>
