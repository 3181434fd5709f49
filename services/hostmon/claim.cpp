// SPDX-License-Identifier: Apache-2.0
#include "claim.hpp"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace healthintf::hostmon
{
namespace
{

/** Hashes a text to 64 bits (FNV-1a). A bus name carries the hash and not
 *  the key, which may be too long for it or have characters that it may not
 *  have. */
uint64_t hashText(const std::string& text)
{
    uint64_t number = 0xCBF29CE484222325;
    for (const char c : text)
    {
        number = (number ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    return number;
}

void claimComponent(services::Connection& connection,
                    const std::string& component)
{
    try
    {
        connection.requestName(makeBusName(component).c_str());
    }
    catch (const std::system_error& e)
    {
        if (e.code().value() == EEXIST)
        {
            throw std::runtime_error("another hostmon reports on " + component);
        }
        throw std::runtime_error("unable to report on " + component + ": " +
                                 e.what());
    }
}

} // namespace

std::string makeBusName(const std::string& component)
{
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx",
                  static_cast<unsigned long long>(hashText(component)));
    return std::string("com.vexa.olvar.hostmon.key_") + digits.data();
}

ComponentClaims::ComponentClaims(services::Connection& bus,
                                 const Config& config) :
    connection(bus)
{
    for (const WatchConfig& watch : config.watches)
    {
        ofTables.insert(watch.component);
    }
    for (const std::string& component : ofTables)
    {
        claimComponent(connection, component);
    }
}

std::shared_ptr<void> ComponentClaims::claim(const std::string& component) const
{
    if (ofTables.contains(component))
    {
        return nullptr;
    }
    claimComponent(connection, component);
    return {&connection, [component](services::Connection* bus) {
                bus->releaseName(makeBusName(component).c_str());
            }};
}

} // namespace healthintf::hostmon
