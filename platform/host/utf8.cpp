#include "utf8.hpp"

#include <nlohmann/json.hpp>

namespace healthintf::host
{

bool isUtf8(const std::string& text)
{
    try
    {
        // The JSON library writes no other text.
        return !nlohmann::json(text).dump().empty();
    }
    catch (const nlohmann::json::type_error&)
    {
        return false;
    }
}

} // namespace healthintf::host
