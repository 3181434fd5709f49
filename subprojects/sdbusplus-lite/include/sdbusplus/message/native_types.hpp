// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file D-Bus strings with a meaning of their own. */

#include <string>
#include <string_view>
#include <utility>

namespace sdbusplus::message
{
namespace details
{

/** A string that goes on the wire as an object path. */
struct string_path_wrapper
{
    std::string str;

    string_path_wrapper() = default;
    string_path_wrapper(const char* text) : str(text)
    {}
    string_path_wrapper(const std::string& text) : str(text)
    {}
    string_path_wrapper(std::string&& text) : str(std::move(text))
    {}

    operator const std::string&() const&
    {
        return str;
    }
    operator std::string_view() const
    {
        return str;
    }

    friend bool operator==(const string_path_wrapper& a,
                           const string_path_wrapper& b)
    {
        return a.str == b.str;
    }
    friend bool operator<(const string_path_wrapper& a,
                          const string_path_wrapper& b)
    {
        return a.str < b.str;
    }
};

/** A string that goes on the wire as a type signature. */
struct string_wrapper
{
    std::string str;

    string_wrapper() = default;
    string_wrapper(const char* text) : str(text)
    {}
    string_wrapper(const std::string& text) : str(text)
    {}
    string_wrapper(std::string&& text) : str(std::move(text))
    {}

    operator const std::string&() const&
    {
        return str;
    }

    friend bool operator==(const string_wrapper& a, const string_wrapper& b)
    {
        return a.str == b.str;
    }
    friend bool operator<(const string_wrapper& a, const string_wrapper& b)
    {
        return a.str < b.str;
    }
};

} // namespace details

using object_path = details::string_path_wrapper;
using signature = details::string_wrapper;

} // namespace sdbusplus::message
