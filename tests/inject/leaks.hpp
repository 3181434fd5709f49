// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks LeakSanitizer for leaked memory. */

#if defined(__SANITIZE_ADDRESS__)
#define HEALTHINTF_FINDS_LEAKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HEALTHINTF_FINDS_LEAKS 1
#endif
#endif

#ifdef HEALTHINTF_FINDS_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

namespace healthintf::test
{

/** Whether memory has leaked since the start; prints the leaks to standard
 *  error. Always false in a build without LeakSanitizer. */
inline bool leaked()
{
#ifdef HEALTHINTF_FINDS_LEAKS
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

} // namespace healthintf::test
