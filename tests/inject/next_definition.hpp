// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What a function of this program stands in front of. */

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace healthintf::test
{

/** The function of the same name in the libraries that come after the
 *  program, whose own definition all of them call. Its name, as the linker
 *  knows it, is looked up by its address.
 *
 *  Ends the program when there is none: nothing could be tested. */
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
