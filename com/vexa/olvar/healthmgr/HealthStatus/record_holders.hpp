// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Shares one health record between the objects of a process at the same
 *  path. */

#include <platform/data_abstraction/health_status.hpp>

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace healthintf::binding
{

/** The objects of this process by the paths of their health records. The data
 *  cache has one record for each path of a process: it has the health of the
 *  youngest object at the path, and stays until the last object there is
 *  destroyed. Thread-safe.
 *
 *  With one object at a path, each call is passed on to the data cache and
 *  returns its result. */
class RecordHolders
{
  public:
    /** The holders of this process. A child of fork() starts without any, as it
     *  has no records. */
    static RecordHolders& ofThisProcess();

    /** Adds an object as the youngest at its path, and creates or replaces the
     *  record.
     *
     *  @throws what the data cache throws; then the object is not added */
    int create(const void* holder, const std::string& path,
               const HealthStatusPropertyMap& properties);

    /** Changes the record if the object is the youngest at its path; otherwise
     *  keeps the value until it is.
     *
     *  @return the data cache's result; 0 for a value that was kept */
    int setProperty(const void* holder, const std::string& path,
                    const std::string& name,
                    const HealthStatusPropertyVariant& value);

    /** Removes an object. The last object's record is removed; after the
     *  youngest object the record gets the health of the next youngest. */
    int remove(const void* holder, const std::string& path);

    /** The health of the youngest object at a path other than @p holder; 0 when
     *  there is none. */
    uint32_t healthWithout(const void* holder, const std::string& path);

  private:
    struct Holder
    {
        const void* object;
        uint32_t health;
    };

    std::mutex mutex;
    /** The oldest object first; no list is empty. */
    std::unordered_map<std::string, std::vector<Holder>> holders;
};

} // namespace healthintf::binding
