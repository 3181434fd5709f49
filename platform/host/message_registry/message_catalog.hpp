#pragma once

/** @file All messages of all registries. */

#include "registry_file.hpp"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace healthintf::host
{

/** Messages by their identifiers. A message of the registry Prefix in version
 *  1.2.3 is found as Key, Prefix.Key, Prefix.1.2.Key and Prefix.1.2.3.Key.
 *  Where several registries have a name, the newest version of a registry wins,
 *  and of different registries the one that was added first. */
class MessageCatalog
{
  public:
    /** Reads every *.json file of the folders, in the order of the folders and
     *  of the files' names. What is wrong is logged and left out; a folder
     *  that is not there is empty. Keys that several registries have are
     *  logged. */
    static MessageCatalog
    load(const std::vector<std::filesystem::path>& folders);

    /** Adds the messages of one registry. */
    void add(const RegistryFile& file);

    /** The message of an identifier, or null. */
    const Message* find(const std::string& id,
                        const std::string& language) const;

    std::size_t size() const
    {
        return messages.size();
    }

  private:
    struct Entry
    {
        /** Shared by the identifiers of one message. */
        std::shared_ptr<const Message> message;
        std::string prefix;
        std::string version;
        std::string file;
    };

    /** A key that registries share. */
    struct SharedKey
    {
        std::string key;
        /** The file whose message the bare key stands for. */
        std::string counts;
        std::string other;
    };

    void addUnder(const std::string& id, const RegistryFile& file,
                  const std::shared_ptr<const Message>& message);
    void noteShared(const std::string& key, const RegistryFile& file);
    void tellShared() const;

    /** By language and identifier. */
    std::unordered_map<std::string, Entry> messages;
    std::vector<SharedKey> shared;
};

/** Whether a version, numbers separated by dots, is newer than another. */
bool isNewer(std::string_view version, std::string_view than);

} // namespace healthintf::host
