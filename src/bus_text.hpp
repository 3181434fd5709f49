// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Which texts D-Bus can carry. */

#include <cstddef>
#include <string>
#include <string_view>

namespace health_namespace::details
{

/** Whether a text is UTF-8 without NUL and noncharacters. sd-bus fails on any
 *  other text while a message is built; a bus daemon disconnects a client that
 *  sends one, but for noncharacters. */
bool isBusText(std::string_view text);

/** Checks the texts of one message, each by itself and their total size: a bus
 *  disconnects a client that sends a message of 32 MiB. */
class BusTextCheck
{
  public:
    /** @param[in] most how many bytes the texts may have together */
    explicit BusTextCheck(std::size_t most) : most(most)
    {}

    /** @param[in] name what the text is, for the error
     *  @throws std::invalid_argument when the text is not bus text;
     *          std::length_error when the texts so far have too many bytes;
     *          both are std::logic_error */
    void require(const std::string& name, const std::string& text);

  private:
    std::size_t most;
    std::size_t bytes = 0;
};

} // namespace health_namespace::details
