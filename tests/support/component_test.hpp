// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fixture of tests of a component and its faults. */

#include "library_test.hpp"

#include <hmi_fault_health.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

namespace healthintf::test
{

class ComponentTest : public LibraryTest
{
  protected:
    using FaultAndHealth = health_namespace::FaultAndHealth;

    inline static const std::string root = "/com/vexa/olvar/health";
    inline static const std::string key = root + "/a";

    ComponentTest()
    {
        haveHealthRecord(root, 2);
    }

    std::unique_ptr<FaultAndHealth> make(const std::string& at = key,
                                         uint32_t baseHealth = 2,
                                         bool fromHealthMgr = false)
    {
        return std::unique_ptr<FaultAndHealth>(
            FaultAndHealth::Init(bus, at, baseHealth, fromHealthMgr));
    }

    /** Adds a fault of a severity; everything else has defaults. */
    static int add(FaultAndHealth& object, uint32_t severity,
                   const std::string& msgId = "FAN0001",
                   const std::string& sensorPath = "/sensors/fan1",
                   uint32_t sensorNumber = 48)
    {
        return object.addFault(msgId, sensorPath, {"1"}, "Fan.1", "sub",
                               sensorNumber, 4, "Fan 1 failed.", severity,
                               "Fan 1", 3);
    }

    static int remove(FaultAndHealth& object, std::string msgId = "FAN0001",
                      std::string sensorPath = "/sensors/fan1")
    {
        return object.removeFault(msgId, sensorPath);
    }

    /** The paths of the fault records. */
    static Lines faults()
    {
        Lines paths;
        for (const auto& [path, record] : platform().faultRecords)
        {
            paths.push_back(path);
        }
        return paths;
    }

    /** The messages of the remaining faults. */
    static Lines messages()
    {
        Lines ids;
        for (const auto& [path, record] : platform().faultRecords)
        {
            ids.push_back(std::get<std::string>(record.at("MessageID")));
        }
        return ids;
    }

    /** The messages of the hidden faults. */
    static Lines hiddenMessages()
    {
        Lines ids;
        for (const auto& [path, record] : platform().faultRecords)
        {
            if (std::get<bool>(record.at("Hidden")))
            {
                ids.push_back(std::get<std::string>(record.at("MessageID")));
            }
        }
        return ids;
    }

    static uint32_t health(const std::string& at = key)
    {
        return std::get<uint32_t>(
            platform().healthRecords.at(at).at("HealthStatus"));
    }

    /** Sends HideFaultForSensor as another process does. */
    void sendHide(bool hide, const std::string& healthPath,
                  const std::string& sensorPath, int sensorNumber)
    {
        connection.signal(root.c_str(), "com.vexa.olvar.healthmgr",
                          "HideFaultForSensor", "bssi", hide ? 1 : 0,
                          healthPath.c_str(), sensorPath.c_str(), sensorNumber);
    }
};

} // namespace healthintf::test
