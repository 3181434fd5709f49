// SPDX-License-Identifier: Apache-2.0
#include "component_test.hpp"
#include "stopped_clock.hpp"
#include "visibility_model.hpp"

#include <hmi_cfg_handlers.hpp>
#include <platform/config_manager.h>

#include <array>
#include <cstdlib>
#include <random>
#include <set>
#include <sstream>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;

/** One component and its model, which get the same calls. */
class VisibilitySequence : public ComponentTest
{
  protected:
    /** Makes a random call to both.
     *
     *  @return the call, with both results */
    std::string step()
    {
        static constexpr std::array operations{
            &VisibilitySequence::addFault,
            &VisibilitySequence::addFault,
            &VisibilitySequence::addFault,
            &VisibilitySequence::addFault,
            &VisibilitySequence::removeFault,
            &VisibilitySequence::hideAll,
            &VisibilitySequence::hideNumber,
            &VisibilitySequence::hidePath,
            &VisibilitySequence::unhideAll,
            &VisibilitySequence::unhideNumber,
            &VisibilitySequence::unhidePath,
            &VisibilitySequence::setHideAll,
            &VisibilitySequence::disable,
            &VisibilitySequence::enable,
            &VisibilitySequence::signalOwnKey,
            &VisibilitySequence::signalPath,
            &VisibilitySequence::signalNumber,
            &VisibilitySequence::setHideErrors,
            &VisibilitySequence::setOemFlags,
            &VisibilitySequence::waitASecond,
            &VisibilitySequence::removeAllFaults,
        };
        // Removing all faults resets the state, so it is rarer.
        if (any(20) == 0)
        {
            return (this->*operations.back())();
        }
        return (this->*operations[any(operations.size() - 1)])();
    }

    void run(uint32_t seed, unsigned int steps)
    {
        random.seed(seed);
        const uint32_t base = any(5);
        object.reset();
        object = make(key, base);
        ASSERT_NE(object, nullptr);
        model = VisibilityModel(base);
        std::string before = "with base health " + std::to_string(base);
        for (unsigned int i = 0; i < steps; ++i)
        {
            const std::string what = step();
            journal().clear();
            ASSERT_EQ(given, wanted) << what << " after " << before;
            ASSERT_EQ(seen(), expected()) << what << " after " << before;
            before = what;
        }
    }

  private:
    std::size_t any(std::size_t end)
    {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    }

    std::string anyPath()
    {
        static const std::array<std::string, 4> paths{"/a", "/b", "/a/b", ""};
        return paths[any(paths.size())];
    }

    uint32_t anyNumber()
    {
        static constexpr std::array<uint32_t, 4> numbers{0, 1, 2, 0xFFFFFFFF};
        return numbers[any(numbers.size())];
    }

    std::string anyMessage()
    {
        return std::string(1, static_cast<char>('A' + any(4)));
    }

    template <typename Given, typename Wanted>
    std::string both(const std::string& what, Given gave, Wanted want)
    {
        given = static_cast<uint32_t>(gave);
        wanted = static_cast<uint32_t>(want);
        return what;
    }

    /** For calls without a result. */
    std::string both(const std::string& what)
    {
        return both(what, 0, 0);
    }

    std::string addFault()
    {
        const std::string id = anyMessage();
        const std::string path = anyPath();
        const uint32_t number = anyNumber();
        const auto severity = static_cast<uint32_t>(any(5));
        const int result = add(*object, severity, id, path, number);
        model.addFault({id, path, number,
                        HealthStatus::MCATSeverityToHealthStatus(severity),
                        clockReads, false});
        return both("add " + id + " " + path + " " + std::to_string(number),
                    result, 0);
    }

    std::string removeFault()
    {
        const std::string id = anyMessage();
        const std::string path = "/a";
        const int result = remove(*object, id, path);
        model.removeFault(id, path);
        return both("remove " + id, result, 0);
    }

    std::string removeAllFaults()
    {
        object->deleteFaultListAll();
        model.deleteFaultListAll();
        return both("remove all");
    }

    std::string hideAll()
    {
        return both("hide", object->hideFaults(), model.hideFaults());
    }

    std::string hideNumber()
    {
        const uint32_t number = anyNumber();
        object->hideFaults(number);
        model.hideFaults(number);
        return both("hide " + std::to_string(number));
    }

    std::string hidePath()
    {
        const std::string path = anyPath();
        object->hideFaults(path);
        model.hideFaults(path);
        return both("hide " + path);
    }

    std::string unhideAll()
    {
        return both("unhide", object->unhideFaults(), model.unhideFaults());
    }

    std::string unhideNumber()
    {
        const uint32_t number = anyNumber();
        return both("unhide " + std::to_string(number),
                    object->unhideFaults(number), model.unhideFaults(number));
    }

    std::string unhidePath()
    {
        const std::string path = anyPath();
        return both("unhide " + path, object->unhideFaults(path),
                    model.unhideFaults(path));
    }

    std::string setHideAll()
    {
        const bool hide = any(2) == 0;
        return both(hide ? "hide all on" : "hide all off",
                    object->HideAllFaults(hide), model.HideAllFaults(hide));
    }

    std::string disable()
    {
        return both("disable", object->Disable(), model.Disable());
    }

    std::string enable()
    {
        return both("enable", object->Enable(), model.Enable());
    }

    std::string signalOwnKey()
    {
        const bool hide = any(2) == 0;
        sendHide(hide, key, anyPath(), static_cast<int>(anyNumber()));
        model.nameIn(hide);
        return both(hide ? "signal to hide" : "signal to unhide");
    }

    std::string signalPath()
    {
        const bool hide = any(2) == 0;
        const std::string path = "/b";
        sendHide(hide, any(2) == 0 ? "" : root + "/other", path,
                 static_cast<int>(anyNumber()));
        if (hide)
        {
            model.hideFaults(path);
        }
        else
        {
            model.unhideFaults(path);
        }
        return both(hide ? "signal to hide /b" : "signal to unhide /b");
    }

    std::string signalNumber()
    {
        const bool hide = any(2) == 0;
        const uint32_t number = anyNumber();
        sendHide(hide, "", "", static_cast<int>(number));
        if (number != 0 && hide)
        {
            model.hideFaults(number);
        }
        else if (number != 0)
        {
            model.unhideFaults(number);
        }
        return both((hide ? "signal to hide " : "signal to unhide ") +
                    std::to_string(number));
    }

    static void notify(const std::string& attribute, uint32_t now,
                       uint32_t before)
    {
        std::vector<uint8_t> record(CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET + 4);
        record[CFGMGR_CHANGE_NEW_VALUE_OFFSET] = static_cast<uint8_t>(now);
        record[CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET] =
            static_cast<uint8_t>(before);
        platform().notify("CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#" +
                              attribute,
                          record);
    }

    std::string setHideErrors()
    {
        const auto now = static_cast<uint32_t>(any(3));
        notify("hideerrs", now, static_cast<uint32_t>(any(3)));
        model.HideAllFaults(now == 0);
        return both("hideerrs " + std::to_string(now));
    }

    std::string setOemFlags()
    {
        const auto now = static_cast<uint32_t>(any(4));
        const auto before = static_cast<uint32_t>(any(4));
        notify("oemLCDFlags", now, before);
        if ((now & 1) != (before & 1))
        {
            model.HideAllFaults((now & 1) != 0);
        }
        return both("oemLCDFlags " + std::to_string(before) + " to " +
                    std::to_string(now));
    }

    std::string waitASecond()
    {
        ++clockReads;
        return both("wait");
    }

    using State = std::multiset<std::string>;

    template <typename... Parts>
    static std::string line(const Parts&... parts)
    {
        std::ostringstream text;
        ((text << parts << ' '), ...);
        return text.str();
    }

    static State seen()
    {
        State state{line("health", health())};
        for (const auto& [path, record] : platform().faultRecords)
        {
            state.insert(line(std::get<std::string>(record.at("MessageID")),
                              std::get<std::string>(record.at("SensorPath")),
                              std::get<uint32_t>(record.at("SensorNumber")),
                              std::get<uint32_t>(record.at("Severity")),
                              std::get<uint64_t>(record.at("Timestamp")),
                              std::get<bool>(record.at("Hidden"))));
        }
        return state;
    }

    State expected() const
    {
        State state{line("health", model.health())};
        for (const auto& entry : model.entries())
        {
            state.insert(line(entry.messageID, entry.sensorPath,
                              entry.sensorNumber, entry.severity,
                              entry.timestamp, entry.hidden));
        }
        return state;
    }

    std::mt19937 random;
    std::unique_ptr<FaultAndHealth> object;
    VisibilityModel model{0};
    uint32_t given = 0;
    uint32_t wanted = 0;
};

/** The first seed: random, or the value of $VISIBILITY_SEED to repeat a failed
 *  run. */
uint32_t firstSeed()
{
    const char* given = std::getenv("VISIBILITY_SEED");
    return given != nullptr
               ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10))
               : std::random_device()();
}

TEST_F(VisibilitySequence, AgreesWithTheModelAfterEveryStep)
{
    constexpr unsigned int sequences = 100;
    constexpr unsigned int steps = 1'000;
    const uint32_t first = firstSeed();
    for (unsigned int i = 0; i < sequences && !HasFatalFailure(); ++i)
    {
        const uint32_t seed = first + i;
        SCOPED_TRACE("again with VISIBILITY_SEED=" + std::to_string(seed));
        run(seed, steps);
    }
}

} // namespace
} // namespace health_namespace
