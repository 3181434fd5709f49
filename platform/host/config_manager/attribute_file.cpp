#include "attribute_file.hpp"

#include "../directories.hpp"

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

/** The content of a file that is there.
 *
 *  @throws std::system_error when it cannot be read */
std::string storedIn(const fs::path& file)
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

fs::path attributeFileIn(const fs::path& folder)
{
    return folder / "attributes.json";
}

Attributes readAttributeFile(const fs::path& file)
{
    if (!fs::exists(file))
    {
        return {};
    }
    const json root = json::parse(storedIn(file));
    if (const int version = root.at(versionMember);
        version != attributeFileVersion)
    {
        throw std::system_error(ENOTSUP, std::generic_category(),
                                file.string() + " is of version " +
                                    std::to_string(version) +
                                    " and this program needs version " +
                                    std::to_string(attributeFileVersion));
    }
    Attributes attributes;
    for (const auto& [name, value] :
         root.at(attributesMember).get_ref<const json::object_t&>())
    {
        attributes.emplace(name, valueOf(value));
    }
    return attributes;
}

Attributes readAttributes()
{
    return readAttributeFile(attributeFileIn(stateDirectory() / "config"));
}

} // namespace healthintf::host
