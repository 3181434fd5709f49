// SPDX-License-Identifier: Apache-2.0
#include "scrolling.hpp"

#include <algorithm>

namespace healthintf::healthctl
{

std::size_t Scrolling::fit(std::size_t lines, std::size_t room)
{
    last = lines - std::min(lines, room);
    page = std::max<std::size_t>(room, 1);
    first = std::min(first, last);
    return first;
}

void Scrolling::move(Key key)
{
    const auto up = [this](std::size_t lines) {
        first -= std::min(first, lines);
    };
    const auto down = [this](std::size_t lines) {
        first += std::min(last - first, lines);
    };
    switch (key)
    {
        case Key::up:
            return up(1);
        case Key::down:
            return down(1);
        case Key::pageUp:
            return up(page);
        case Key::pageDown:
            return down(page);
        case Key::home:
            return up(first);
        case Key::end:
            return down(last);
        case Key::quit:
            return;
    }
}

} // namespace healthintf::healthctl
