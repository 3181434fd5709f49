// SPDX-License-Identifier: Apache-2.0
#include "wall_clock.hpp"

#include <chrono>

namespace health_namespace::details
{

uint64_t secondsSinceEpoch()
{
    using namespace std::chrono;
    return duration_cast<seconds>(system_clock::now().time_since_epoch())
        .count();
}

} // namespace health_namespace::details
