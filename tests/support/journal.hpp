// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What happened, in order: platform calls, log lines and bus calls of
 *  one test in one list. */

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::test
{

/** What happened, calls and log lines each in their order. */
struct CallsAndLog
{
    std::vector<std::string> calls;
    /** Without the "log " that marks them among the calls. */
    std::vector<std::string> log;
};

/** Keeps one line for each call and lets a test script the calls' answers. */
class Journal
{
  public:
    /** Notes a call and gives its scripted answer, if there is one.
     *
     *  @param[in] call the call's name
     *  @param[in] arguments the rest of the line
     *  @param[in] usual the answer when none is scripted
     *  @throws what a script says */
    long called(const std::string& call, const std::string& arguments,
                long usual = 0);

    /** The scripted answer of a call, if there is one; notes nothing.
     *
     *  @throws what a script says */
    long scripted(const std::string& call, long usual = 0);

    /** Notes a line. */
    void note(std::string line);

    /** Lets the call @p call answer @p result once, after it was made @p before
     *  more times. */
    void answer(const std::string& call, long result, unsigned before = 0);

    /** Lets the call throw instead of answering. */
    void fail(const std::string& call, std::function<void()> thrower,
              unsigned before = 0);

    /** Forgets all lines and scripts. */
    void clear();

    const std::vector<std::string>& lines() const;

    /** The lines since the last take(). */
    std::vector<std::string> take();

    /** The lines since the last take() that begin with @p start. */
    std::vector<std::string> take(std::string_view start);

    /** How many lines begin with @p start. */
    std::size_t count(std::string_view start) const;

    /** The lines since the last take() without log lines. */
    std::vector<std::string> takeCalls();

    /** The lines since the last take(), calls and log lines apart. */
    CallsAndLog takeApart();

  private:
    struct Script
    {
        unsigned before;
        long result;
        std::function<void()> thrower;
    };

    std::vector<std::string> noted;
    std::map<std::string, std::deque<Script>> scripts;
};

/** The journal of the running test. */
Journal& journal();

} // namespace healthintf::test
