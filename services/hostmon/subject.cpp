// SPDX-License-Identifier: Apache-2.0
#include "subject.hpp"

namespace healthintf::hostmon
{
namespace
{

/** Compares two subjects. */
struct SensorComparison
{
    bool operator()(const Filesystem& one, const Filesystem& other) const
    {
        return one.path == other.path;
    }

    bool operator()(const Memory& /*one*/, const Memory& /*other*/) const
    {
        return true;
    }

    bool operator()(const Load& one, const Load& other) const
    {
        return one.minutes == other.minutes;
    }

    bool operator()(const Pressure& one, const Pressure& other) const
    {
        return one.resource == other.resource;
    }

    bool operator()(const Temperature& one, const Temperature& other) const
    {
        return one.sensor == other.sensor || one.sensor == "*" ||
               other.sensor == "*";
    }

    bool operator()(const ProcessAlive& one, const ProcessAlive& other) const
    {
        return one.name == other.name && one.pidfile == other.pidfile;
    }

    template <typename One, typename Other>
    bool operator()(const One& /*one*/, const Other& /*other*/) const
    {
        return false;
    }
};

} // namespace

bool mayShareSensor(const Subject& one, const Subject& other)
{
    return std::visit(SensorComparison(), one, other);
}

} // namespace healthintf::hostmon
