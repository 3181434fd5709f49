#pragma once

/** @file Tells apart the objects of one process that hold the same health
 *  record. */

#include <platform/data_abstraction/health_status.hpp>

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace healthintf::binding
{

/** The objects of this process by the paths of their health records. The data
 *  cache has one record for each path of a process: it says what the youngest
 *  object at the path says, and stays until the last one ends. Thread-safe.
 *
 *  With one object at a path each call goes on to the data cache, and so does
 *  its result. */
class RecordHolders
{
  public:
    /** The holders of this process. A child of fork() has none at first, as it
     *  has no records. */
    static RecordHolders& ofThisProcess();

    /** Adds an object, the youngest at its path from now on, and creates or
     *  replaces the record.
     *
     *  @throws what the data cache throws; the object is none then */
    int create(const void* holder, const std::string& path,
               const HealthStatusPropertyMap& properties);

    /** Changes the record if the object is the youngest; else notes the value
     *  for the time when it is.
     *
     *  @return the data cache's result; 0 for a value that was noted */
    int setProperty(const void* holder, const std::string& path,
                    const std::string& name,
                    const HealthStatusPropertyVariant& value);

    /** Takes an object out. The last one's record is removed; after the
     *  youngest's end the record says what the next one says. */
    int remove(const void* holder, const std::string& path);

    /** The health that a path has without one of its objects: that of the
     *  youngest other one, 0 when there is none. */
    uint32_t healthWithout(const void* holder, const std::string& path);

  private:
    struct Holder
    {
        const void* object;
        uint32_t health;
    };

    std::mutex mutex;
    /** The oldest first; none is empty. */
    std::unordered_map<std::string, std::vector<Holder>> holders;
};

} // namespace healthintf::binding
