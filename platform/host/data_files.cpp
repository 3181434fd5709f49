// SPDX-License-Identifier: Apache-2.0
#include "data_files.hpp"

#include "host_config.hpp"
#include "host_log.hpp"
#include "storage/regular_file.hpp"
#include "storage/shortage.hpp"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace healthintf::host
{

namespace fs = std::filesystem;

std::vector<fs::path> splitSearchPath(const char* variable,
                                      const char* otherwise)
{
    const char* given = secure_getenv(variable);
    std::istringstream text(given != nullptr ? given : otherwise);
    std::vector<fs::path> folders;
    for (std::string folder; std::getline(text, folder, ':');)
    {
        if (!folder.empty())
        {
            folders.emplace_back(folder);
        }
    }
    return folders;
}

std::vector<fs::path> registryFolders()
{
    return splitSearchPath(registryPathVariable, defaultRegistryPath);
}

std::vector<fs::path> eventFolders()
{
    return splitSearchPath(eventPathVariable, defaultEventPath);
}

std::vector<fs::path> listJsonFiles(const fs::path& folder,
                                    std::error_code& error)
{
    std::vector<fs::path> files;
    for (fs::directory_iterator entry(folder, error), end;
         !error && entry != end; entry.increment(error))
    {
        if (entry->path().extension() == ".json")
        {
            files.push_back(entry->path());
        }
    }
    if (error == std::errc::no_such_file_or_directory)
    {
        error.clear();
    }
    std::ranges::sort(files);
    return files;
}

void warnAboutMissingFolders(const char* variable,
                             const std::vector<fs::path>& folders)
{
    if (secure_getenv(variable) == nullptr)
    {
        // The default folders need not all exist.
        return;
    }
    for (const fs::path& folder : folders)
    {
        std::error_code error;
        if (!fs::exists(folder, error) && !error)
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: %s names the folder %s, which does not exist",
                     variable, folder.c_str());
        }
    }
}

void throwIfShort(const std::error_code& error, const fs::path& place)
{
    if (isShortage(error.value()))
    {
        throw DataShortage(error, place.string());
    }
}

std::string readDataFile(const fs::path& file)
{
    try
    {
        return readToEnd(openRegularFile(file, 0, "unable to open it"),
                         maxDataFile, "unable to read it");
    }
    catch (const std::system_error& e)
    {
        throwIfShort(e.code(), file);
        throw;
    }
}

} // namespace healthintf::host
