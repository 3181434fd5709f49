// SPDX-License-Identifier: Apache-2.0
// The slowest headers of tests that run programs.
#include "gmock.hpp"

#include <nlohmann/json.hpp>

#include <regex>
