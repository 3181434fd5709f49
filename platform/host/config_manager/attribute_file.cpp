// SPDX-License-Identifier: Apache-2.0
#include "attribute_file.hpp"

#include "../directories.hpp"
#include "../storage/damaged_file.hpp"
#include "../storage/regular_file.hpp"
#include "limits.hpp"

#include <nlohmann/json.hpp>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

namespace healthintf::host
{

namespace fs = std::filesystem;
using nlohmann::json;

namespace
{

/** The members of the JSON object. */
constexpr const char* versionMember = "version";
constexpr const char* attributesMember = "attributes";

/** Collects the attributes while the parser reads the text. Builds no json
 *  object: destroying one allocates memory, which ends the process when there
 *  is none. */
class AttributeReader : public nlohmann::json_sax<json>
{
  public:
    bool null() override
    {
        return take("null");
    }

    bool boolean(bool given) override
    {
        return take(given ? "true" : "false");
    }

    bool number_integer(int64_t given) override
    {
        return takeNumber(given);
    }

    bool number_unsigned(uint64_t given) override
    {
        return takeNumber(given);
    }

    bool number_float(double /*given*/, const std::string& text) override
    {
        return take(text);
    }

    bool string(std::string& /*text*/) override
    {
        return take("a text");
    }

    bool binary(json::binary_t& /*bytes*/) override
    {
        return take("bytes");
    }

    bool start_object(std::size_t /*size*/) override
    {
        if (!isAt(1, attributesMember))
        {
            return enter("an object");
        }
        hasAttributes = true;
        ++depth;
        return true;
    }

    bool start_array(std::size_t /*size*/) override
    {
        return enter("an array");
    }

    bool key(std::string& name) override
    {
        (depth == 1 ? member : attribute) = name;
        return true;
    }

    bool end_object() override
    {
        return leave();
    }

    bool end_array() override
    {
        return leave();
    }

    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const json::exception& error) override
    {
        fault = error.what();
        return false;
    }

    /** Returns the attributes.
     *
     *  @throws std::system_error when the file is of another version, and
     *          DamagedFile when the file is damaged */
    Attributes result(const fs::path& file) &&
    {
        if (version && *version != attributeFileVersion)
        {
            throw std::system_error(ENOTSUP, std::generic_category(),
                                    file.string() + " is of version " +
                                        std::to_string(*version) +
                                        " and this program needs version " +
                                        std::to_string(attributeFileVersion));
        }
        if (fault.empty() && !(version && hasAttributes))
        {
            fault = "its version or its attributes are missing";
        }
        if (!fault.empty())
        {
            throw DamagedFile(fault);
        }
        return std::move(found);
    }

  private:
    /** Whether the current value is that of a member at a depth. */
    bool isAt(int where, const char* name) const
    {
        return depth == where && member == name;
    }

    /** Enters an object or array, which cannot be the value of an attribute. */
    bool enter(const char* what)
    {
        take(what);
        ++depth;
        return true;
    }

    bool leave()
    {
        --depth;
        return true;
    }

    /** Notes a problem when a value of this kind is not allowed here. */
    bool take(const std::string& text)
    {
        if (isAt(1, versionMember) || isAt(1, attributesMember) ||
            isAt(2, attributesMember))
        {
            fault = text + " is no value of " +
                    (depth == 1 ? member : "an attribute");
        }
        return true;
    }

    template <typename Number>
    bool takeNumber(Number given)
    {
        if (!std::in_range<int32_t>(given) || isAt(1, attributesMember))
        {
            return take(std::to_string(given));
        }
        const auto value = static_cast<int32_t>(given);
        if (isAt(1, versionMember))
        {
            version = value;
        }
        else if (isAt(2, attributesMember))
        {
            found.insert_or_assign(attribute, value);
        }
        return true;
    }

    int depth = 0;
    std::string member;
    std::string attribute;
    std::optional<int32_t> version;
    bool hasAttributes = false;
    std::string fault;
    Attributes found;
};

} // namespace

fs::path attributeFilePath(const fs::path& folder)
{
    return folder / "attributes.json";
}

Attributes readAttributeFile(const fs::path& file)
{
    AttributeReader reader;
    try
    {
        // Links are not followed: the owner of the folder is not trusted.
        const FileDescriptor opened =
            openRegularFile(file, O_NOFOLLOW, file.string());
        json::sax_parse(readToEnd(opened, maxAttributeFile, file.string()),
                        &reader);
    }
    catch (const std::system_error& e)
    {
        if (e.code() == std::errc::no_such_file_or_directory)
        {
            return {};
        }
        throw;
    }
    return std::move(reader).result(file);
}

std::string quoteName(const std::string& name)
{
    constexpr int onOneLine = -1;
    return json(name).dump(onOneLine, ' ', true);
}

std::string formatAttributes(const Attributes& attributes)
{
    std::string lines;
    for (const auto& [name, value] : attributes)
    {
        lines += lines.empty() ? "\n" : ",\n";
        lines += "        " + json(name).dump() + ": " + std::to_string(value);
    }
    return "{\n    " + json(attributesMember).dump() + ": {" + lines +
           "\n    },\n    " + json(versionMember).dump() + ": " +
           std::to_string(attributeFileVersion) + "\n}\n";
}

Attributes readAttributes()
{
    return readAttributeFile(attributeFilePath(stateDirectory() / "config"));
}

} // namespace healthintf::host
