// SPDX-License-Identifier: Apache-2.0
#include "silences.hpp"

#include <algorithm>
#include <cstdlib>

namespace healthintf::healthmgr
{
namespace
{

constexpr int64_t microsecondsPerSecond = 1'000'000;

int64_t inMicroseconds(int64_t seconds)
{
    return seconds * microsecondsPerSecond;
}

} // namespace

Silences::Silences(std::filesystem::path path, Clocks ownClocks) :
    file(std::move(path), "the silences"), clocks(std::move(ownClocks)),
    kept(file.read(parseSilences))
{
    for (auto& [id, silence] : kept.silences)
    {
        if (silence.boot != clocks.boot)
        {
            carryOverBoot(silence);
        }
    }
}

/** Lets a silence of an earlier boot end by the time of day. While nobody has
 *  set the clock yet, that may be far away. */
void Silences::carryOverBoot(Silence& silence)
{
    silence.boot = clocks.boot;
    silence.ends = clocks.sinceBoot() + inMicroseconds(silence.seconds);
    silence.byWall = true;
    file.noteChange();
}

std::optional<uint64_t> Silences::add(const SilenceTarget& target,
                                      uint32_t seconds,
                                      const std::string& comment, uint32_t user)
{
    const auto ofUser =
        std::ranges::count_if(kept.silences, [user](const auto& each) {
            return each.second.user == user;
        });
    if (kept.silences.size() >= most ||
        static_cast<std::size_t>(ofUser) >= mostOfOneUser)
    {
        return std::nullopt;
    }
    Silence silence{.target = target,
                    .comment = comment,
                    .user = user,
                    .seconds = seconds,
                    .until = 0,
                    .boot = clocks.boot,
                    .ends = clocks.sinceBoot() + inMicroseconds(seconds)};
    silence.until = endByWall(silence);
    kept.silences.emplace(++kept.last, std::move(silence));
    file.noteChange();
    return kept.last;
}

std::optional<Silence> Silences::end(uint64_t id)
{
    const auto found = kept.silences.find(id);
    if (found == kept.silences.end())
    {
        return std::nullopt;
    }
    Silence silence = found->second;
    silence.until = endByWall(silence);
    kept.silences.erase(found);
    file.noteChange();
    return silence;
}

std::vector<Silences::Numbered> Silences::endExpired()
{
    std::vector<Numbered> expired;
    for (const auto& [id, silence] : kept.silences)
    {
        if (remaining(silence) == 0)
        {
            expired.emplace_back(id, silence);
        }
    }
    for (const auto& [id, silence] : expired)
    {
        end(id);
    }
    return expired;
}

std::optional<std::chrono::microseconds> Silences::untilNext() const
{
    std::optional<std::chrono::microseconds> next;
    for (const auto& [id, silence] : kept.silences)
    {
        const std::chrono::microseconds left(remaining(silence));
        next = next ? std::min(*next, left) : left;
    }
    return next;
}

bool Silences::has(const SilenceTarget& target) const
{
    return std::ranges::any_of(kept.silences, [&target](const auto& each) {
        return each.second.target == target;
    });
}

SilenceMap Silences::withPresentEnds() const
{
    SilenceMap silences = kept.silences;
    for (auto& [id, silence] : silences)
    {
        silence.until = endByWall(silence);
    }
    return silences;
}

bool Silences::save()
{
    followClock();
    return file.save([this] {
        return formatSilences(kept);
    });
}

/** How many microseconds a silence goes on. */
int64_t Silences::remaining(const Silence& silence) const
{
    int64_t left = silence.ends - clocks.sinceBoot();
    if (silence.byWall)
    {
        left = std::min(left, inMicroseconds(silence.until) - clocks.wall());
    }
    return std::clamp<int64_t>(left, 0, inMicroseconds(silence.seconds));
}

/** When a silence ends by the time of day, as the clock is set now. */
int64_t Silences::endByWall(const Silence& silence) const
{
    const int64_t rounding = microsecondsPerSecond / 2;
    return (clocks.wall() + remaining(silence) + rounding) /
           microsecondsPerSecond;
}

/** After the clock was set, the next boot needs other times of day. */
void Silences::followClock()
{
    for (auto& [id, silence] : kept.silences)
    {
        const int64_t until = endByWall(silence);
        // Clocks that are steered differ by less.
        if (!silence.byWall && std::abs(until - silence.until) > 1)
        {
            silence.until = until;
            file.noteChange();
        }
    }
}

} // namespace healthintf::healthmgr
