// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How a watcher reads the bus again. */

#include <functional>
#include <set>
#include <string>

namespace healthintf::healthctl
{

struct RepeatedReading
{
    /** Connections that are known not to answer: they are not asked, and are
     *  among the silent ones until they leave. */
    std::set<std::string> silent = {};
    /** Called again and again while answers are waited for; null for nothing.
     *  Messages that came meanwhile are handled before. */
    std::function<void()> whileWaiting = {};
};

} // namespace healthintf::healthctl
