// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How a picture of healths is drawn. */

#include "../context.hpp"
#include "health_picture.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>

namespace healthintf::healthctl
{

/** How many slices of time fit beside the components' names. */
std::size_t countSlices(const Context& context);

/** Draws a row for each component and a character for each slice. */
void printPicture(const Context& context, const HealthPicture& picture);

/** A picture for programs. */
nlohmann::ordered_json toJson(const HealthPicture& picture);

} // namespace healthintf::healthctl
