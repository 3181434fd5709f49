// SPDX-License-Identifier: Apache-2.0
#include "silence.hpp"

#include "comment.hpp"
#include "node_key.hpp"
#include "printable.hpp"

#include <platform/utf8.hpp>

#include <limits>

namespace healthintf::healthmgr
{
namespace
{

std::string explainInvalidPath(const std::string& path)
{
    if (path.size() > maxSilencedPath)
    {
        return "the sensor's path has " + std::to_string(path.size()) +
               " bytes, more than " + std::to_string(maxSilencedPath);
    }
    if (!isUtf8(path) || host::printable(path) != path)
    {
        return "the sensor's path has characters that cannot be printed";
    }
    return "";
}

} // namespace

std::string explainInvalidTarget(const SilenceTarget& target)
{
    const int named = static_cast<int>(!target.key.empty()) +
                      static_cast<int>(!target.sensorPath.empty()) +
                      static_cast<int>(target.sensorNumber != 0);
    if (named != 1)
    {
        return "a silence is of one component, or one sensor's path or number";
    }
    if (!target.key.empty())
    {
        const std::string fault = explainInvalidKey(target.key);
        return fault.empty() ? fault : "this is no component: " + fault;
    }
    // The hide signal has a signed number.
    constexpr uint32_t mostNumber = std::numeric_limits<int32_t>::max();
    if (target.sensorNumber > mostNumber)
    {
        return "a sensor's number is at most " + std::to_string(mostNumber);
    }
    return explainInvalidPath(target.sensorPath);
}

std::string explainInvalidSilence(const Silence& silence)
{
    if (std::string fault = explainInvalidTarget(silence.target);
        !fault.empty())
    {
        return fault;
    }
    if (silence.seconds == 0 || silence.seconds > longestSilence)
    {
        return "a silence lasts 1 second to 366 days";
    }
    return explainInvalidComment(silence.comment);
}

bool covers(const SilenceTarget& target, const SilenceTarget& fault)
{
    if (!target.key.empty())
    {
        return target.key == fault.key;
    }
    return target.sensorPath.empty() ? target.sensorNumber == fault.sensorNumber
                                     : target.sensorPath == fault.sensorPath;
}

std::string componentOf(const std::string& entryPath)
{
    return entryPath.substr(0, entryPath.rfind("/entry/"));
}

std::string describe(const SilenceTarget& target)
{
    if (!target.key.empty())
    {
        return target.key;
    }
    return target.sensorPath.empty()
               ? "sensor number " + std::to_string(target.sensorNumber)
               : "sensor " + target.sensorPath;
}

} // namespace healthintf::healthmgr
