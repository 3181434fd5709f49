// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges the bus and the services on it. */

#include "finding.hpp"

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** The way to the bus. */
struct BusState
{
    std::string address;
    /** Why there is no connection; empty when there is one. */
    std::string failure;
    /** It is there, and has not greeted the connection in time. */
    bool hangs = false;
};

/** A service by its bus name. */
struct ServiceState
{
    /** The program's name. */
    std::string program;
    std::string name;
    /** The process that owns the name; 0 for none. */
    uint32_t pid = 0;
    bool activatable = false;
    /** Whether it answers, if it runs. */
    bool answers = true;
};

/** Something that the bus's policy allows this user or not. */
struct Attempt
{
    enum class Result
    {
        allowed,
        denied,
        notTried,
        failed,
    };

    /** Identifies the attempt among the checks. */
    std::string check;
    /** What was tried, in words. */
    std::string what;
    Result result = Result::notTried;
    /** Why it was not tried, or how it failed. */
    std::string why;
    /** Who alone is meant to be allowed it, in words; null for everybody. */
    const char* reservedFor = nullptr;
};

/** A process's open files. */
struct OpenFiles
{
    std::string program;
    uint32_t pid = 0;
    std::size_t open = 0;
    std::size_t limit = 0;
};

Finding makeFinding(const BusState& bus);
Finding makeFinding(const ServiceState& service);

/** @param[in] root whether the attempt was root's */
Finding makeFinding(const Attempt& attempt, bool root);

Finding makeFinding(const OpenFiles& files);

} // namespace healthintf::healthctl
