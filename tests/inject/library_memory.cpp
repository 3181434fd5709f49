// SPDX-License-Identifier: Apache-2.0
#include "library_memory.hpp"

#include "failer.hpp"

#include <sys/mman.h>

#include <link.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace healthintf::test
{
namespace
{

bool fails(const char* call)
{
    if (!failer().fails(Seam::libraryMemory, call))
    {
        return false;
    }
    errno = ENOMEM;
    return true;
}

void* watchedMalloc(size_t size)
{
    return fails("malloc") ? nullptr : std::malloc(size);
}

void* watchedCalloc(size_t count, size_t size)
{
    return fails("calloc") ? nullptr : std::calloc(count, size);
}

void* watchedRealloc(void* taken, size_t size)
{
    return fails("realloc") ? nullptr : std::realloc(taken, size);
}

void* watchedReallocarray(void* taken, size_t count, size_t size)
{
    return fails("reallocarray") ? nullptr : reallocarray(taken, count, size);
}

char* watchedStrdup(const char* text)
{
    return fails("strdup") ? nullptr : strdup(text);
}

char* watchedStrndup(const char* text, size_t size)
{
    return fails("strndup") ? nullptr : strndup(text, size);
}

int watchedVasprintf(char** text, int /*flag*/, const char* format,
                     va_list arguments)
{
    return fails("vasprintf") ? -1 : vasprintf(text, format, arguments);
}

int watchedAsprintf(char** text, int flag, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = watchedVasprintf(text, flag, format, arguments);
    va_end(arguments);
    return result;
}

struct Replacement
{
    std::string_view name;
    void* function;
};

template <typename Function>
Replacement replacement(std::string_view name, Function* function)
{
    return {name, reinterpret_cast<void*>(function)};
}

void* findReplacement(std::string_view name)
{
    static const std::array all{
        replacement("malloc", watchedMalloc),
        replacement("calloc", watchedCalloc),
        replacement("realloc", watchedRealloc),
        replacement("reallocarray", watchedReallocarray),
        replacement("strdup", watchedStrdup),
        replacement("strndup", watchedStrndup),
        replacement("__vasprintf_chk", watchedVasprintf),
        replacement("__asprintf_chk", watchedAsprintf)};
    for (const auto& [known, function] : all)
    {
        if (known == name)
        {
            return function;
        }
    }
    return nullptr;
}

/** Writes an entry of a table that the dynamic linker made read-only after
 *  relocation. */
bool write(void** entry, void* function)
{
    const auto size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto page = reinterpret_cast<uintptr_t>(entry) / size * size;
    if (mprotect(reinterpret_cast<void*>(page), size, PROT_READ | PROT_WRITE) !=
        0)
    {
        return false;
    }
    *entry = function;
    return true;
}

/** The tables of a library's imported functions. */
struct Imports
{
    const ElfW(Sym) * symbols = nullptr;
    const char* names = nullptr;
    struct Table
    {
        const ElfW(Rela) * entries = nullptr;
        std::size_t size = 0;
    };
    std::array<Table, 2> tables;
};

Imports listImports(const ElfW(Dyn) * dynamic)
{
    Imports found;
    for (; dynamic->d_tag != DT_NULL; ++dynamic)
    {
        const auto at = dynamic->d_un.d_ptr;
        switch (dynamic->d_tag)
        {
            case DT_SYMTAB:
                found.symbols = reinterpret_cast<const ElfW(Sym)*>(at);
                break;
            case DT_STRTAB:
                found.names = reinterpret_cast<const char*>(at);
                break;
            case DT_JMPREL:
                found.tables[0].entries =
                    reinterpret_cast<const ElfW(Rela)*>(at);
                break;
            case DT_PLTRELSZ:
                found.tables[0].size = dynamic->d_un.d_val;
                break;
            case DT_RELA:
                found.tables[1].entries =
                    reinterpret_cast<const ElfW(Rela)*>(at);
                break;
            case DT_RELASZ:
                found.tables[1].size = dynamic->d_un.d_val;
                break;
            default:
                break;
        }
    }
    return found;
}

/** @return the number of entries that were replaced */
int redirect(ElfW(Addr) base, const Imports& imports)
{
    int written = 0;
    for (const auto& [entries, size] : imports.tables)
    {
        for (std::size_t i = 0;
             entries != nullptr && i < size / sizeof(*entries); ++i)
        {
            // The upper half holds the number of the symbol.
            const auto symbol = entries[i].r_info >> 32;
            void* function =
                symbol == 0 ? nullptr
                            : findReplacement(imports.names +
                                              imports.symbols[symbol].st_name);
            if (function != nullptr &&
                write(reinterpret_cast<void**>(base + entries[i].r_offset),
                      function))
            {
                ++written;
            }
        }
    }
    return written;
}

int takeLibrary(dl_phdr_info* info, size_t /*size*/, void* context)
{
    const std::string_view path = info->dlpi_name;
    const std::string_view file = path.substr(path.rfind('/') + 1);
    if (!file.starts_with("libsystemd.so"))
    {
        return 0;
    }
    for (int i = 0; i < info->dlpi_phnum; ++i)
    {
        const auto& header = info->dlpi_phdr[i];
        if (header.p_type == PT_DYNAMIC)
        {
            const Imports imports =
                listImports(reinterpret_cast<const ElfW(Dyn)*>(info->dlpi_addr +
                                                               header.p_vaddr));
            *static_cast<bool*>(context) =
                redirect(info->dlpi_addr, imports) > 0;
        }
    }
    return 0;
}

} // namespace

bool watchLibraryMemory()
{
    bool found = false;
    if constexpr (sizeof(void*) == sizeof(uint64_t))
    {
        dl_iterate_phdr(takeLibrary, &found);
    }
    return found;
}

} // namespace healthintf::test
