// SPDX-License-Identifier: Apache-2.0
#include "message_catalog.hpp"

#include "../data_files.hpp"
#include "../host_log.hpp"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** The registry files of a folder. */
std::vector<fs::path> registryFiles(const fs::path& folder)
{
    std::error_code error;
    std::vector<fs::path> files = listJsonFiles(folder, error);
    throwIfShort(error, folder);
    if (error)
    {
        HOST_LOG(log::warning, "%s.%d.%s: unable to read the folder %s: %s",
                 folder.c_str(), error.message().c_str());
    }
    return files;
}

void addFile(MessageCatalog& catalog, const fs::path& path)
{
    try
    {
        RegistryFile file = parseRegistry(readDataFile(path));
        file.name = path.string();
        for (const std::string& problem : file.problems)
        {
            HOST_LOG(log::warning, "%s.%d.%s: %s: %s: message left out",
                     path.c_str(), problem.c_str());
        }
        if (file.furtherProblems > 0)
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: %s: %zu more messages with errors: left out",
                     path.c_str(), file.furtherProblems);
        }
        catalog.add(file);
    }
    catch (const DataShortage&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        HOST_LOG(log::warning, "%s.%d.%s: %s: %s: file left out", path.c_str(),
                 e.what());
    }
}

/** Joins language and identifier to one key. */
std::string catalogKey(const std::string& language, const std::string& id)
{
    return language + '\n' + id;
}

/** Removes the first number from a version and returns it. */
unsigned int takeNumber(std::string_view& version)
{
    unsigned int number = 0;
    const char* end = version.data() + version.size();
    std::from_chars(version.data(), end, number);
    const auto dot = version.find('.');
    version.remove_prefix(dot == std::string_view::npos ? version.size()
                                                        : dot + 1);
    return number;
}

} // namespace

std::string shortVersion(const std::string& version)
{
    const auto first = version.find('.');
    return first == std::string::npos
               ? version
               : version.substr(0, version.find('.', first + 1));
}

bool isNewer(std::string_view version, std::string_view than)
{
    while (!version.empty() || !than.empty())
    {
        const unsigned int mine = takeNumber(version);
        const unsigned int other = takeNumber(than);
        if (mine != other)
        {
            return mine > other;
        }
    }
    return false;
}

MessageCatalog MessageCatalog::load(const std::vector<fs::path>& folders)
{
    MessageCatalog catalog;
    for (const fs::path& folder : folders)
    {
        for (const fs::path& file : registryFiles(folder))
        {
            addFile(catalog, file);
        }
    }
    catalog.logSharedKeys();
    return catalog;
}

void MessageCatalog::add(const RegistryFile& file)
{
    for (const auto& [key, content] : file.messages)
    {
        const auto message = std::make_shared<const Message>(content);
        noteSharedKey(key, file);
        forEachIdentifier(file, key, [&](const std::string& id) {
            addUnder(id, file, message);
        });
    }
}

void MessageCatalog::addUnder(const std::string& id, const RegistryFile& file,
                              const std::shared_ptr<const Message>& message)
{
    const auto [entry, added] = messages.try_emplace(
        catalogKey(file.language, id),
        Entry{message, file.prefix, file.version, file.name});
    if (!added && entry->second.prefix == file.prefix &&
        isNewer(file.version, entry->second.version))
    {
        entry->second = {message, file.prefix, file.version, file.name};
    }
}

void MessageCatalog::noteSharedKey(const std::string& key,
                                   const RegistryFile& file)
{
    const auto found = messages.find(catalogKey(file.language, key));
    if (found != messages.end() && found->second.prefix != file.prefix &&
        std::ranges::find(sharedKeys, key, &SharedKey::key) == sharedKeys.end())
    {
        sharedKeys.push_back({key, found->second.file, file.name});
    }
}

void MessageCatalog::logSharedKeys() const
{
    // The public registries share dozens of keys, so only the first are logged.
    constexpr std::size_t most = 10;
    for (std::size_t i = 0; i < std::min(most, sharedKeys.size()); ++i)
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: the registries %s and %s both have the key %s: "
                 "the bare key means the message of the first",
                 sharedKeys[i].firstFile.c_str(),
                 sharedKeys[i].secondFile.c_str(), sharedKeys[i].key.c_str());
    }
    if (sharedKeys.size() > most)
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: %zu more keys are in more than one registry",
                 sharedKeys.size() - most);
    }
}

const Message* MessageCatalog::find(const std::string& id,
                                    const std::string& language) const
{
    const auto found = messages.find(catalogKey(language, id));
    return found == messages.end() ? nullptr : found->second.message.get();
}

std::string MessageCatalog::findFile(const std::string& id,
                                     const std::string& language) const
{
    const auto found = messages.find(catalogKey(language, id));
    return found == messages.end() ? std::string() : found->second.file;
}

} // namespace healthintf::host
