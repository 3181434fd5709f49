// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds the virtual table slot that a pointer to a virtual member
 *  function calls, by the Itanium C++ ABI. */

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace healthintf::test
{

/** The slot of a virtual member function, where the complete-object destructor
 *  has slot 0; -1 for a function that is not virtual. */
template <typename Function>
std::ptrdiff_t findSlot(Function function)
{
    struct
    {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    } parts{};
    static_assert(sizeof(parts) == sizeof(function));
    std::memcpy(&parts, &function, sizeof(parts));
#if defined(__arm__) || defined(__aarch64__)
    const bool isVirtual = (parts.adjustment & 1) != 0;
    const std::ptrdiff_t offset = parts.pointer;
#else
    const bool isVirtual = (parts.pointer & 1) != 0;
    const std::ptrdiff_t offset = parts.pointer - 1;
#endif
    return isVirtual ? offset / static_cast<std::ptrdiff_t>(sizeof(void*)) : -1;
}

/** The three slots of a property: getter, setter that can skip the signal,
 *  plain setter. */
struct PropertySlots
{
    std::ptrdiff_t getter;
    std::ptrdiff_t fullSetter;
    std::ptrdiff_t plainSetter;

    friend bool operator==(const PropertySlots&,
                           const PropertySlots&) = default;
};

template <typename Object, typename T>
PropertySlots getSlots(T (Object::*getter)() const,
                       T (Object::*fullSetter)(T, bool),
                       T (Object::*plainSetter)(T))
{
    return {findSlot(getter), findSlot(fullSetter), findSlot(plainSetter)};
}

} // namespace healthintf::test
