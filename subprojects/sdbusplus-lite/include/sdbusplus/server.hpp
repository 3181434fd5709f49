// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What an object on the bus is made of. */

#include <sdbusplus/server/interface.hpp>
#include <sdbusplus/vtable.hpp>
