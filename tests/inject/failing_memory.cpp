// SPDX-License-Identifier: Apache-2.0
/** @file Overrides operator new: it throws std::bad_alloc in its turn. Does not
 *  override the forms for larger alignments. */

#include "failer.hpp"

#include <cstdlib>
#include <new>

using healthintf::test::failer;
using healthintf::test::Seam;

namespace
{

void* memoryOrNull(std::size_t size) noexcept
{
    return failer().fails(Seam::memory, "operator new")
               ? nullptr
               : std::malloc(size == 0 ? 1 : size);
}

void* memory(std::size_t size)
{
    if (void* taken = memoryOrNull(size))
    {
        return taken;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size)
{
    return memory(size);
}

void* operator new[](std::size_t size)
{
    return memory(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return memoryOrNull(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return memoryOrNull(size);
}

void operator delete(void* taken) noexcept
{
    std::free(taken);
}

void operator delete[](void* taken) noexcept
{
    std::free(taken);
}

void operator delete(void* taken, std::size_t) noexcept
{
    std::free(taken);
}

void operator delete[](void* taken, std::size_t) noexcept
{
    std::free(taken);
}

void operator delete(void* taken, const std::nothrow_t&) noexcept
{
    std::free(taken);
}

void operator delete[](void* taken, const std::nothrow_t&) noexcept
{
    std::free(taken);
}
