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

/** A client of the log manager's method AddSEL.
 *
 *  It has no connection of its own and sends nothing until a record is to be
 *  stored. It is used from the thread that owns the bus. */
class HEALTHINTF_API SELClient
{
  public:
    /** The sensor that saw an event: its name, its path, and two bytes that
     *  are kept with the record; SELInterface::SensorInfo says more. */
    using Sensor = std::tuple<std::string, std::string, uint8_t, uint8_t>;

    /** Creates a client.
     *
     *  @param[in] bus the connection; it must outlive the client
     *  @return the client, which the caller owns and deletes; null on a
     *          failure, which is logged
     *
     *  Does not throw. */
    static SELClient* Init(sdbusplus::bus_t& bus);

    /** Makes a client; see Init(). */
    explicit SELClient(sdbusplus::bus_t& connection) : bus(connection)
    {
        DLOG_LINE(logModule, __func__, ::healthintf::log::lifetime,
                  "%s.%d.%s: SELCLient constructor called");
    }

    SELClient(const SELClient&) = delete;
    SELClient& operator=(const SELClient&) = delete;

    ~SELClient()
    {
        // Log readers know the line by the class that it names.
        DLOG_LINE(logModule, __func__, ::healthintf::log::lifetime,
                  "%s.%d.%s: FaultAndHealth destructor called");
    }

    /** Stores a record, and waits until the log manager has answered or the
     *  bus's time for a call is over.
     *
     *  @param[in] sensor the sensor that saw the event
     *  @param[in] record the record's bytes; how many there are is for the log
     *             manager to judge
     *  @param[out] recordId the identifier that the log manager gave the
     *              record; left alone on failure
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
