// SPDX-License-Identifier: Apache-2.0
#include "attribute_store.hpp"

#include "../host_log.hpp"
#include "../storage/damaged_file.hpp"
#include "../storage/files.hpp"
#include "attribute_request.hpp"
#include "limits.hpp"
#include "replace_file.hpp"

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

void logDropped(const std::string& name, int32_t value, const fs::path& file)
{
    HOST_LOG(log::warning,
             "%s.%d.%s: the attribute %s in %s, which is %d, is dropped: a "
             "name has 1 to %zu letters, digits and .#_-",
             quoteName(name).c_str(), file.c_str(), value, maxAttributeName);
}

/** Removes attributes with invalid names, which can no longer be set.
 *
 *  @return whether there was any */
bool dropInvalidNames(Attributes& attributes, const fs::path& file)
{
    return std::erase_if(attributes, [&file](const auto& attribute) {
               const auto& [name, value] = attribute;
               const bool dropped = !isAttributeName(name);
               if (dropped)
               {
                   logDropped(name, value, file);
               }
               return dropped;
           }) != 0;
}

} // namespace

AttributeStore::AttributeStore(fs::path folder) :
    folder(std::move(folder)), file(attributeFilePath(this->folder))
{}

void AttributeStore::takeOver() const
{
    std::error_code ignored;
    fs::remove(folder / "lock", ignored);
    Attributes attributes = read();
    if (dropInvalidNames(attributes, file))
    {
        write(attributes);
    }
}

std::optional<AttributeChange> AttributeStore::set(const std::string& name,
                                                   int32_t value) const
{
    Attributes attributes = read();
    const auto found = attributes.find(name);
    const bool isNew = found == attributes.end();
    const AttributeChange change{value, isNew ? 0 : found->second};
    if (!isNew && change.previous == value)
    {
        return std::nullopt;
    }
    if (isNew && attributes.size() >= maxAttributes)
    {
        throw std::system_error(EDQUOT, std::generic_category(),
                                "no room for another attribute");
    }
    attributes[name] = value;
    write(attributes);
    return change;
}

Attributes AttributeStore::read() const
{
    try
    {
        return readAttributeFile(file);
    }
    catch (const DamagedFile& e)
    {
        const fs::path aside = setAside(file);
        HOST_LOG(log::error,
                 "%s.%d.%s: the attributes' file %s is damaged: it was set "
                 "aside as %s, and every attribute counts as never set: %s",
                 file.c_str(), aside.c_str(), e.what());
        return {};
    }
}

void AttributeStore::write(const Attributes& attributes) const
{
    makeFolder(folder);
    replaceFile(file, formatAttributes(attributes));
}

} // namespace healthintf::host
