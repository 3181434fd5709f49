// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds the function that an override of this program hides. */

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace healthintf::test
{

/** The function of the same name in the libraries behind the program. Finds the
 *  name, as the linker knows it, by the address of @p own.
 *
 *  Ends the program if there is no such function: nothing could be tested. */
template <typename Function>
Function* nextDefinition(Function* own)
{
    Dl_info info{};
    void* next = nullptr;
    if (dladdr(reinterpret_cast<void*>(own), &info) != 0 &&
        info.dli_sname != nullptr)
    {
        next = dlsym(RTLD_NEXT, info.dli_sname);
    }
    if (next == nullptr)
    {
        std::fprintf(stderr, "nothing behind %s\n",
                     info.dli_sname == nullptr ? "a function" : info.dli_sname);
        std::abort();
    }
    return reinterpret_cast<Function*>(next);
}

} // namespace healthintf::test
