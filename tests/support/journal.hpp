// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Records what happens in a test, in order: platform calls, log lines
 *  and bus calls. */

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::test
{

/** The recorded calls and the log lines, each in order. */
struct CallsAndLog
{
    std::vector<std::string> calls;
    /** Without their prefix "log ". */
    std::vector<std::string> log;
};

/** Records one line for each call, and answers calls from the test's script. */
class Journal
{
  public:
    /** Records a call and returns the scripted answer.
     *
     *  @param[in] call the call's name
     *  @param[in] arguments the rest of the line
     *  @param[in] usual the answer when none is scripted
     *  @throws whatever the script throws */
    long called(const std::string& call, const std::string& arguments,
                long usual = 0);

    /** Returns the scripted answer of a call without recording the call.
     *
     *  @throws whatever the script throws */
    long scripted(const std::string& call, long usual = 0);

    /** Records a line. */
    void note(std::string line);

    /** Makes @p call return @p result once, after @p before further calls. */
    void answer(const std::string& call, long result, unsigned before = 0);

    /** Makes @p call throw once, after @p before further calls. */
    void fail(const std::string& call, std::function<void()> thrower,
              unsigned before = 0);

    /** Forgets all lines and scripted answers. */
    void clear();

    const std::vector<std::string>& lines() const;

    /** The lines since the last take(). */
    std::vector<std::string> take();

    /** The lines since the last take() that begin with @p start. */
    std::vector<std::string> take(std::string_view start);

    /** The number of lines that begin with @p start. */
    std::size_t count(std::string_view start) const;

    /** The lines since the last take(), without log lines. */
    std::vector<std::string> takeCalls();

    /** The lines since the last take(), with calls and log lines separated. */
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
