// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fixture of tests of a node of the health tree. */

#include "library_test.hpp"

#include <hmi_health.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace healthintf::test
{

class HealthNodeTest : public LibraryTest
{
  protected:
    using HealthStatus = health_namespace::HealthStatus;

    std::unique_ptr<HealthStatus> make(std::string key, unsigned int health)
    {
        std::unique_ptr<HealthStatus> node(
            HealthStatus::Init(bus, key, health));
        return node;
    }

    /** Delivers a child's HealthStatusUpdate to the node. */
    void childReports(const std::string& parent, const std::string& child,
                      uint32_t health)
    {
        connection.signal(
            child.c_str(), "com.vexa.olvar.healthmgr.HealthStatus",
            "HealthStatusUpdate", "ssu", parent.c_str(), child.c_str(), health);
    }

    static std::string update(const std::string& path,
                              const std::string& parent, const std::string& key,
                              uint32_t health)
    {
        return "signal " + path +
               " com.vexa.olvar.healthmgr.HealthStatus HealthStatusUpdate "
               "ssu: '" +
               parent + "' '" + key + "' " + std::to_string(health);
    }
};

} // namespace healthintf::test
