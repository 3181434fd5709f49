#pragma once

/** @file The log as others read it in the data cache. */

#include "data_cache/sel_entry_cache.hpp"
#include "event_log.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace healthintf::logmgr
{

/** Keeps the data cache as the log is. What fails is logged, and made up for
 *  later: the log itself has it all. */
class Mirror
{
  public:
    /** Leaves whatever is there until renew().
     *
     *  @param[in] log must outlive this object */
    explicit Mirror(const EventLog& log);

    /** Follows an addition that the log has made. */
    void follow(const EventLog::Addition& addition);

    /** Follows any change: puts the whole log in the place of whatever is
     *  there.
     *
     *  @return whether that is done */
    bool renew();

    /** Makes the mirror anew when somebody has removed it or put something else
     *  in its place, when the log holds something else, and when most of its
     *  space is free. */
    void look();

    /** Calls @p repair whenever a change could not be followed, so that renew()
     *  is called again later. */
    void onFailure(std::function<void()> repair)
    {
        askForRepair = std::move(repair);
    }

  private:
    bool isOfAnotherLog() const;
    bool isLost() const;
    int makeAnew();
    void giveSpaceBack();
    void note(int result);

    const EventLog& events;
    host::SelMirror mirror;
    /** Whether only renew() makes the mirror whole. */
    bool behind = true;
    /** The sequence number of the next entry, if there is a mirror. */
    uint64_t next = 0;
    /** The log's generation then. */
    uint64_t generation = 0;
    bool failing = false;
    /** Up to so many bytes the mirror may be mostly free. */
    std::size_t tolerated;
    std::function<void()> askForRepair;
};

} // namespace healthintf::logmgr
