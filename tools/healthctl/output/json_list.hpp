// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes a JSON document whose list is too long to be held. */

#include "../context.hpp"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace healthintf::healthctl
{

/** Writes the same document as writeJson() would of an object with one list,
 *  but each item at once. A document that was not ended is no JSON, so that
 *  nobody takes it for the whole. */
class JsonList
{
  public:
    /** @param[in] context must outlive this object
     *  @param[in] schema as for writeJson()
     *  @param[in] name the list's */
    JsonList(const Context& context, const char* schema,
             const std::string& name);

    void add(const nlohmann::ordered_json& item);

    /** Ends the document. */
    void end();

  private:
    const Context& context;
    bool empty = true;
};

} // namespace healthintf::healthctl
