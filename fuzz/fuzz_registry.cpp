// SPDX-License-Identifier: Apache-2.0
/** @file Reads any message registry with its notes, and fills in each of its
 *  messages. */

#include "fuzz_input.hpp"
#include "message_registry/message_arguments.hpp"
#include "message_registry/message_catalog.hpp"
#include "message_registry/registry_file.hpp"

#include <platform/utf8.hpp>

#include <cstdlib>
#include <string_view>

namespace
{

using namespace healthintf::host;

void fill(const Message& message)
{
    const std::string text = fillArguments(message.text, {"1", "%2", "\xff"});
    if (healthintf::truncateUtf8(text, 10).size() > 10)
    {
        std::abort();
    }
}

void readAll(std::string_view text)
{
    RegistryNotes notes;
    const RegistryFile file = parseRegistry(text, &notes);
    MessageCatalog catalog;
    catalog.add(file);
    for (const auto& [key, message] : file.messages)
    {
        fill(message);
        if (catalog.find(key, file.language) == nullptr ||
            notes.at(key).arguments.size() != message.arguments)
        {
            std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    return healthintf::test::tryToRead<RegistryError>(data, size, readAll);
}
