#include "data_files.hpp"

#include "host_config.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace healthintf::host
{

namespace fs = std::filesystem;

std::vector<fs::path> searchPath(const char* variable, const char* otherwise)
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
    return searchPath("HEALTHINTF_REGISTRY_PATH", defaultRegistryPath);
}

std::vector<fs::path> eventFolders()
{
    return searchPath("HEALTHINTF_EVENT_PATH", defaultEventPath);
}

std::vector<fs::path> jsonFilesOf(const fs::path& folder,
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

std::string contentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
    {
        throw std::runtime_error("unable to open it");
    }
    std::string content{std::istreambuf_iterator<char>(stream), {}};
    if (stream.bad())
    {
        throw std::runtime_error("unable to read it");
    }
    return content;
}

} // namespace healthintf::host
