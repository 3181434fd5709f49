// SPDX-License-Identifier: Apache-2.0
#include "failer.hpp"

namespace healthintf::test
{

void Failer::arm(Seam seam, unsigned nth) noexcept
{
    left = nth;
    culprit = nullptr;
    refusals = 0;
    watched = seam;
}

void Failer::disarm() noexcept
{
    watched = Seam::none;
}

void Failer::spare(Seam seam, bool spared) noexcept
{
    sparedSeam = spared ? seam : Seam::none;
}

bool Failer::fails(Seam seam, const char* call) noexcept
{
    if (seam != watched || seam == sparedSeam || culprit != nullptr ||
        --left != 0)
    {
        return false;
    }
    culprit = call;
    return true;
}

void Failer::noteRefusal(Refusal what) noexcept
{
    if (watched != Seam::none)
    {
        refusals |= static_cast<unsigned>(what);
    }
}

bool Failer::refused(Refusal what) const noexcept
{
    return (refusals & static_cast<unsigned>(what)) != 0;
}

void Failer::forget(Refusal what) noexcept
{
    refusals &= ~static_cast<unsigned>(what);
}

Failer& failer() noexcept
{
    static thread_local constinit Failer own;
    return own;
}

} // namespace healthintf::test
