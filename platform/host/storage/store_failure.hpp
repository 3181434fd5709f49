#pragma once

/** @file The number of a store's failure, and what to do about it. */

#include <exception>
#include <string>

namespace healthintf::host
{

/** What is different from store to store. */
struct StoreAdvice
{
    /** When no record fits any more. */
    const char* full;
    /** When a key or a value is too long. */
    const char* tooLong;
    /** The environment variable that names its folder's folder. */
    const char* folderVariable;
};

/** The number of a failure: an LMDB code or an errno, never 0. */
int codeOf(const std::exception& failure) noexcept;

/** What to do about a failure, in words. */
std::string remedyFor(int code, const StoreAdvice& advice);

} // namespace healthintf::host
