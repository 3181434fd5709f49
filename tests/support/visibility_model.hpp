// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A simple model of which faults a component shows. */

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{

/** A component without bus, data cache and children. Its functions have the
 *  names and the results of those of FaultAndHealth. */
class VisibilityModel
{
  public:
    struct Entry
    {
        std::string messageID;
        std::string sensorPath;
        uint32_t sensorNumber;
        uint32_t severity;
        uint64_t timestamp;
        bool hidden;
    };

    explicit VisibilityModel(uint32_t baseHealth) :
        base(baseHealth), published(baseHealth)
    {}

    const std::vector<Entry>& entries() const
    {
        return held;
    }

    uint32_t health() const
    {
        return published;
    }

    void addFault(Entry entry)
    {
        constexpr std::size_t most = 10;
        const uint32_t severity = entry.severity;
        held.push_back(std::move(entry));
        if (held.size() > most)
        {
            const auto rank = [](const Entry& e) {
                return std::pair(e.severity, ~e.timestamp);
            };
            held.erase(std::ranges::min_element(held, {}, rank));
        }
        if (published != severity)
        {
            publish();
        }
    }

    void removeFault(const std::string& messageID,
                     const std::string& sensorPath)
    {
        std::erase_if(held, [&](const Entry& entry) {
            return entry.messageID == messageID &&
                   entry.sensorPath == sensorPath;
        });
        publish();
    }

    void deleteFaultListAll()
    {
        held.clear();
        publish();
    }

    uint32_t hideFaults()
    {
        for (Entry& entry : held)
        {
            entry.hidden = true;
        }
        return publish();
    }

    void hideFaults(uint32_t number)
    {
        numbers.insert(number);
        hideThose([number](const Entry& entry) {
            return entry.sensorNumber == number;
        });
    }

    void hideFaults(const std::string& path)
    {
        paths.insert(path);
        hideThose([&path](const Entry& entry) {
            return entry.sensorPath == path;
        });
    }

    uint32_t unhideFaults()
    {
        bool any = false;
        for (Entry& entry : held)
        {
            if (flags() == 0 && !numbers.contains(entry.sensorNumber) &&
                !paths.contains(entry.sensorPath))
            {
                entry.hidden = false;
                any = true;
            }
        }
        return any ? publish() : flags();
    }

    uint32_t unhideFaults(uint32_t number)
    {
        numbers.erase(number);
        return unhideFaults();
    }

    uint32_t unhideFaults(const std::string& path)
    {
        paths.erase(path);
        return unhideFaults();
    }

    uint32_t HideAllFaults(bool hide)
    {
        hidingAll = hide;
        return hide ? hideFaults() : unhideFaults();
    }

    uint32_t Disable()
    {
        return disabled ? flags() : nameIn(true);
    }

    uint32_t Enable()
    {
        if (!disabled)
        {
            return flags();
        }
        published = 2;
        return nameIn(false);
    }

    /** Handles a HideFaultForSensor signal that names this component. */
    uint32_t nameIn(bool hide)
    {
        disabled = hide;
        return hide ? hideFaults() : unhideFaults();
    }

  private:
    uint32_t flags() const
    {
        return (hidingAll ? 0x2U : 0U) | (disabled ? 0x8U : 0U);
    }

    template <typename Which>
    void hideThose(Which&& which)
    {
        if (std::ranges::none_of(held, which))
        {
            return;
        }
        for (Entry& entry : held)
        {
            entry.hidden = entry.hidden || which(entry);
        }
        publish();
    }

    uint32_t publish()
    {
        published = base;
        for (const Entry& entry : held)
        {
            if (!entry.hidden)
            {
                published = std::max(published, entry.severity);
            }
        }
        return published;
    }

    uint32_t base;
    uint32_t published;
    bool hidingAll = false;
    bool disabled = false;
    std::set<uint32_t> numbers;
    std::set<std::string> paths;
    std::vector<Entry> held;
};

} // namespace healthintf::test
