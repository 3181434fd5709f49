/** @file The virtual functions of the exported classes stand in the slots that
 *  abi/ announces: programs call them by slot. */

#include "announced.hpp"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <link.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

/** What stands in the slots of destructors where the class is abstract. */
const std::string nothing = "nothing";

using Slots = std::map<std::size_t, std::string>;

/** The tables' symbols and what stands in their slots. */
std::map<std::string, Slots> announcedTables()
{
    std::map<std::string, Slots> tables;
    std::string name;
    for (const std::string& line : announced("libhealthintf.vtables"))
    {
        if (!line.starts_with(' '))
        {
            name = line;
            continue;
        }
        std::istringstream words(line);
        std::size_t slot = 0;
        words >> slot >> tables[name][slot];
    }
    return tables;
}

/** The library as the linker of a program sees it. */
class VirtualTables : public testing::Test
{
  protected:
    VirtualTables() : library(dlopen(LIBRARY, RTLD_NOW))
    {
        EXPECT_NE(library, nullptr) << dlerror();
    }

    /** A table as the library has it in memory, ready to be used. */
    std::vector<void*> table(const std::string& name)
    {
        void* begin = dlsym(library, name.c_str());
        Dl_info info{};
        void* found = nullptr;
        if (begin == nullptr ||
            dladdr1(begin, &info, &found, RTLD_DL_SYMENT) == 0)
        {
            return {};
        }
        const auto* symbol = static_cast<const ElfW(Sym)*>(found);
        void** slots = static_cast<void**>(begin);
        return std::vector<void*>(slots,
                                  slots + symbol->st_size / sizeof(void*));
    }

    void* at(const std::string& symbol)
    {
        return symbol == nothing ? nullptr : dlsym(library, symbol.c_str());
    }

    /** The symbol that is at an address. */
    static std::string symbolAt(void* address)
    {
        Dl_info info{};
        if (dladdr(address, &info) == 0 || info.dli_sname == nullptr)
        {
            return nothing;
        }
        return info.dli_sname;
    }

    void* library;
};

TEST_F(VirtualTables, HaveTheirFunctionsInTheAnnouncedSlots)
{
    const auto tables = announcedTables();
    EXPECT_EQ(tables.size(), 5);
    for (const auto& [name, slots] : tables)
    {
        const std::vector<void*> held = table(name);
        ASSERT_EQ(held.size(), slots.rbegin()->first + 1) << name;
        // The first says where the object begins.
        for (std::size_t slot = 1; slot < held.size(); ++slot)
        {
            const std::string wanted =
                slots.contains(slot) ? slots.at(slot) : nothing;
            EXPECT_EQ(held[slot], at(wanted))
                << name << ": slot " << slot << " has not " << wanted << " but "
                << symbolAt(held[slot]);
        }
    }
}

} // namespace
} // namespace healthintf::test
