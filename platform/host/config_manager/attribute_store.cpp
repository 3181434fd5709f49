#include "attribute_store.hpp"

#include "../host_log.hpp"
#include "../storage/files.hpp"
#include "limits.hpp"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace healthintf::host
{

namespace fs = std::filesystem;
using nlohmann::json;

namespace
{

/** Changes with what the file holds. */
constexpr int formatVersion = 1;

constexpr const char* versionMember = "version";
constexpr const char* attributesMember = "attributes";

fs::path madeFolder(const fs::path& folder)
{
    fs::create_directories(folder);
    return folder;
}

/** The content of a file that is there.
 *
 *  @throws std::system_error when it cannot be read */
std::string contentOf(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::string content(std::istreambuf_iterator<char>(in), {});
    if (!in)
    {
        throw std::system_error(errno, std::generic_category(), file.string());
    }
    return content;
}

/** @throws std::out_of_range when it is none that an attribute can have */
int32_t valueOf(const json& given)
{
    const bool fits = given.is_number_unsigned()
                          ? std::in_range<int32_t>(given.get<uint64_t>())
                          : given.is_number_integer() &&
                                std::in_range<int32_t>(given.get<int64_t>());
    if (!fits)
    {
        throw std::out_of_range(given.dump() + " is no value of an attribute");
    }
    return given.get<int32_t>();
}

} // namespace

AttributeStore::AttributeStore(const fs::path& folder) :
    file(madeFolder(folder) / "attributes.json"), lock(folder / "lock")
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

AttributeStore::Attributes AttributeStore::read() const
{
    if (!fs::exists(file))
    {
        return {};
    }
    const std::string content = contentOf(file);
    try
    {
        const json root = json::parse(content);
        if (const int version = root.at(versionMember);
            version != formatVersion)
        {
            throw std::system_error(ENOTSUP, std::generic_category(),
                                    file.string() + " is of version " +
                                        std::to_string(version) +
                                        " and this program needs version " +
                                        std::to_string(formatVersion));
        }
        Attributes attributes;
        for (const auto& [name, value] :
             root.at(attributesMember).get_ref<const json::object_t&>())
        {
            attributes.emplace(name, valueOf(value));
        }
        return attributes;
    }
    catch (const std::system_error&)
    {
        throw;
    }
    catch (const std::exception& e)
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
    constexpr int indent = 4;
    const json root{{versionMember, formatVersion},
                    {attributesMember, attributes}};
    replaceFile(file, root.dump(indent) + "\n");
}

} // namespace healthintf::host
