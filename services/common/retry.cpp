// SPDX-License-Identifier: Apache-2.0
#include "retry.hpp"

#include "service_log.hpp"

#include <exception>
#include <utility>

namespace healthintf::services
{

Retry::Retry(EventLoop& loop, std::function<bool()> work, GrowingPause pauses) :
    work(std::move(work)), pauses(pauses), requested(loop.onRequest([this] {
        attempt();
    })),
    pauseEnd(loop.onceLater([this] {
        paused = false;
        attempt();
    }))
{}

void Retry::request()
{
    if (!paused)
    {
        EventLoop::request(requested);
    }
}

void Retry::attempt()
{
    if (!paused)
    {
        insist();
    }
}

void Retry::insist()
{
    if (tryWork())
    {
        failingSince.reset();
        pauses.reset();
    }
    else
    {
        fail();
    }
}

void Retry::fail()
{
    if (!failingSince)
    {
        failingSince = Clock::now();
    }
    if (!paused)
    {
        paused = true;
        EventLoop::after(pauseEnd, pauses.next());
    }
}

bool Retry::tryWork()
{
    try
    {
        return work();
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
        return false;
    }
}

} // namespace healthintf::services
