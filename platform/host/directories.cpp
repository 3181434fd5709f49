// SPDX-License-Identifier: Apache-2.0
#include "directories.hpp"

#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

namespace healthintf::host
{
namespace
{

/** Reads an environment variable; null when it is unset or empty. */
const char* setting(const char* name)
{
    const char* value = secure_getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

} // namespace

std::filesystem::path runtimeDirectory()
{
    if (const char* given = setting("HEALTHINTF_RUNTIME_DIR"))
    {
        return given;
    }
    if (geteuid() == 0)
    {
        return systemRuntimeDirectory;
    }
    if (const char* session = setting("XDG_RUNTIME_DIR"))
    {
        return std::filesystem::path(session) / "healthintf";
    }
    throw std::runtime_error(
        "no runtime folder: set HEALTHINTF_RUNTIME_DIR or XDG_RUNTIME_DIR");
}

std::filesystem::path stateDirectory()
{
    if (const char* given = setting("HEALTHINTF_STATE_DIR"))
    {
        return given;
    }
    if (geteuid() == 0)
    {
        return systemStateDirectory;
    }
    if (const char* states = setting("XDG_STATE_HOME"))
    {
        return std::filesystem::path(states) / "healthintf";
    }
    if (const char* home = setting("HOME"))
    {
        return std::filesystem::path(home) / ".local/state/healthintf";
    }
    throw std::runtime_error("no state folder: set HEALTHINTF_STATE_DIR, "
                             "XDG_STATE_HOME or HOME");
}

std::filesystem::path dataCacheFolder()
{
    return runtimeDirectory() / "datacache";
}

std::filesystem::path selMirrorFolder()
{
    return runtimeDirectory() / "sel";
}

} // namespace healthintf::host
