// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Whether the test programs are built with AddressSanitizer. It keeps
 *  freed memory, so the memory use of a process then proves nothing. */

namespace healthintf::test
{

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool isAddressSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool isAddressSanitized = true;
#else
inline constexpr bool isAddressSanitized = false;
#endif
#else
inline constexpr bool isAddressSanitized = false;
#endif

} // namespace healthintf::test
