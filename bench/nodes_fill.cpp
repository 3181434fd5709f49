// SPDX-License-Identifier: Apache-2.0
/** @file Fills the host's data cache with health records, prints "ready", and
 *  keeps the cache open until standard input ends.
 *
 *  Usage: nodes-fill complete|one-missing|each-missing COUNT
 *
 *      complete: all nodes are children of one existing node
 *      one-missing: all nodes are children of one missing node
 *      each-missing: each node is the child of another missing node */

#include "hold.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace
{

const std::string root = "/com/vexa/olvar/health";

void create(const std::string& path)
{
    constexpr uint32_t health = 2;
    if (datacache_healthstatus_create(path, {{"HealthStatus", health}}) != 0)
    {
        std::fprintf(stderr, "unable to create the node %s\n", path.c_str());
        std::exit(1);
    }
}

/** A key with a number of fixed width, so that no key is a prefix of another.
 */
std::string numbered(const std::string& start, unsigned int number)
{
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%05u", number);
    return start + text.data();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        return 2;
    }
    const std::string_view shape = argv[1];
    const unsigned long count = std::strtoul(argv[2], nullptr, 10);
    if (shape == "complete")
    {
        create(root);
        create(root + "/chassis");
    }
    for (unsigned int i = 0; i < count; ++i)
    {
        create(shape == "each-missing" ? numbered(root + "/chassis", i) + "/fan"
                                       : numbered(root + "/chassis/fan", i));
    }
    healthintf::bench::hold();
    return 0;
}
