// SPDX-License-Identifier: Apache-2.0
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
 *  1.2.3 is found as Key, Prefix.Key, Prefix.1.2.Key and Prefix.1.2.3.Key. When
 *  several registries have an identifier, the newest version of a registry
 *  wins, and among different registries the one that was added first. */
class MessageCatalog
{
  public:
    /** Reads every *.json file of the folders, in the order of the folders and
     *  of the files' names. Invalid files and messages are logged and left out;
     *  missing folders are ignored. Keys that several registries have are
     *  logged. */
    static MessageCatalog
    load(const std::vector<std::filesystem::path>& folders);

    /** Adds the messages of one registry. */
    void add(const RegistryFile& file);

    /** Finds the message of an identifier; null when there is none. */
    const Message* find(const std::string& id,
                        const std::string& language) const;

    /** The name of the file whose message find() finds; empty when there is no
     *  such message. */
    std::string findFile(const std::string& id,
                         const std::string& language) const;

    std::size_t size() const
    {
        return messages.size();
    }

  private:
    struct Entry
    {
        /** Shared by all identifiers of the message. */
        std::shared_ptr<const Message> message;
        std::string prefix;
        std::string version;
        std::string file;
    };

    /** A key that two registries have. */
    struct SharedKey
    {
        std::string key;
        /** The file whose message is found by the bare key. */
        std::string firstFile;
        std::string secondFile;
    };

    void addUnder(const std::string& id, const RegistryFile& file,
                  const std::shared_ptr<const Message>& message);
    void noteSharedKey(const std::string& key, const RegistryFile& file);
    void logSharedKeys() const;

    /** By language and identifier, see catalogKey(). */
    std::unordered_map<std::string, Entry> messages;
    std::vector<SharedKey> sharedKeys;
};

/** The first two numbers of a version, which Redfish uses in identifiers. */
std::string shortVersion(const std::string& version);

/** Calls @p work with each identifier of a message; see MessageCatalog. */
template <typename Work>
void forEachIdentifier(const RegistryFile& file, const std::string& key,
                       Work&& work)
{
    work(key);
    work(file.prefix + "." + key);
    work(file.prefix + "." + shortVersion(file.version) + "." + key);
    work(file.prefix + "." + file.version + "." + key);
}

/** Whether a version, numbers separated by dots, is newer than another. */
bool isNewer(std::string_view version, std::string_view than);

} // namespace healthintf::host
