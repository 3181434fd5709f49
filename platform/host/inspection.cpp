// SPDX-License-Identifier: Apache-2.0
#include "inspection.hpp"

#include "data_files.hpp"
#include "event_description/event_table.hpp"
#include "message_registry/registry_file.hpp"

#include <string>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** Reads every file of the folders.
 *
 *  @param[in] parse takes a file's text and returns what is wrong with parts of
 *  it, or throws when the whole file cannot be used */
template <typename Parse>
InstalledFiles inspect(std::vector<fs::path> folders, Parse&& parse)
{
    InstalledFiles found{
        .folders = std::move(folders), .usable = 0, .problems = {}};
    const auto note = [&](const fs::path& where, const std::string& what) {
        found.problems.push_back(where.string() + ": " + what);
    };
    for (const fs::path& folder : found.folders)
    {
        std::error_code error;
        for (const fs::path& file : listJsonFiles(folder, error))
        {
            try
            {
                for (const std::string& problem : parse(readDataFile(file)))
                {
                    note(file, problem);
                }
                ++found.usable;
            }
            catch (const std::exception& e)
            {
                note(file, e.what());
            }
        }
        if (error)
        {
            note(folder, error.message());
        }
    }
    return found;
}

} // namespace

InstalledFiles inspectRegistries()
{
    return inspect(registryFolders(), [](const std::string& text) {
        RegistryFile file = parseRegistry(text);
        if (file.furtherProblems > 0)
        {
            file.problems.push_back(std::to_string(file.furtherProblems) +
                                    " more messages with errors");
        }
        return file.problems;
    });
}

InstalledFiles inspectEventTable()
{
    InstalledFiles found = inspect(eventFolders(), [](const std::string& text) {
        parseEventTable(text);
        return std::vector<std::string>{};
    });
    try
    {
        // Files that are right by themselves may contradict each other.
        found.problems = EventTable::load(found.folders).problems();
    }
    catch (const NoEventTable&)
    {
        // The problems of the files are known.
    }
    return found;
}

} // namespace healthintf::host
