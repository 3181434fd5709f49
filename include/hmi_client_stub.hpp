// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Storing records in the System Event Log (SEL), without any fault. */

#include <com/vexa/olvar/api.hpp>
#include <hmi_status.hpp>
#include <platform/log_line.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace SelClientStub
{

/** A client of logmgr's method AddSEL.
 *
 *  It has no connection of its own and sends nothing but the calls of addSEL().
 *  It is used from the thread that owns the bus. */
class HEALTHINTF_API SELClient
{
  public:
    /** The sensor that saw an event: its name, its path, and two bytes that are
     *  kept with the record; see SELInterface::SensorInfo. */
    using Sensor = std::tuple<std::string, std::string, uint8_t, uint8_t>;

    /** Creates a client.
     *
     *  @param[in] bus the connection; it must outlive the client
     *  @return the client, which the caller owns and deletes; null on a
     *          failure, which is logged
     *
     *  Does not throw. */
    static SELClient* Init(sdbusplus::bus_t& bus);

    /** Creates a client; see Init(). */
    explicit SELClient(sdbusplus::bus_t& connection) : bus(connection)
    {
        DLOG_LINE(logModule, __func__, ::healthintf::log::lifetime,
                  "%s.%d.%s: SELCLient constructor called");
    }

    SELClient(const SELClient&) = delete;
    SELClient& operator=(const SELClient&) = delete;

    ~SELClient()
    {
        // Log readers search for this text, which names another class.
        DLOG_LINE(logModule, __func__, ::healthintf::log::lifetime,
                  "%s.%d.%s: FaultAndHealth destructor called");
    }

    /** Stores a record, and waits until logmgr has answered or the call has
     *  timed out.
     *
     *  @param[in] sensor the sensor that saw the event
     *  @param[in] record the record's bytes; logmgr checks how many there are
     *  @param[out] recordId the identifier that logmgr gave the record;
     *              unchanged on failure
     *  @return statusOk, or statusBusFailure on every failure of the call,
     *          which is logged
     *
     *  Throws only when memory runs out. */
    int addSEL(Sensor sensor, std::vector<uint8_t> record, uint32_t& recordId);

  private:
    /** The library's module number in the debug log. */
    static constexpr int logModule = 271;

    sdbusplus::bus_t& bus;
};

} // namespace SelClientStub
