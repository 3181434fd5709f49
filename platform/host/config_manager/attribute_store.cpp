#include "attribute_store.hpp"

#include "../host_log.hpp"
#include "../storage/damaged_file.hpp"
#include "../storage/files.hpp"
#include "limits.hpp"

#include <cerrno>
#include <exception>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

AttributeStore::AttributeStore(const fs::path& folder) :
    file(attributeFileIn(madeFolder(folder))), lock(folder / "lock")
{}

std::optional<AttributeChange> AttributeStore::set(const std::string& name,
                                                   int32_t value)
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
    replaceFile(file, textOf(attributes));
}

} // namespace healthintf::host
