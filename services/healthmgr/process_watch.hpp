#pragma once

/** @file Tells when a process ends, whatever way it ends. */

#include "../common/event_loop.hpp"
#include "data_cache/process_identity.hpp"
#include "storage/file_descriptor.hpp"

#include <functional>
#include <map>

namespace healthintf::healthmgr
{

/** The processes that are watched. */
class ProcessWatch
{
  public:
    using Ended = std::function<void(const host::ProcessIdentity&)>;

    /** @param[in] loop what runs the watch; must outlive this object
     *  @param[in] ended called once for each process that ended */
    ProcessWatch(services::EventLoop& loop, Ended ended);

    /** Watches a process. One that has ended already is told of before this
     *  returns; one that is watched already stays so.
     *
     *  @throws std::system_error when the process lives and cannot be
     *          watched */
    void watch(const host::ProcessIdentity& process);

  private:
    struct Watched
    {
        host::FileDescriptor descriptor;
        services::EventSource source;
    };

    services::EventLoop& loop;
    Ended ended;
    std::map<host::ProcessIdentity, Watched> watched;
};

} // namespace healthintf::healthmgr
